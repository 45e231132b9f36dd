#include "app/core/ZQAssistConfig.h"

#include "app/core/ShellLog.h"

ZQAssistConfig* ZQAssistConfig::sharedInstance() {
    // Never destroyed: pages may read it until the very end of the process.
    static ZQAssistConfig* const instance = new ZQAssistConfig;
    return instance;
}

QVariant ZQAssistConfig::objectForKey(const QString& key) const {
    return _userData.value(key);
}

void ZQAssistConfig::setObject(const QVariant& value, const QString& key) {
    if (value.isNull() || !value.isValid()) {
        qCWarning(lcShell) << "refusing to store an absent value under" << key;
        return;
    }
    _userData.insert(key, value);
}

void ZQAssistConfig::removeObjectForKey(const QString& key) {
    _userData.remove(key);
}

void ZQAssistConfig::addXib(const QString& pageName) {
    _xibData.append(pageName);
}

void ZQAssistConfig::removeObject(const QString& pageName) {
    _xibData.removeAll(QVariant(pageName));
}
