// vesko-tool store: encrypted dictionary files and the public, cloud and
// accounts stores.

#include "crypto/ZQSecurityUtil.h"
#include "platform/Plist.h"
#include "stats/ZQAccsStatistician.h"
#include "stats/ZQCloudStatitician.h"
#include "stats/ZQPubStatistician.h"
#include "tools/vesko-tool/Command.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <optional>

namespace {

using vesko::tool::err;
using vesko::tool::fail;
using vesko::tool::out;
using vesko::tool::usageError;
using vesko::tool::wantsHelp;

const char kUsage[] =
    "usage: vesko-tool store read PATH\n"
    "       vesko-tool store write PATH        (a JSON object on standard input)\n"
    "       vesko-tool store pub|cloud|accs path\n"
    "       vesko-tool store pub|cloud|accs get KEY\n"
    "       vesko-tool store pub|cloud|accs set KEY VALUE [--json]\n"
    "       vesko-tool store pub|accs unset KEY\n"
    "\n"
    "read    prints an encrypted dictionary file (\"pub.dat\", \"accs.dat\", ...) as\n"
    "        JSON. A plain property list is printed as it is, and left as it is.\n"
    "write   writes a JSON object as an encrypted dictionary file, atomically.\n"
    "        Values may be text, numbers, booleans and objects of those.\n"
    "\n"
    "The stores:  pub    the public store \"pub.dat\"\n"
    "             cloud  the cloud store \"stat3.dat\" (top-level values)\n"
    "             accs   the accounts file \"accs.dat\"\n"
    "path prints the store's file; get prints {\"store\", \"key\", \"value\"} (null when\n"
    "absent); set stores VALUE as text, or with --json as a JSON value (number,\n"
    "boolean, object), and prints the value read back; unset removes the key.\n";

// Property-list values as JSON: bytes as Base64 text, dates as ISO text.
QJsonValue toJson(const QVariant& value) {
    switch (value.typeId()) {
        case QMetaType::QVariantMap: {
            QJsonObject object;
            const QVariantMap map = value.toMap();
            for (auto it = map.cbegin(); it != map.cend(); ++it) {
                object.insert(it.key(), toJson(it.value()));
            }
            return object;
        }
        case QMetaType::QVariantList: {
            QJsonArray array;
            for (const QVariant& item : value.toList()) {
                array.append(toJson(item));
            }
            return array;
        }
        case QMetaType::QByteArray:
            return QString::fromLatin1(value.toByteArray().toBase64());
        case QMetaType::QDateTime:
            return value.toDateTime().toUTC().toString(Qt::ISODateWithMs);
        default:
            return QJsonValue::fromVariant(value);
    }
}

// A JSON value as a dictionary-file value; integral numbers stay integers.
// Arrays and null have no place in an encrypted dictionary file.
std::optional<QVariant> fromJson(const QJsonValue& value, QString* error) {
    switch (value.type()) {
        case QJsonValue::String:
            return QVariant(value.toString());
        case QJsonValue::Bool:
            return QVariant(value.toBool());
        case QJsonValue::Double: {
            const double number = value.toDouble();
            if (std::trunc(number) == number && std::abs(number) < 9.0e15) {
                return QVariant(static_cast<qint64>(number));
            }
            return QVariant(number);
        }
        case QJsonValue::Object: {
            QVariantMap map;
            const QJsonObject object = value.toObject();
            for (auto it = object.begin(); it != object.end(); ++it) {
                const std::optional<QVariant> item = fromJson(it.value(), error);
                if (!item) {
                    return std::nullopt;
                }
                map.insert(it.key(), *item);
            }
            return QVariant(map);
        }
        case QJsonValue::Array:
            *error = QStringLiteral("arrays cannot be kept in an encrypted dictionary file");
            return std::nullopt;
        default:
            *error = QStringLiteral("null cannot be kept in an encrypted dictionary file");
            return std::nullopt;
    }
}

void printJson(const QJsonObject& object) {
    out() << QJsonDocument(object).toJson(QJsonDocument::Indented);
    out().flush();
}

int runRead(const QStringList& args) {
    if (args.size() != 1) {
        return usageError(QStringLiteral("read needs one PATH"), kUsage);
    }
    const QString path = args.first();
    if (!QFileInfo::exists(path)) {
        return fail(QStringLiteral("%1: no such file").arg(path));
    }
    // A plain property list is shown without the migration a store read would do.
    if (const std::optional<QVariantMap> plain = platform::Plist::readDictionary(path)) {
        err() << "vesko-tool: " << path << " is a plain property list, not encrypted\n";
        err().flush();
        printJson(toJson(*plain).toObject());
        return 0;
    }
    const std::optional<QVariantMap> dict = ZQSecurityUtil::dictionaryWithContentsOfAESFile(path);
    if (!dict) {
        return fail(QStringLiteral("%1 is not a readable encrypted dictionary file").arg(path));
    }
    printJson(toJson(*dict).toObject());
    return 0;
}

int runWrite(const QStringList& args) {
    if (args.size() != 1) {
        return usageError(QStringLiteral("write needs one PATH"), kUsage);
    }
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(vesko::tool::readStdin(), &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        return fail(QStringLiteral("standard input is not JSON: ") + parseError.errorString());
    }
    if (!doc.isObject()) {
        return fail(QStringLiteral("standard input must hold a JSON object"));
    }
    QString error;
    const std::optional<QVariant> dict = fromJson(doc.object(), &error);
    if (!dict) {
        return fail(error);
    }
    if (!ZQSecurityUtil::writeDict(dict->toMap(), args.first(), true)) {
        return fail(QStringLiteral("could not write %1").arg(args.first()));
    }
    return 0;
}

struct Store {
    QString name;
    QString (*path)();
    QVariant (*get)(const QString& key);
    void (*set)(const QVariant& value, const QString& key);
    bool canUnset;
};

QVariant cloudGet(const QString& key) {
    return ZQCloudStatitician::sharedInstance()->getValueForKeyStat3(key);
}

void cloudSet(const QVariant& value, const QString& key) {
    ZQCloudStatitician::sharedInstance()->setValueStat3(value, key);
}

std::optional<Store> storeNamed(const QString& name) {
    if (name == u"pub") {
        return Store{name, &ZQPubStatistician::storePath, &ZQPubStatistician::getPubDataByKey,
                     &ZQPubStatistician::setPubDataValue, true};
    }
    if (name == u"accs") {
        return Store{name, &ZQAccsStatistician::storePath, &ZQAccsStatistician::getAccsDataByKey,
                     &ZQAccsStatistician::setAccsDataValue, true};
    }
    if (name == u"cloud") {
        return Store{name, &ZQCloudStatitician::storePath, &cloudGet, &cloudSet, false};
    }
    return std::nullopt;
}

QJsonObject entry(const Store& store, const QString& key) {
    const QVariant value = store.get(key);
    return QJsonObject{{"store", store.name},
                       {"key", key},
                       {"value", value.isValid() ? toJson(value) : QJsonValue(QJsonValue::Null)}};
}

int runStore(const Store& store, QStringList args) {
    if (args.isEmpty()) {
        return usageError(QStringLiteral("'%1' needs path, get, set or unset").arg(store.name),
                          kUsage);
    }
    const QString op = args.takeFirst();
    if (op == u"path" && args.isEmpty()) {
        out() << store.path() << '\n';
        out().flush();
        return 0;
    }
    if (op == u"get" && args.size() == 1) {
        printJson(entry(store, args.first()));
        return 0;
    }
    if (op == u"unset" && args.size() == 1) {
        if (!store.canUnset) {
            return usageError(QStringLiteral("the cloud store has no unset"), kUsage);
        }
        store.set(QVariant(), args.first());
        const QJsonObject result = entry(store, args.first());
        printJson(result);
        return result.value("value").isNull() ? 0 : fail(QStringLiteral("the key is still there"));
    }
    if (op == u"set" && (args.size() == 2 || (args.size() == 3 && args.at(2) == u"--json"))) {
        const QString key = args.at(0);
        QVariant value = args.at(1);
        if (args.size() == 3) {
            QJsonParseError parseError;
            const QJsonDocument doc =
                QJsonDocument::fromJson("[" + args.at(1).toUtf8() + "]", &parseError);
            if (parseError.error != QJsonParseError::NoError || doc.array().size() != 1) {
                return fail(QStringLiteral("VALUE is not one JSON value"));
            }
            QString error;
            const std::optional<QVariant> converted = fromJson(doc.array().at(0), &error);
            if (!converted) {
                return fail(error);
            }
            value = *converted;
        }
        store.set(value, key);
        const QJsonObject result = entry(store, key);
        printJson(result);
        if (result.value("value") != toJson(value)) {
            return fail(QStringLiteral("%1 was not written (%2)")
                            .arg(key, QFileInfo(store.path()).absoluteDir().exists()
                                          ? QStringLiteral("see the messages above")
                                          : QStringLiteral("its folder does not exist")));
        }
        return 0;
    }
    return usageError(QStringLiteral("unexpected arguments for '%1 %2'").arg(store.name, op),
                      kUsage);
}

int runStoreCommand(const QStringList& args) {
    if (args.isEmpty()) {
        return usageError(QStringLiteral("store needs a subcommand"), kUsage);
    }
    if (wantsHelp(args, kUsage) || wantsHelp(args.mid(1), kUsage)) {
        return 0;
    }
    const QString sub = args.first();
    if (sub == u"read") {
        return runRead(args.mid(1));
    }
    if (sub == u"write") {
        return runWrite(args.mid(1));
    }
    if (const std::optional<Store> store = storeNamed(sub)) {
        return runStore(*store, args.mid(1));
    }
    return usageError(QStringLiteral("unknown subcommand '%1'").arg(sub), kUsage);
}

const vesko::tool::ToolCommand kCommand{
    "store", "read and write encrypted dictionary files and the pub, cloud and accs stores", kUsage,
    &runStoreCommand};

}  // namespace
