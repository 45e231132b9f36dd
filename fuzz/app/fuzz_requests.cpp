// libFuzzer target for the request rules of the shell: any bytes, read as
// launch arguments (split at zero bytes; the first byte chooses the form) or
// as a load payload (JSON). Beyond "no crash": a launch names one of the
// seven pages or none, and stores nothing when it names none; a payload
// stores only its own keys and "AccesAction", and never an absent value.

#include "app/core/PageRequest.h"
#include "app/core/ZQAssistConfig.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QList>
#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(data + 1),
                                                     static_cast<qsizetype>(size - 1));
    ZQAssistConfig config;
    if (data[0] % 2 == 0) {
        QStringList arguments{QStringLiteral("/opt/ZQAssistPanel")};
        for (const QByteArray& part : bytes.split('\0')) {
            arguments.append(QString::fromUtf8(part));
        }
        const QString page = zq::shell::applyLaunchArguments(arguments, config);
        if (page.isEmpty() ? !config.userData().isEmpty() : !zq::shell::findPage(page)) {
            std::abort();
        }
        if (zq::shell::argumentDictionary(arguments).size() != arguments.size()) {
            std::abort();
        }
    } else {
        const QJsonDocument document = QJsonDocument::fromJson(bytes);
        if (!document.isObject()) {
            return 0;
        }
        const QVariantMap payload = document.toVariant().toMap();
        zq::shell::applyLoadPayload(payload, config);
        const QVariantMap& stored = config.userData();
        for (auto it = stored.cbegin(); it != stored.cend(); ++it) {
            if (!it.value().isValid() ||
                (!payload.contains(it.key()) && it.key() != QLatin1String("AccesAction"))) {
                std::abort();
            }
        }
    }
    return 0;
}
