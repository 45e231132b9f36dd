#include "utility/ZQSettingsPanes.h"
#include "utility/UtilityLog.h"

#include "platform/Configuration.h"
#include "platform/Workspace.h"
#include "utility/ZQSiblingApps.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QProcess>
#include <QTimer>

namespace zq::utility {
namespace {

const QString kGroup = QStringLiteral("SettingsPanes");

// The table's value as text: QSettings turns a value with commas into a list.
QString configuredText(const QString& key, bool* present) {
    const QVariant value = platform::Configuration::value(key);
    *present = value.isValid();
    if (value.typeId() == QMetaType::QStringList) {
        return value.toStringList().join(QLatin1Char(','));
    }
    return value.toString().trimmed();
}

SettingsPaneTarget targetFromValue(SettingsPaneTarget target, const QString& value) {
    if (value.startsWith(QLatin1Char('/'))) {
        target.kind = SettingsPaneTarget::Kind::Address;
        target.url = QUrl::fromLocalFile(value);
    } else if (value.contains(QStringLiteral("://"))) {
        target.kind = SettingsPaneTarget::Kind::Address;
        target.url = QUrl(value);
    } else {
        target.command = QProcess::splitCommand(value);
        target.kind = target.command.isEmpty() ? SettingsPaneTarget::Kind::None
                                               : SettingsPaneTarget::Kind::Command;
    }
    return target;
}

bool startCommand(const QStringList& command) {
    QProcess process;
    process.setProgram(command.constFirst());
    process.setArguments(command.mid(1));
    process.setStandardInputFile(QProcess::nullDevice());
    return process.startDetached();
}

}  // namespace

QString SettingsPaneTarget::displayText() const {
    switch (kind) {
        case Kind::Command:
            return command.join(QLatin1Char(' '));
        case Kind::Address:
            return url.isLocalFile() ? url.toLocalFile() : url.toString();
        case Kind::None:
            break;
    }
    return designAddress;
}

QStringList currentDesktops() {
    const QString value = QString::fromLocal8Bit(qgetenv("XDG_CURRENT_DESKTOP"));
    return value.split(QLatin1Char(':'), Qt::SkipEmptyParts);
}

SettingsPaneTarget resolveSettingsPane(const QString& designAddress) {
    return resolveSettingsPane(designAddress, currentDesktops());
}

SettingsPaneTarget resolveSettingsPane(const QString& designAddress, const QStringList& desktops) {
    SettingsPaneTarget target;
    target.designAddress = designAddress;
    target.name = settingsPaneName(designAddress);
    if (target.name.isEmpty()) {
        return target;
    }
    QStringList candidates;
    for (const QString& desktop : desktops) {
        candidates.append(kGroup + QLatin1Char('.') + desktop);
    }
    candidates.append(kGroup);
    for (const QString& section : candidates) {
        bool present = false;
        const QString value = configuredText(section + QLatin1Char('/') + target.name, &present);
        if (!present) {
            continue;
        }
        target.section = section;
        return value.isEmpty() ? target : targetFromValue(target, value);
    }
    return target;
}

void openSettingsPane(const QString& designAddress, QObject* context, SettingsPaneDone done) {
    const SettingsPaneTarget target = resolveSettingsPane(designAddress);
    QObject* receiver = context ? context : QCoreApplication::instance();
    const auto finish = [target, done](bool started) {
        if (!started) {
            qCInfo(lcUtility) << "no settings page started for" << target.designAddress;
        }
        if (done) {
            done(started, target);
        }
    };
    if (target.kind == SettingsPaneTarget::Kind::Address) {
        platform::Workspace::openUrl(target.url, receiver, finish);
        return;
    }
    const auto run = [target, finish] {
        finish(target.kind == SettingsPaneTarget::Kind::Command && startCommand(target.command));
    };
    if (!receiver) {
        run();
        return;
    }
    QTimer::singleShot(0, receiver, run);
}

}  // namespace zq::utility
