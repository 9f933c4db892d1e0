#include "vexil/net/HTTPStatusLine.h"

#include "zet/ParseNumber.h"

#include <algorithm>
#include <utility>

namespace vexil {

namespace {

[[noreturn]] void throwInvalid(const String& line) {
    throw CError("Invalid HTTP status line: '" + line + "'");
}

int parseCode(const String& text, const String& line) {
    try {
        return static_cast<int>(zet::parseInt64(text, false));
    } catch (const CError&) {
        throwInvalid(line);
    }
}

/// The code and the rest of the line, which is a part of it.
std::pair<int, std::wstring_view> splitLine(const String& line) {
    const std::wstring_view text = line.view();
    const std::size_t firstSpace = text.find(L' ');
    if (!line.startsWithNoCase("http/") || firstSpace == std::wstring_view::npos) {
        throwInvalid(line);
    }
    const std::wstring_view rest = text.substr(firstSpace + 1);
    const std::size_t codeEnd = std::min(rest.find(L' '), rest.size());
    return {parseCode(String(rest.substr(0, codeEnd)), line), rest.substr(codeEnd)};
}

}  // namespace

void parseHTTPStatusLine(const String& line, int& code, String& info) {
    const auto [lineCode, rest] = splitLine(line);
    code = lineCode;
    info.assign(zet::trimmed(rest));
}

int getStatusCodeFromHTTPStatusLine(const String& line) {
    return splitLine(line).first;
}

String getInfoFromHTTPStatusLine(const String& line) {
    int ignored = 0;
    String info;
    parseHTTPStatusLine(line, ignored, info);
    return info;
}

}  // namespace vexil
