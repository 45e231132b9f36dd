#include "log/ZQLogManager.h"
#include "log/ZQLogManager_p.h"

#include <QDateTime>
#include <QLocale>
#include <QMetaType>
#include <QStringBuilder>

#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <ctime>

namespace {

QString makeThreadDescription() {
    static std::atomic<int> nextNumber{2};
    const bool isMain = ::getpid() == static_cast<pid_t>(::syscall(SYS_gettid));
    const int number = isMain ? 1 : nextNumber.fetch_add(1, std::memory_order_relaxed);
    QString name;
    if (isMain) {
        name = QStringLiteral("main");
    } else {
        char buffer[32] = {};
        if (::prctl(PR_GET_NAME, buffer, 0, 0, 0) == 0) {
            name = QString::fromLocal8Bit(buffer);
        }
        // An unnamed thread carries the process's own name.
        if (name == QString::fromLocal8Bit(program_invocation_short_name).left(15)) {
            name.clear();
        }
    }
    if (name.isEmpty()) {
        name = QStringLiteral("(null)");
    }
    return QStringLiteral("{number = %1, name = %2}").arg(number).arg(name);
}

}  // namespace

namespace zq::log::detail {

QString contentEntry(const char* func, int line, const QString& content) {
    return QString::fromUtf8(func ? func : "(null)") % u' ' % QString::number(line) %
           QLatin1String(" : ") % content;
}

QString keyValueEntry(const char* func, int line, const QString& key, const QVariant& value) {
    return QString::fromUtf8(func ? func : "(null)") % u' ' % QString::number(line) %
           QLatin1String(" : ") % key % QLatin1String(" = ") % ZQLogManager::descriptionOf(value);
}

}  // namespace zq::log::detail

// --- text helpers ----------------------------------------------------------

QString ZQLogManager::descriptionOf(const QVariant& value) {
    switch (value.metaType().id()) {
        case QMetaType::UnknownType:
        case QMetaType::Nullptr:
            return QStringLiteral("(null)");
        case QMetaType::QString:
            return value.toString();
        case QMetaType::Bool:
            return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
        case QMetaType::Double:
        case QMetaType::Float:
            return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
        case QMetaType::QStringList:
        case QMetaType::QVariantList: {
            QStringList parts;
            for (const QVariant& item : value.toList()) {
                parts.append(descriptionOf(item));
            }
            return u'(' + parts.join(QStringLiteral(", ")) + u')';
        }
        case QMetaType::QVariantMap: {
            const QVariantMap map = value.toMap();
            QString text = QStringLiteral("{");
            for (auto it = map.cbegin(); it != map.cend(); ++it) {
                text += QStringLiteral(" %1 = %2;").arg(it.key(), descriptionOf(it.value()));
            }
            return text + QStringLiteral(" }");
        }
        case QMetaType::QByteArray:
            return u'<' + QString::fromLatin1(value.toByteArray().toHex(' ')) + u'>';
        case QMetaType::QDateTime:
            return value.toDateTime().toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss +0000"));
        default:
            if (value.canConvert<QString>()) {
                return value.toString();
            }
            return QStringLiteral("<%1>").arg(QString::fromLatin1(value.typeName()));
    }
}

QString ZQLogManager::formatLocalTime(qint64 msecsSinceEpoch, bool withMilliseconds) {
    const std::time_t seconds = static_cast<std::time_t>(msecsSinceEpoch / 1000);
    int millis = static_cast<int>(msecsSinceEpoch % 1000);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    char buffer[48];
    if (withMilliseconds) {
        std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d.%03d",
                      parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour,
                      parts.tm_min, parts.tm_sec, millis < 0 ? 0 : millis);
    } else {
        std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d", parts.tm_year + 1900,
                      parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
    }
    return QString::fromLatin1(buffer);
}

QString ZQLogManager::currentThreadDescription() {
    thread_local const QString description = makeThreadDescription();
    return description;
}
