#include "utility/ZQIMDataHelpers.h"

#include "log/ZQLogManager.h"
#include "platform/Plist.h"
#include "utility/ProductLocations.h"
#include "utility/SystemInfo.h"
#include "utility/ZQPermissions.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QHash>
#include <QRegularExpression>

#include <atomic>
#include <mutex>

namespace {

constexpr int kLogType = ZQLogType::Utility;
const QString kSymbolSubstituteName = QStringLiteral("symbolSubsitute.plist");
const QString kAbbrDefaultName = QStringLiteral("zqim_phrases_user.bin");

// "%@VeskoPY/%@" of GetUserImPath() and the name.
QString userDataCopy(const QString& name) {
    return GetUserImPath() + QStringLiteral("VeskoPY/") + name;
}

bool hasUserFolder(const QString& userFolder) {
    return !userFolder.isNull();
}

std::optional<QVariantList> readList(const QString& path) {
    return platform::Plist::readArray(path);
}

// Reads `source` and writes it to `target`; the list read (none when unreadable).
std::optional<QVariantList> copyList(const QString& source, const QString& target) {
    std::optional<QVariantList> list = readList(source);
    if (list) {
        platform::Plist::writeFile(target, *list);
    }
    return list;
}

}  // namespace

namespace zq::utility {

QString imDataFilePath(const QString& name) {
    return resourcesFolder() + QStringLiteral("/imdata/") + name;
}

std::optional<QString> browserOwnerNames(const QString& bundleIdentifier) {
    static const QHash<QString, QString> kTable = [] {
        const bool newSafari = isCurrentSystemVersionLargerThanOrEqualTo(QStringLiteral("10.15"));
        return QHash<QString, QString>{
            {QStringLiteral("com.apple.Safari"),
             newSafari ? QStringLiteral("Safari浏览器") : QStringLiteral("Safari 浏览器")},
            // The X11 class names ("Google-chrome", "firefox") follow each
            // browser's own name.
            {QStringLiteral("com.google.Chrome"), QStringLiteral("Google Chrome|Google-chrome")},
            {QStringLiteral("com.operasoftware.Opera"), QStringLiteral("Opera")},
            {QStringLiteral("org.mozilla.firefox"), QStringLiteral("Firefox|firefox")},
            {QStringLiteral("com.marlo.OrvoBrowser"), QStringLiteral("Orvo浏览器|OrvoBrowser")},
        };
    }();
    const auto it = kTable.constFind(bundleIdentifier);
    if (it == kTable.cend()) {
        return std::nullopt;
    }
    return *it;
}

bool windowsShowZhihu(const QString& ownerNames, const QList<WindowInfo>& windows) {
    bool result = false;
    for (const WindowInfo& window : windows) {
        if (window.owner.isEmpty() || !ownerNames.contains(window.owner) ||
            window.title.isEmpty()) {
            continue;
        }
        if (window.title.contains(QStringLiteral("知乎 -")) ||
            window.title.contains(QStringLiteral("- 知乎"))) {
            result = true;
        }
    }
    return result;
}

bool xcodeVersionHidesLine(const QString& version) {
    return compareVersions(version, QStringLiteral("13.0")) >= 0 &&
           compareVersions(version, QStringLiteral("13.3.5")) <= 0;
}

}  // namespace zq::utility

bool ZQCopyAbbrUserSetFile(const QString& userFolder, const QString& fileName,
                           bool preferUserCopy) {
    ZQ_RUN_LOG_KV(kLogType, QStringLiteral("userPath"), userFolder);
    ZQ_RUN_LOG_KV(kLogType, QStringLiteral("fileName"), fileName);
    const QString userCopy = userDataCopy(fileName);
    const QString defaults = zq::utility::imDataFilePath(kAbbrDefaultName);
    if (hasUserFolder(userFolder)) {
        const QString target = userFolder + QLatin1Char('/') + fileName;
        if (QFileInfo::exists(target)) {
            return false;
        }
        const bool fromUser = preferUserCopy && QFileInfo::exists(userCopy);
        QFile::copy(fromUser ? userCopy : defaults, target);
        return true;
    }
    if (QFileInfo::exists(userCopy)) {
        return false;
    }
    QFile::copy(defaults, userCopy);
    return true;
}

std::optional<QVariantList> ZQGetPreferenceUserSetArray(const QString& userFolder,
                                                        const QString& fileName) {
    const QString userCopy = userDataCopy(fileName);
    const QString defaults = zq::utility::imDataFilePath(fileName);
    if (hasUserFolder(userFolder)) {
        const QString target = userFolder + QLatin1Char('/') + fileName;
        if (QFileInfo::exists(target)) {
            return readList(target);
        }
        return copyList(QFileInfo::exists(userCopy) ? userCopy : defaults, target);
    }
    if (QFileInfo::exists(userCopy)) {
        return readList(userCopy);
    }
    return copyList(defaults, userCopy);
}

