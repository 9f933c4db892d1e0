#include "vexil/net/HTTPContentRange.h"

#include "zet/ParseNumber.h"

namespace vexil {

namespace {

constexpr std::wstring_view none = L"*";

[[noreturn]] void throwInvalid(const String& header) {
    throw CError("Invalid HTTP Content-Range header: " + header);
}

int64 parseNumber(const String& header, std::wstring_view text) {
    try {
        return zet::parseInt64(String(text), false);
    } catch (const CError&) {
        throwInvalid(header);
    }
}

int64 parseNumberOrNone(const String& header, std::wstring_view text) {
    return text == none ? -1 : parseNumber(header, text);
}

}  // namespace

CHTTPContentRange::CHTTPContentRange(const String& unit, int64 first, int64 last, int64 entireContentSize)
    : m_unit(unit), m_first(first), m_last(last), m_entireContentSize(entireContentSize) {}

CHTTPContentRange::~CHTTPContentRange() = default;

P<CHTTPContentRange> CHTTPContentRange::parse(const String& header) {
    const String value = header.trimmed();
    const std::wstring_view text = value.view();
    const std::size_t blank = text.find(L' ');
    const std::size_t slash = blank == text.npos ? text.npos : text.find(L'/', blank);
    if (slash == text.npos) {
        throwInvalid(value);
    }
    const std::wstring_view range = text.substr(blank + 1, slash - blank - 1);
    // The search goes to the end of the text: with a dash after the slash the range has no end.
    const std::size_t dash = text.find(L'-', blank);
    int64 first = -1;
    int64 last = -1;
    if (dash == text.npos) {
        if (range != none) {
            throwInvalid(value);
        }
    } else {
        if (dash > slash) {
            throwInvalid(value);
        }
        first = parseNumber(value, text.substr(blank + 1, dash - blank - 1));
        last = parseNumber(value, text.substr(dash + 1, slash - dash - 1));
    }
    const int64 entireSize = parseNumberOrNone(value, text.substr(slash + 1));
    return new CHTTPContentRange(String(text.substr(0, blank)).toLower(), first, last, entireSize);
}

}  // namespace vexil
