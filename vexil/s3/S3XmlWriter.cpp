#include "vexil/s3/S3XmlWriter.h"

#include "zet/XMLCharacters.h"

#include <cstddef>

namespace vexil {

bool isXmlText(const String& text) {
    const std::wstring_view characters = text.view();
    for (std::size_t i = 0; i < characters.size(); ++i) {
        if (!zet::isXMLCharacter(characters, i)) {
            return false;
        }
    }
    return true;
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
