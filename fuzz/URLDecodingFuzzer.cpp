// A query and its arguments.
#include "fuzz/FuzzInput.h"
#include "vexil/net/URLEncoding.h"

#include <algorithm>

namespace {

using namespace vexil;

void checkText(const String& text, bool withPlus) {
    const String unescaped = urlUnescape(text, withPlus);
    vexil_fuzz::require(unescaped.length() <= text.length());
    vexil_fuzz::require(urlUnescape(urlEscape(unescaped, withPlus), withPlus) == unescaped);
    vexil_fuzz::require(urlUnescape(formURLEncode(text, withPlus), true) == text);
    if (text.find(L'%') == String::npos && text.find(L'+') == String::npos) {
        vexil_fuzz::require(unescaped == text);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const String text = String::fromUTF8Lossy(vexil_fuzz::textOf(data, size));
    checkText(text, false);
    checkText(text, true);

    TMap<String, String> params;
    decodeURLParams(text, params);
    const auto ampersands = std::count(text.view().begin(), text.view().end(), L'&');
    vexil_fuzz::require(params.empty() == text.isEmpty());
    vexil_fuzz::require(params.size() <= static_cast<std::size_t>(ampersands) + 1);

    TMap<String, String> again;
    decodeURLParams(encodeURLParams(params), again);
    vexil_fuzz::require(again == params);
    return 0;
}
