#include "apps/vexil/base/SizeText.h"

#include <charconv>
#include <system_error>

namespace vexil::app {

namespace {

constexpr std::string_view smallUnits = "kmgt";
constexpr std::string_view largeUnits = "KMGT";
constexpr int bitsOfAUnit = 10;
constexpr int64 largest = int64(1) << (5 * bitsOfAUnit);

}  // namespace

std::optional<int64> parseSize(std::string_view text) {
    int64 unit = 1;
    for (std::size_t i = 0; i < smallUnits.size(); ++i) {
        if (text.ends_with(smallUnits[i]) || text.ends_with(largeUnits[i])) {
            unit <<= bitsOfAUnit * (static_cast<int>(i) + 1);
        }
    }
    text.remove_suffix(unit > 1 ? 1 : 0);
    int64 number = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failure != std::errc() || end != text.data() + text.size() || number < 0 || number > largest / unit) {
        return std::nullopt;
    }
    return number * unit;
}

}  // namespace vexil::app
