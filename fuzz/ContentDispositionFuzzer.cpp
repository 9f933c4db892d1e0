// The value of a "Content-Disposition" header.
#include "fuzz/FuzzInput.h"
#include "vexil/net/HeaderValues.h"

#include <algorithm>

namespace {

using namespace vexil;

bool isTrimmedAndLower(const String& text) {
    return text == text.trimmed().toLower();
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const String value = String::fromUTF8Lossy(vexil_fuzz::textOf(data, size));
    TMap<String, String> params;
    const String type = parseContentDispositionHeader(value, params);
    vexil_fuzz::require(isTrimmedAndLower(type) && type.find(L';') == String::npos);
    const auto quotes = std::count(value.view().begin(), value.view().end(), L'"');
    vexil_fuzz::require(params.size() <= static_cast<std::size_t>(quotes) / 2);

    String header = type;
    for (const auto& [name, text] : params) {
        vexil_fuzz::require(isTrimmedAndLower(name) && name.find(L'=') == String::npos);
        vexil_fuzz::require(text.find(L'"') == String::npos);
        header += "; " + name + "=\"" + text + "\"";
    }
    TMap<String, String> again;
    vexil_fuzz::require(parseContentDispositionHeader(header, again) == type && again == params);
    return 0;
}
