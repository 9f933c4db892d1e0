#include "vexil/s3/S3XmlWriter.h"

#include <algorithm>

namespace vexil {

bool isXmlText(const String& text) {
    const std::string bytes = text.toUTF8();
    const bool hasControl = std::any_of(bytes.begin(), bytes.end(), [](char c) {
        return static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\n' && c != '\r';
    });
    // toUTF8() replaces what is not a character; that would be another text.
    return !hasControl && bytes.find("\xEF\xBF\xBE") == std::string::npos &&
           bytes.find("\xEF\xBF\xBF") == std::string::npos && String::fromUTF8(bytes) == text;
}

void appendXmlText(std::string& document, std::string_view text) {
    for (const char c : text) {
        switch (c) {
        case '<':
            document += "&lt;";
            break;
        case '>':
            document += "&gt;";
            break;
        case '&':
            document += "&amp;";
            break;
        case ' ':
        case '\t':
        case '\n':
        case '\r':
            document.append("&#").append(std::to_string(static_cast<int>(c))).append(";");
            break;
        default:
            document += c;
        }
    }
}

}  // namespace vexil
