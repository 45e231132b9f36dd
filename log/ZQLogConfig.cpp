#include "log/ZQLogManager.h"
#include "log/ZQLogManager_p.h"

#include "platform/Plist.h"
#include "platform/Values.h"

#include <QFileInfo>
#include <QMetaType>

#include <mutex>

using zq::log::detail::kDefaultMaxCount;

namespace {

using platform::numberValue;

const QString kKeyMaxCount = QStringLiteral("maxcount");
const QString kKeyOutput = QStringLiteral("output");
const QString kKeyEnableAll = QStringLiteral("enableall");
const QString kKeyLogConfig = QStringLiteral("logconfig");
const QString kKeySaveType = QStringLiteral("savetype");

bool listContains(const QVariantList& list, qint64 type) {
    for (const QVariant& item : list) {
        if (numberValue(item) == type) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::unique_ptr<ZQLogManager::Config> ZQLogManager::Config::fromFile(const QString& path) {
    auto config = std::make_unique<Config>();
    if (!QFileInfo::exists(path)) {
        return config;  // the defaults of a missing file
    }
    QString error;
    const std::optional<QVariantMap> dict = platform::Plist::readDictionary(path, &error);
    if (!dict) {
        qCWarning(lcLog) << "log configuration unreadable, using defaults:" << error;
        return config;
    }
    const std::optional<qint64> maxCount = numberValue(dict->value(kKeyMaxCount));
    config->maxCount = (maxCount && *maxCount >= 1) ? *maxCount : kDefaultMaxCount;
    config->outputType = numberValue(dict->value(kKeyOutput)) == 2 ? 2 : 1;
    config->enableAll = numberValue(dict->value(kKeyEnableAll)).value_or(0) != 0;
    config->saveType = numberValue(dict->value(kKeySaveType)).value_or(0);
    const QVariant types = dict->value(kKeyLogConfig);
    if (types.metaType().id() == QMetaType::QVariantList) {
        config->hasLogConfig = true;
        for (const QVariant& item : types.toList()) {
            if (const auto type = numberValue(item)) {
                config->logTypes.push_back(*type);
            }
        }
    } else if (types.isValid()) {
        qCWarning(lcLog) << "log configuration: \"logconfig\" is not an array; no type enabled";
    }
    return config;
}

// --- configuration setters -------------------------------------------------

namespace {

enum class FileState { Missing, Unreadable, Read };

FileState readConfigFile(const QString& path, QVariantMap* dict) {
    if (!QFileInfo::exists(path)) {
        return FileState::Missing;
    }
    QString error;
    std::optional<QVariantMap> read = platform::Plist::readDictionary(path, &error);
    if (!read) {
        qCWarning(lcLog) << "log configuration left untouched, it cannot be read:" << error;
        return FileState::Unreadable;
    }
    *dict = std::move(*read);
    return FileState::Read;
}

bool writeConfigFile(const QString& path, const QVariantMap& dict) {
    QString error;
    if (!platform::Plist::writeFile(path, dict, platform::Plist::Format::Xml, &error)) {
        qCWarning(lcLog) << "cannot write the log configuration:" << error;
        return false;
    }
    return true;
}

// What a setter makes of the configuration it found.
enum class Edit { Write, Unchanged, Refused };

// One change of the configuration file under the lock: `edit` gets whether the
// file exists and its dictionary (empty when missing) and says what to do. An
// unreadable file is never touched; a write reloads the configuration.
template <typename EditFn>
bool editConfigFile(ZQLogManager* manager, std::mutex& mutex, const QString& path, EditFn edit) {
    bool written = false;
    {
        std::lock_guard lock(mutex);
        QVariantMap dict;
        const FileState state = readConfigFile(path, &dict);
        if (state == FileState::Unreadable) {
            return false;
        }
        switch (edit(state == FileState::Read, dict)) {
            case Edit::Unchanged:
                return true;
            case Edit::Refused:
                return false;
            case Edit::Write:
                break;
        }
        written = writeConfigFile(path, dict);
    }
    manager->reloadLogConfig();
    return written;
}

bool setIntegerKey(ZQLogManager* manager, std::mutex& mutex, const QString& path,
                   const QString& key, qint64 value) {
    // A missing file is not created for one key.
    return editConfigFile(manager, mutex, path, [&](bool exists, QVariantMap& dict) {
        if (!exists) {
            return Edit::Refused;
        }
        dict.insert(key, value);
        return Edit::Write;
    });
}

}  // namespace

bool ZQLogManager::enableRunLogConfig(qint64 logType) {
    return editConfigFile(
        this, d->configMutex, _logConfigFilePath, [&](bool exists, QVariantMap& dict) {
            if (!exists) {
                dict = {{kKeyMaxCount, qint64(500)},
                        {kKeyOutput, qint64(1)},
                        {kKeyEnableAll, qint64(0)},
                        {kKeySaveType, qint64(1)},
                        {kKeyLogConfig, QVariantList{logType}}};
                return Edit::Write;
            }
            const QVariant types = dict.value(kKeyLogConfig);
            if (!types.isValid()) {
                dict.insert(kKeyLogConfig, QVariantList{logType});
                return Edit::Write;
            }
            if (types.metaType().id() != QMetaType::QVariantList) {
                qCWarning(lcLog)
                    << "log configuration left untouched: \"logconfig\" is not an array";
                return Edit::Refused;
            }
            QVariantList list = types.toList();
            if (listContains(list, logType)) {
                return Edit::Unchanged;
            }
            list.append(logType);
            dict.insert(kKeyLogConfig, list);
            return Edit::Write;
        });
}

bool ZQLogManager::disableRunLogConfig(qint64 logType) {
    return editConfigFile(this, d->configMutex, _logConfigFilePath,
                          [&](bool exists, QVariantMap& dict) {
                              const QVariant types = dict.value(kKeyLogConfig);
                              if (!exists || types.metaType().id() != QMetaType::QVariantList) {
                                  // Nothing enabled; a "logconfig" of another shape is left alone.
                                  return types.isValid() ? Edit::Refused : Edit::Unchanged;
                              }
                              const QVariantList list = types.toList();
                              if (!listContains(list, logType)) {
                                  return Edit::Unchanged;
                              }
                              QVariantList kept;
                              for (const QVariant& item : list) {
                                  if (numberValue(item) != logType) {
                                      kept.append(item);
                                  }
                              }
                              if (kept.isEmpty()) {
                                  dict.remove(kKeyLogConfig);
                              } else {
                                  dict.insert(kKeyLogConfig, kept);
                              }
                              return Edit::Write;
                          });
}

bool ZQLogManager::removeAllRunLogConfig() {
    return editConfigFile(
        this, d->configMutex, _logConfigFilePath, [](bool exists, QVariantMap& dict) {
            return exists && dict.remove(kKeyLogConfig) > 0 ? Edit::Write : Edit::Unchanged;
        });
}

bool ZQLogManager::setEnableAllRunLogConfig(qint64 value) {
    return setIntegerKey(this, d->configMutex, _logConfigFilePath, kKeyEnableAll, value);
}

bool ZQLogManager::setLogOutputType(qint64 value) {
    return setIntegerKey(this, d->configMutex, _logConfigFilePath, kKeyOutput, value);
}

bool ZQLogManager::setLogMaxCount(qint64 value) {
    return setIntegerKey(this, d->configMutex, _logConfigFilePath, kKeyMaxCount, value);
}

bool ZQLogManager::setLogSaveType(qint64 value) {
    return setIntegerKey(this, d->configMutex, _logConfigFilePath, kKeySaveType, value);
}

void ZQLogManager::setPerfLogConfig(bool enabled) {
    _enablePerfLog.store(enabled, std::memory_order_relaxed);
}
