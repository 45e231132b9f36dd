// libFuzzer target for the help list answer: any bytes, read as the JSON the
// service answers with. Beyond "no crash", what the list keeps must survive
// the help cache: the stored entries hold only the six entry keys, as text,
// and come back from the cache's property-list form unchanged; every entry
// accepted for showing has what its layout needs.

#include "help/ZQHelpListInfoDataManager.h"
#include "platform/Plist.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QSet>
#include <QVariant>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "fuzz_helplist: %s\n", what);
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    if (!document.isObject()) {
        return 0;
    }
    const QVariantMap answer = document.toVariant().toMap();
    for (const std::optional<QString>& held :
         {std::optional<QString>(), std::optional<QString>("3")}) {
        const ZQHelpListInfoDataManager::HelpListAnswer read =
            ZQHelpListInfoDataManager::readHelpListAnswer(answer, held);
        if (!read.newer && (!read.stored.isEmpty() || !read.accepted.isEmpty())) {
            fail("an answer that is not newer was read further");
        }
        static const QSet<QString> kKeys{"id", "type", "title", "brief", "detail", "image"};
        for (const QVariant& stored : read.stored) {
            const QVariantMap entry = stored.toMap();
            for (auto it = entry.cbegin(); it != entry.cend(); ++it) {
                if (!kKeys.contains(it.key()) || it.value().typeId() != QMetaType::QString) {
                    fail("a stored entry holds a key or value it should not");
                }
            }
        }
        for (const ZQHelpInfoDataModel& entry : read.accepted) {
            if (!entry.hasRequiredFieldsForLayout()) {
                fail("an accepted entry lacks what its layout needs");
            }
        }
        // The cache's form: a property list written and read back.
        const QVariantMap cache{{QStringLiteral("version"), read.version},
                                {QStringLiteral("helplist"), read.stored}};
        const QByteArray serialized = platform::Plist::serialize(cache);
        if (serialized.isEmpty()) {
            fail("the cache's form cannot be written");
        }
        const std::optional<QVariant> back = platform::Plist::parse(serialized);
        if (!back || back->toMap() != cache) {
            fail("the cache's property list does not read back as written");
        }
    }
    return 0;
}
