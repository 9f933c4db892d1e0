#include "apps/vexil/base/Text.h"

#include "zet/DisplayText.h"

#include <array>
#include <charconv>
#include <cmath>

namespace vexil::app {

namespace {

String formatOneDigit(double value) {
    std::array<char, 64> digits{};
    const auto end =
        std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed, 1);
    return String::fromLatin1({digits.data(), static_cast<std::size_t>(end.ptr - digits.data())});
}

String formatTwoPlaces(int64 value) {
    return (value < 10 ? String("0") : String()) + String::fromInt(value);
}

String formatTime(int64 seconds) {
    if (seconds < 60) {
        return String::fromInt(seconds) + " s";
    }
    if (seconds < 3600) {
        return String::fromInt(seconds / 60) + " min " + formatTwoPlaces(seconds % 60) + " s";
    }
    return String::fromInt(seconds / 3600) + " h " + formatTwoPlaces(seconds % 3600 / 60) + " min";
}

// Replaces everything that is not text: names may be any bytes on Linux, and may contain half characters on
// Windows.
String decode(const std::filesystem::path& path) {
    if constexpr (sizeof(std::filesystem::path::value_type) == 1) {
        return String::fromUTF8Lossy(path.generic_string());
    } else {
        return String::fromUTF8Lossy(String(path.generic_wstring()).toUTF8());
    }
}

// Scripts of wide characters begin here (Unicode Standard Annex 11).
constexpr wchar_t firstWideCharacter = 0x1100;

// If characters are 16 bits wide, this is the first half of one.
bool isHighSurrogate(wchar_t character) {
    return character >= 0xD800 && character <= 0xDBFF;
}

}  // namespace

std::filesystem::path toPath(const std::string& argument) {
    return std::filesystem::path(std::u8string(argument.begin(), argument.end()));
}

std::filesystem::path toPath(const String& text) {
    return toPath(text.toUTF8());
}

std::string toBytes(const std::filesystem::path& path) {
    // On Windows UTF-8, on Linux the bytes themselves.
    const std::u8string bytes = path.generic_u8string();
    return {bytes.begin(), bytes.end()};
}

String toText(const std::filesystem::path& path) {
    String text = decode(path);
    // Replaced characters cannot be converted back.
    if (toPath(text) != path) {
        throw CError("its name is not UTF-8 text");
    }
    return text;
}

String describe(const std::filesystem::path& path) {
    return zet::toDisplayPath(path);
}

namespace {

/// Number of bytes of the UTF-8 character at the beginning of a text; 0 if the text does not begin with one.
std::size_t getCharacterLength(std::string_view bytes) {
    for (std::size_t length = 1; length <= std::min<std::size_t>(4, bytes.size()); ++length) {
        try {
            static_cast<void>(String::fromUTF8(bytes.substr(0, length)));
            return length;
        } catch (const CError&) {
            // The character may be longer.
        }
    }
    return 0;
}

}  // namespace

String printable(const String& text) {
    return zet::toDisplayText(text);
}

String printableBytes(std::string_view bytes) {
    constexpr std::wstring_view hexDigits = L"0123456789ABCDEF";
    String result;
    while (!bytes.empty()) {
        const std::size_t length = getCharacterLength(bytes);
        if (length > 0) {
            result += printable(String::fromUTF8(bytes.substr(0, length)));
        } else {
            const auto byte = static_cast<unsigned char>(bytes.front());
            result += "\\x";
            result += hexDigits[byte >> 4];
            result += hexDigits[byte & 0xF];
        }
        bytes.remove_prefix(std::max<std::size_t>(1, length));
    }
    return result;
}

String withoutLogin(const String& url) {
    const std::size_t scheme = url.find("://");
    const std::size_t host = scheme == String::npos ? 0 : scheme + 3;
    const std::size_t at = url.findLast(L'@');
    return at == String::npos || at < host ? url : url.substr(0, host) + "***" + url.substr(at);
}

String withoutProxyLogin(const String& message) {
    const std::size_t proxy = message.find("roxy ");
    const std::size_t quote = proxy == String::npos ? proxy : message.find(L'\'', proxy);
    if (quote == String::npos) {
        return message;
    }
    // The login may contain quotes, too.
    const std::size_t begin = quote + 1;
    const std::size_t last = message.findLast(L'\'');
    const std::size_t end = last > quote ? last : message.length();
    return message.substr(0, begin) + withoutLogin(message.substr(begin, end - begin)) + message.substr(end);
}

String cutToColumns(const String& text, int columns) {
    const std::wstring_view characters = text.view();
    std::size_t end = 0;
    for (; end < characters.size(); ++end) {
        columns -= characters[end] < firstWideCharacter ? 1 : 2;
        if (columns < 0) {
            break;
        }
    }
    if (end < characters.size() && end > 0 && isHighSurrogate(characters[end - 1])) {
        --end;
    }
    return text.substr(0, end);
}

String describeSystemError(int code) {
    return zet::describeSystemError(code);
}

String formatBytes(int64 bytes) {
    static constexpr std::array units = {"kB", "MB", "GB", "TB", "PB", "EB"};
    if (bytes < 1000) {
        return formatNumberOf(bytes, "byte");
    }
    double value = static_cast<double>(bytes) / 1000;
    std::size_t unit = 0;
    // Otherwise 999,950 would be rounded to "1000.0 kB".
    while (value >= 999.95 && unit + 1 < units.size()) {
        value /= 1000;
        ++unit;
    }
    return formatOneDigit(value) + " " + units[unit];
}

String formatCount(int64 count) {
    String text = String::fromInt(count);
    const std::size_t first = count < 0 ? 1 : 0;
    for (std::size_t position = text.length(); position > first + 3;) {
        position -= 3;
        text.replace(position, 0, ",");
    }
    return text;
}

String formatSeconds(double seconds) {
    return seconds < 59.95 ? formatOneDigit(seconds) + " s" : formatTime(std::llround(seconds));
}

String formatWholeSeconds(double seconds) {
    return formatTime(static_cast<int64>(std::ceil(seconds)));
}

String formatRate(int64 bytes, double seconds) {
    return seconds > 0 ? formatBytes(static_cast<int64>(static_cast<double>(bytes) / seconds)) + "/s"
                       : String("-");
}

String formatNumberOf(int64 count, const char* noun) {
    const String singular = noun;
    if (count == 1) {
        return "1 " + singular;
    }
    const bool endsInY = singular.endsWith("y");
    return formatCount(count) + " " +
           (endsInY ? singular.substr(0, singular.length() - 1) + "ies" : singular + "s");
}

}  // namespace vexil::app
