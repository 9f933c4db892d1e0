// The value of a "Content-Range" header.
#include "fuzz/FuzzInput.h"
#include "vexil/net/HTTPContentRange.h"

namespace {

using namespace vexil;

/// The header that describes a range.
String headerOf(const CHTTPContentRange& range) {
    const String part = range.getFirst() == -1
                            ? String("*")
                            : String::fromInt(range.getFirst()) + "-" + String::fromInt(range.getLast());
    const int64 size = range.getEntireContentSize();
    return range.getUnit() + " " + part + "/" + (size == -1 ? String("*") : String::fromInt(size));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const String header = String::fromUTF8Lossy(vexil_fuzz::textOf(data, size));
    try {
        const auto range = CHTTPContentRange::parse(header);
        // A dash before the first position would end it.
        vexil_fuzz::require(range->getFirst() >= -1);
        vexil_fuzz::require(range->getFirst() >= 0 || range->getLast() == -1);
        vexil_fuzz::require(!range->getUnit().isEmpty() && range->getUnit() == range->getUnit().toLower());
        const auto again = CHTTPContentRange::parse(headerOf(*range));
        vexil_fuzz::require(headerOf(*again) == headerOf(*range));
    } catch (const CError& error) {
        vexil_fuzz::require(error.getMessage() == "Invalid HTTP Content-Range header: " + header.trimmed());
    }
    return 0;
}