std::optional<QVariantList> ZQGetSymbolSubsituteArray(const QString& userFolder) {
    std::optional<QVariantList> list =
        ZQGetPreferenceUserSetArray(userFolder, kSymbolSubstituteName);
    if (!list) {
        return list;
    }
    const QString key = QStringLiteral("key");
    for (QVariant& element : *list) {
        if (element.typeId() != QMetaType::QVariantMap) {
            continue;
        }
        QVariantMap entry = element.toMap();
        const QVariant value = entry.value(key);
        if (value == QStringLiteral("【")) {
            entry.insert(key, QStringLiteral("["));
        } else if (value == QStringLiteral("】")) {
            entry.insert(key, QStringLiteral("]"));
        } else {
            continue;
        }
        element = entry;
    }
    return list;
}

std::optional<QVariantList> ZQGetForbidEnHelperArray() {
    return readList(zq::utility::imDataFilePath(QStringLiteral("forbidEnHelper.plist")));
}

std::optional<QVariantMap> ZQGetSymbolSet() {
    return platform::Plist::readDictionary(
        zq::utility::imDataFilePath(QStringLiteral("symbolset2.plist")));
}

std::optional<QVariantList> ZQGetContactsLayout() {
    return readList(zq::utility::imDataFilePath(QStringLiteral("contacts.Layout")));
}

QString ZQHasAuthContactsFilePath() {
    return GetUserImPath() + QStringLiteral("VeskoPY/") +
           QString::fromLatin1(zq::utility::kAuthContactsFileName);
}

QString ZQContactHistoryFilePath() {
    return GetUserImPath() + QStringLiteral("VeskoPY/") +
           QString::fromLatin1(zq::utility::kContactHistoryFileName);
}

bool IsInZhihuBrowser(const QString& bundleIdentifier) {
    if (bundleIdentifier.isEmpty()) {
        return false;
    }
    const std::optional<QString> owners = zq::utility::browserOwnerNames(bundleIdentifier);
    if (!owners || zq::utility::currentSessionType() == zq::utility::SessionType::Wayland) {
        return false;
    }
    return zq::utility::windowsShowZhihu(*owners, zq::utility::x11VisibleWindows());
}

QColor getColorWithName(const QString& name, const QColor&) {
    static const std::optional<QVariantMap> kColors = platform::Plist::readDictionary(
        zq::utility::imDataFilePath(QStringLiteral("colors.plist")));
    if (!kColors || !kColors->contains(name)) {
        return {};
    }
    return QColor::fromString(kColors->value(name).toString());
}

QFont getFontWithName(const QString& name, double size) {
    QFont font;
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        font = QFontDatabase::families().contains(name)
                   ? QFont(name)
                   : QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    }
    font.setPointSizeF(size);
    return font;
}

int getHourFromDate(const QDateTime& date) {
    return date.isValid() ? date.toLocalTime().time().hour() : 0;
}

std::optional<QString> getImageTypeByData(const QByteArray& data) {
    if (data.isEmpty()) {
        return std::nullopt;
    }
    switch (static_cast<unsigned char>(data.at(0))) {
        case 0x42:
            return QStringLiteral(".bmp");
        case 0x47:
            return QStringLiteral(".gif");
        case 0x89:
            return QStringLiteral(".png");
        case 0xFF:
            return QStringLiteral(".jpg");
        default:
            return std::nullopt;
    }
}

bool isSameDay(const QDateTime& a, const QDateTime& b) {
    return a.isValid() && b.isValid() && a.toLocalTime().date() == b.toLocalTime().date();
}

bool isPureInt(const QString& text) {
    static const QRegularExpression kInteger(
        QRegularExpression::anchoredPattern(QStringLiteral("\\s*[+-]?[0-9]+\\s*")));
    return kInteger.match(text).hasMatch();
}

namespace {

QElapsedTimer& inputStart() {
    static QElapsedTimer timer;
    return timer;
}

std::once_flag& inputStartOnce() {
    static std::once_flag flag;
    return flag;
}

std::atomic<bool>& xcodeFlag() {
    static std::atomic<bool> flag{false};
    return flag;
}

}  // namespace

void setZQInputStartTime() {
    std::call_once(inputStartOnce(), [] { inputStart().start(); });
}

double getZQInputRunTime() {
    return inputStart().isValid() ? double(inputStart().nsecsElapsed()) / 1e9 : 0.0;
}

void resetXcodeVersion() {
    const std::optional<QVariantMap> info = platform::Plist::readDictionary(
        QStringLiteral("Applications/Xcode.app/Contents/version.plist"));
    const QVariant version =
        info ? info->value(QStringLiteral("CFBundleShortVersionString")) : QVariant();
    xcodeFlag() = version.typeId() == QMetaType::QString &&
                  zq::utility::xcodeVersionHidesLine(version.toString());
}

bool needHideLineOfXcode() {
    return xcodeFlag();
}

qint64 convertNewKernelPyMode(qint64 mode) {
    return mode == 1 ? 3 : 1;
}
