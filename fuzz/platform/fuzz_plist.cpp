// libFuzzer target for the property-list reader: any bytes, parsed as an XML
// or binary property list. Beyond "no crash" (libplist aborts the process on
// some inputs that must be refused before they reach it), whatever parses
// must serialise again: read back from binary as the same value, and from
// XML (which keeps dates to the second) as the same XML text.

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
    // Binary keeps every value exactly.
    const QByteArray binary = platform::Plist::serialize(*value, platform::Plist::Format::Binary);
    if (binary.isEmpty()) {
        std::abort();  // a parsed value always has a property-list form
    }
    const std::optional<QVariant> fromBinary = platform::Plist::parse(binary);
    if (!fromBinary || *fromBinary != *value) {
        std::abort();
    }
    // XML writes dates to the second: its text form must be stable.
    const QByteArray xml = platform::Plist::serialize(*value, platform::Plist::Format::Xml);
    const std::optional<QVariant> fromXml = platform::Plist::parse(xml);
    if (xml.isEmpty() || !fromXml ||
        platform::Plist::serialize(*fromXml, platform::Plist::Format::Xml) != xml) {
        std::abort();
    }
    return 0;
}
