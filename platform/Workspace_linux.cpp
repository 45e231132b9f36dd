#include "platform/Workspace.h"

#include "platform/FileRead.h"
#include "platform/PlatformLog.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QMutex>
#include <QPointer>
#include <QProcess>
#include <QTimer>

namespace platform::Workspace {
namespace {

QMutex& openerMutex() {
    static QMutex mutex;
    return mutex;
}

UrlOpener& customOpener() {
    static UrlOpener opener;
    return opener;
}

bool desktopOpen(const QUrl& url) {
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        return QDesktopServices::openUrl(url);
    }
    // No GUI application (command line tools): hand the address to the
    // desktop's opener directly.
    return QProcess::startDetached(QStringLiteral("xdg-open"), {url.toString()});
}

}  // namespace

QString executableForBundle(const QString& bundlePath) {
    QString bundle = bundlePath;
    while (bundle.size() > 1 && bundle.endsWith(u'/')) {
        bundle.chop(1);
    }
    QString name = QFileInfo(bundle).fileName();
    if (name.endsWith(QStringLiteral(".app"))) {
        name.chop(4);
    }
    return bundle + QStringLiteral("/Contents/MacOS/") + name;
}

bool launchApplication(const QString& bundlePath, const QStringList& arguments, QString* error) {
    const QString program = executableForBundle(bundlePath);
    const QFileInfo info(program);
    if (!info.isFile() || !info.isExecutable()) {
        if (error) {
            *error = QStringLiteral("%1: no executable").arg(program);
        }
        return false;
    }
    QProcess process;
    process.setProgram(program);
    process.setArguments(arguments);
    process.setStandardInputFile(QProcess::nullDevice());
    if (!process.startDetached()) {
        if (error) {
            *error = QStringLiteral("%1: cannot start").arg(program);
        }
        return false;
    }
    return true;
}

void openUrl(const QUrl& url, QObject* context, std::function<void(bool)> done) {
    QObject* receiver = context ? context : QCoreApplication::instance();
    if (!receiver) {
        const bool ok = desktopOpen(url);
        if (done) {
            done(ok);
        }
        return;
    }
    QTimer::singleShot(0, receiver, [url, done = std::move(done)] {
        UrlOpener opener;
        {
            QMutexLocker lock(&openerMutex());
            opener = customOpener();
        }
        const bool ok = opener ? opener(url) : desktopOpen(url);
        if (!ok) {
            qCWarning(lcPlatform) << "no handler opened" << url.toString();
        }
        if (done) {
            done(ok);
        }
    });
}

void setUrlOpener(UrlOpener opener) {
    QMutexLocker lock(&openerMutex());
    customOpener() = std::move(opener);
}

}  // namespace platform::Workspace

namespace platform::ProcessList {

QStringList commandLines() {
    QStringList lines;
    const QDir proc(QStringLiteral("/proc"));
    const QStringList entries = proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& entry : entries) {
        bool numeric = false;
        entry.toUInt(&numeric);
        if (!numeric) {
            continue;
        }
        std::optional<QByteArray> read = platform::readFile(
            QStringLiteral("/proc/%1/cmdline").arg(entry), ReadLimit::kSystemFact);
        if (!read) {
            continue;  // ended meanwhile, or not ours to read
        }
        QByteArray raw = std::move(*read);
        while (raw.endsWith('\0')) {
            raw.chop(1);
        }
        if (raw.isEmpty()) {
            continue;  // kernel threads have no command line
        }
        raw.replace('\0', ' ');
        lines.append(QString::fromLocal8Bit(raw));
    }
    return lines;
}

}  // namespace platform::ProcessList
