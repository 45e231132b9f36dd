#pragma once

#include <QByteArray>
#include <QColor>
#include <QDateTime>
#include <QFont>
#include <QString>
#include <QVariantList>
#include <QVariantMap>

#include <optional>

// Small helpers the input method's processes share: per-user copies of the
// default data files, the fixed lists shipped with this application, the
// contacts file paths, the question-and-answer site in a browser window, and
// a few conversions.
//
// The default data files are in the resource folder's "imdata" folder
// (zq::utility::imDataFilePath): "zqim_phrases_user.bin" (the default
// abbreviation phrases), "forbidEnHelper.plist", "symbolset2.plist",
// "symbolSubsitute.plist", "contacts.Layout", "colors.plist". A user folder
// given as a null string means "none". Readers of missing or unreadable files
// return none; copy and write failures are ignored. Run-log type 29.

// Copies the default abbreviation phrases to "<userFolder>/<fileName>" (or,
// without a user folder, to the user data folder's <fileName>) unless that
// file exists. With a user folder and `preferUserCopy`, the user data
// folder's <fileName> is copied when it exists. True when the target did not
// exist (also when the copy failed).
bool ZQCopyAbbrUserSetFile(const QString& userFolder, const QString& fileName, bool preferUserCopy);
// The user's list <fileName>: the user folder's copy, else the user data
// folder's, else the default, writing the copy that was missing.
std::optional<QVariantList> ZQGetPreferenceUserSetArray(const QString& userFolder,
                                                        const QString& fileName);
// The same for "symbolSubsitute.plist", with the "key" of "【" and "】"
// elements shown as "[" and "]" (in the returned list only).
std::optional<QVariantList> ZQGetSymbolSubsituteArray(const QString& userFolder);
std::optional<QVariantList> ZQGetForbidEnHelperArray();
std::optional<QVariantMap> ZQGetSymbolSet();
std::optional<QVariantList> ZQGetContactsLayout();
// "<user data folder>/.authContacts" and "<user data folder>/contactHistory.plist".
QString ZQHasAuthContactsFilePath();
QString ZQContactHistoryFilePath();

// Whether a window of the browser `bundleIdentifier` shows the
// question-and-answer site ("知乎 -" or "- 知乎" in its title). X11 only: the
// window list is the window manager's _NET_CLIENT_LIST, a window's owner its
// WM_CLASS class, its title _NET_WM_NAME (else WM_NAME); minimised windows
// do not count. Under Wayland, which shows no application another's windows,
// always false.
bool IsInZhihuBrowser(const QString& bundleIdentifier);

// The shared colour of that name (imdata/colors.plist), an invalid colour when
// there is none. `fallback` served systems without named colours.
QColor getColorWithName(const QString& name, const QColor& fallback);
// The font family `name` at `size` points, else the system font at that size.
QFont getFontWithName(const QString& name, double size);
// 0 to 23 in local time; 0 for an invalid date.
int getHourFromDate(const QDateTime& date);
// ".bmp", ".gif", ".png", ".jpg" by the first byte, none otherwise.
std::optional<QString> getImageTypeByData(const QByteArray& data);
bool isSameDay(const QDateTime& a, const QDateTime& b);
// One integer, optionally signed, with white space only around it.
bool isPureInt(const QString& text);
void setZQInputStartTime();
double getZQInputRunTime();
// The editor quirk: true when "Applications/Xcode.app/Contents/version.plist"
// (relative to the current folder) gives a version from 13.0 to 13.3.5.
void resetXcodeVersion();
bool needHideLineOfXcode();
// 1 gives 3, anything else 1.
qint64 convertNewKernelPyMode(qint64 mode);

namespace zq::utility {

// <resource folder>/imdata/<name>.
QString imDataFilePath(const QString& name);

// One entry of the browser table: the owner names ("|"-separated, any of
// which matches) of the browser's windows.
std::optional<QString> browserOwnerNames(const QString& bundleIdentifier);

struct WindowInfo {
    QString owner;  // the owning application's name
    QString title;
};
// The windows shown on the X11 display of $DISPLAY; empty without one.
// libxcb is loaded on first use, so programs that never ask do not need it.
QList<WindowInfo> x11VisibleWindows();
// The decision of IsInZhihuBrowser over a window list: a window with a
// non-empty owner name that occurs in `ownerNames`, and a title with a marker.
bool windowsShowZhihu(const QString& ownerNames, const QList<WindowInfo>& windows);
// The editor quirk's rule for a version text.
bool xcodeVersionHidesLine(const QString& version);

}  // namespace zq::utility
