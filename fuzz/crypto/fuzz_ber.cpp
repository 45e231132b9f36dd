// berParse / berDecode on arbitrary bytes: either a tree or the exception.

#include "FuzzSupport.h"

#include "crypto/BasicEncodingRules.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // An exact-size copy, so that a read past the end is a sanitizer finding.
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    try {
        const zq::crypto::BerObjectPtr tree = zq::crypto::berParse(input);
        FUZZ_CHECK(tree != nullptr);
        FUZZ_CHECK(tree->end < static_cast<std::size_t>(input.size()));
        const QVariant plain = zq::crypto::berDecode(input);
        // The parsed tree encodes again into BER that parses (strings may
        // change: invalid UTF-8 and non-ASCII IA5 text are replaced).
        const zq::crypto::BerObjectPtr again = zq::crypto::berParse(tree->berData());
        FUZZ_CHECK(again->berTagValue == tree->berTagValue);
        zq::crypto::BERPrintVisitor printer;
        zq::crypto::acceptBERVisitor(QVariant::fromValue(tree), printer);
        (void)tree->description();
        (void)plain;
    } catch (const zq::crypto::BerException& e) {
        FUZZ_CHECK(e.name() == QLatin1String("Invalid BER translation"));
    }
    return 0;
}
