#include "zet/DisplayText.h"

#include "zet/ASCII.h"

#include <system_error>

namespace zet {

namespace {

// Replaces everything that is not text: names may be any bytes on Linux, and may contain half characters on
// Windows.
String decode(const std::filesystem::path& path) {
    if constexpr (sizeof(std::filesystem::path::value_type) == 1) {
        return String::fromUTF8Lossy(path.generic_string());
    } else {
        return String::fromUTF8Lossy(String(path.generic_wstring()).toUTF8());
    }
}

}  // namespace

String toDisplayText(const String& text) {
    constexpr std::wstring_view hexDigits = L"0123456789ABCDEF";
    String result;
    for (const wchar_t character : text.view()) {
        if (isUnicodeControl(character)) {
            result += "\\x";
            result += hexDigits[(static_cast<unsigned int>(character) >> 4) & 0xF];
            result += hexDigits[static_cast<unsigned int>(character) & 0xF];
        } else {
            result += character;
        }
    }
    return result;
}

String toDisplayPath(const std::filesystem::path& path) {
    return toDisplayText(decode(path));
}

String describeSystemError(int code) {
    return code == 0 ? String("unknown error") : String::fromUTF8Lossy(std::generic_category().message(code));
}

}  // namespace zet
