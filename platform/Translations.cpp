#include "platform/Translations.h"

#include <QCoreApplication>
#include <QTranslator>

namespace platform {

bool installTranslations(QCoreApplication* app) {
    auto* translator = new QTranslator(app);
    if (!translator->load(QStringLiteral(":/i18n/zh_CN.qm"))) {
        delete translator;
        return false;
    }
    return QCoreApplication::installTranslator(translator);
}

}  // namespace platform
