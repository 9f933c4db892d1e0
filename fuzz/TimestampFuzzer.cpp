// A date of a header.
#include "fuzz/FuzzInput.h"
#include "vexil/net/HeaderValues.h"
#include "zet/TimeFields.h"

#include <limits>

namespace {

using namespace vexil;

constexpr int64 second = 1000000;
constexpr int64 firstOf1583 = -12212553600 * second;
constexpr int64 firstOf10000 = 253402300800 * second;

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const String text = String::fromUTF8Lossy(vexil_fuzz::textOf(data, size));
    try {
        const zet::CTime time = parseTimestamp(text);
        vexil_fuzz::require(time.isSet());
        // libcurl accepts years that are outside the range of a time.
        const bool isLatest = time.getMicroseconds() == std::numeric_limits<int64>::max();
        vexil_fuzz::require(isLatest || time.getMicroseconds() % second == 0);
        // A date that both accept is written as in HTTP and read again.
        if (time.getMicroseconds() >= firstOf1583 && time.getMicroseconds() < firstOf10000) {
            vexil_fuzz::require(parseTimestamp(zet::CTimeFields(time).toInternetTimestamp()) == time);
        }
    } catch (const CError& error) {
        vexil_fuzz::require(error.getMessage() == "Error parsing timestamp '" + text + "'.");
    }
    return 0;
}
