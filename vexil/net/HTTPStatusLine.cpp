#include "vexil/net/HTTPStatusLine.h"

#include "zet/ParseNumber.h"

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

}  // namespace

void parseHTTPStatusLine(const String& line, int& code, String& info) {
    const std::size_t firstSpace = line.find(L' ');
    if (!line.startsWithNoCase("http/") || firstSpace == String::npos) {
        throwInvalid(line);
    }
    const std::size_t codeStart = firstSpace + 1;
    const std::size_t codeEnd = line.find(L' ', codeStart);
    const bool hasInfo = codeEnd != String::npos;
    code = parseCode(line.substr(codeStart, hasInfo ? codeEnd - codeStart : String::npos), line);
    info = hasInfo ? line.substr(codeEnd).trimmed() : String();
}

int getStatusCodeFromHTTPStatusLine(const String& line) {
    int code = 0;
    String ignored;
    parseHTTPStatusLine(line, code, ignored);
    return code;
}

String getInfoFromHTTPStatusLine(const String& line) {
    int ignored = 0;
    String info;
    parseHTTPStatusLine(line, ignored, info);
    return info;
}

}  // namespace vexil
