#include "vexil/s3/S3ResultDocument.h"

#include "vexil/s3/S3Error.h"

#include <algorithm>

namespace vexil {

namespace {

String makePrefix(const char* operation) {
    return String("Error parsing Amazon S3 '") + operation + "' result: ";
}

std::string_view trim(std::string_view body, const String& errorPrefix) {
    body.remove_prefix(std::min(body.find_first_not_of(" \t\r\n"), body.size()));
    if (body.empty()) {
        throw CError(errorPrefix + "there is no document.");
    }
    return body;
}

}  // namespace

std::string_view getText(const TBuffer<unsigned char>& body) {
    return {reinterpret_cast<const char*>(body.getData()), static_cast<std::size_t>(body.getUsed())};
}

void throwIfXmlError(const CS3XmlElement& root) {
    if (root.getName() == "Error") {
        callWithXmlTree(root, [](wxXmlNode* tree) { throw CS3Error(CS3ErrorResponse(tree), 0); });
    }
}

CS3ResultDocument::CS3ResultDocument(std::string_view body, const char* operation, const char* rootName,
                                     int maxLength)
    : m_errorPrefix(makePrefix(operation)),
      m_elements(trim(body, m_errorPrefix), maxLength, m_errorPrefix.toUTF8().c_str(),
                 S3XmlWhiteSpace::Kept) {
    throwIfXmlError(getRoot());
    if (getRoot().getName() != rootName) {
        fail("unknown root element '" + String::fromUTF8(getRoot().getName()) + "'.");
    }
}

String CS3ResultDocument::findText(const char* wanted) const {
    String text;
    getRoot().forEachChild([&](const CS3XmlElement& child) {
        if (child.getName() == wanted) {
            text = child.getWholeText();
        }
    });
    return text;
}

bool CS3ResultDocument::parseBoolean(const CS3XmlElement& element) const {
    const String value = element.getWholeText().trimmed().toLower();
    if (value != "true" && value != "false") {
        fail("'" + String::fromUTF8(element.getName()) + "' is neither true nor false, but '" + value + "'.");
    }
    return value == "true";
}

void CS3ResultDocument::fail(const String& message) const {
    throw CError(m_errorPrefix + message);
}

}  // namespace vexil
