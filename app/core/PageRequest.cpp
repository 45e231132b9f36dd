#include "app/core/PageRequest.h"

#include "app/core/ShellLog.h"
#include "app/core/ZQAssistConfig.h"

Q_LOGGING_CATEGORY(lcShell, "vesko.shell")

namespace zq::shell {

namespace {

const QString kUpdateDetail = QStringLiteral("ZQUpdateDetail");
const QString kAccesAuthorize = QStringLiteral("ZQAccesAuthorize");
const QString kContactAuthorize = QStringLiteral("ZQContactAuthorize");
const QString kAuthorize = QStringLiteral("ZQAuthorize");

const QString kAccesAction = QStringLiteral("AccesAction");
const QString kAuthorizeType = QStringLiteral("ZQAuthorizeType");
const QString kAuthorizeSourceType = QStringLiteral("ZQAuthorizeSourceType");

// Which launch argument goes under which config key, by page.
struct ArgumentKey {
    const char* argument;
    const char* configKey;
};

}  // namespace

const QList<PageInfo>& pages() {
    static const QList<PageInfo> all{
        {QStringLiteral("ZQAbout"), QStringLiteral("ZQAboutWindowController"), true, true},
        {QStringLiteral("ZQDebugMode"), QStringLiteral("ZQDebugModeController"), false, true},
        {kUpdateDetail, QStringLiteral("ZQUpdateDetail"), false, false},
        {kContactAuthorize, QStringLiteral("ZQAccesAuthorize"), false, true},
        {kAccesAuthorize, QStringLiteral("ZQAccesAuthorize"), false, true},
        {QStringLiteral("ZQFeedbackWindowController"), QStringLiteral("ZQFeedbackWindowController"),
         false, true},
        {kAuthorize, QStringLiteral("ZQAccesAuthorize"), false, true},
    };
    return all;
}

const PageInfo* findPage(const QString& pageName) {
    for (const PageInfo& page : pages()) {
        if (page.pageName == pageName) {
            return &page;
        }
    }
    return nullptr;
}

QVariantMap argumentDictionary(const QStringList& arguments) {
    QVariantMap dictionary;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        QString text = arguments.at(i);
        if (text.startsWith(QLatin1Char('-'))) {
            text.remove(0, 1);
        }
        dictionary.insert(QStringLiteral("arg%1").arg(i), text);
    }
    return dictionary;
}

QString applyLaunchArguments(const QStringList& arguments, ZQAssistConfig& config) {
    const QVariantMap args = argumentDictionary(arguments);
    if (args.size() < 2) {
        return {};
    }
    const QString pageName = args.value(QStringLiteral("arg1")).toString();
    if (!findPage(pageName)) {
        qCInfo(lcShell) << "not a page name:" << pageName;
        return {};
    }
    auto store = [&](std::initializer_list<ArgumentKey> keys) {
        for (const ArgumentKey& key : keys) {
            const auto it = args.constFind(QLatin1String(key.argument));
            if (it != args.constEnd()) {
                config.setObject(it.value(), QLatin1String(key.configKey));
            }
        }
    };
    if (pageName == kUpdateDetail) {
        store({{"arg2", "UpdatePkgPath"}, {"arg3", "UpdateMode"}, {"arg4", "UpdateVersion"}});
    }
    if (pageName == kAccesAuthorize) {
        store({{"arg2", "AccesAction"}, {"arg3", "AccesType"}});
    } else if (pageName == kContactAuthorize) {
        config.setObject(qint64(1), kAccesAction);
    } else if (pageName == kAuthorize) {
        config.setObject(qint64(1), kAccesAction);
        store({{"arg2", "ZQAuthorizeType"}, {"arg3", "ZQAuthorizeSourceType"}});
    }
    return pageName;
}

QString applyLoadPayload(const QVariantMap& payload, ZQAssistConfig& config) {
    const QVariant nameValue = payload.value(QLatin1String(kXibNameKey));
    // A page name that is not text names no page.
    const QString pageName =
        nameValue.typeId() == QMetaType::QString ? nameValue.toString() : QString();
    if (pageName == kUpdateDetail || pageName == kAccesAuthorize) {
        for (auto it = payload.constBegin(); it != payload.constEnd(); ++it) {
            config.setObject(it.value(), it.key());
        }
    } else if (pageName == kAuthorize) {
        config.setObject(qint64(1), kAccesAction);
        for (const QString& key : {kAuthorizeType, kAuthorizeSourceType}) {
            const auto it = payload.constFind(key);
            if (it != payload.constEnd() && it.value().isValid()) {
                config.setObject(it.value(), key);
            }
        }
    }
    return pageName;
}

}  // namespace zq::shell
