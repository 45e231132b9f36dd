// libFuzzer target for the property-list reader: any bytes, parsed as an XML
// or binary property list. Beyond "no crash" (libplist aborts the process on
// some inputs that must be refused before they reach it), whatever parses
// must serialise again and read back as the same value.

#include "platform/Plist.h"

#include <QByteArray>
#include <QVariant>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

bool hasNaN(const QVariant& value) {
    switch (value.metaType().id()) {
        case QMetaType::Double:
            return std::isnan(value.toDouble());
        case QMetaType::QVariantList: {
            const QVariantList list = value.toList();
            for (const QVariant& element : list) {
                if (hasNaN(element)) {
                    return true;
                }
            }
            return false;
        }
        case QMetaType::QVariantMap: {
            const QVariantMap map = value.toMap();
            for (const QVariant& element : map) {
                if (hasNaN(element)) {
                    return true;
                }
            }
            return false;
        }
        default:
            return false;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const std::optional<QVariant> value = platform::Plist::parse(bytes);
    if (!value || hasNaN(*value)) {
        return 0;  // refused, or a value that never compares equal to itself
    }
    for (const auto format : {platform::Plist::Format::Xml, platform::Plist::Format::Binary}) {
        const QByteArray again = platform::Plist::serialize(*value, format);
        if (again.isEmpty()) {
            std::abort();  // a parsed value always has a property-list form
        }
        const std::optional<QVariant> back = platform::Plist::parse(again);
        if (!back || *back != *value) {
            std::abort();
        }
    }
    return 0;
}
