#include "vexil/s3/S3ResultDocument.h"

#include "vexil/s3/S3Error.h"

#include <algorithm>
#include <limits>

namespace vexil {

namespace {

String makePrefix(const char* operation) {
    return String("Error parsing Amazon S3 '") + operation + "' result: ";
}

CS3XmlDocument parse(std::string_view body, const String& errorPrefix, int maxLength) {
    body.remove_prefix(std::min(body.find_first_not_of(" \t\r\n"), body.size()));
    if (body.empty()) {
        throw CError(errorPrefix + "there is no document.");
    }
    const std::size_t length = std::min<std::size_t>(body.size(), std::numeric_limits<int>::max());
    return CS3XmlDocument(body.data(), static_cast<int>(length), maxLength, errorPrefix.toUTF8().c_str(),
                          S3XmlWhiteSpace::Kept);
}

}  // namespace

std::string_view getText(const TBuffer<unsigned char>& body) {
    return {reinterpret_cast<const char*>(body.getData()), static_cast<std::size_t>(body.getUsed())};
}

CS3ResultDocument::CS3ResultDocument(std::string_view body, const char* operation, const char* rootName,
                                     int maxLength)
    : m_errorPrefix(makePrefix(operation)), m_document(parse(body, m_errorPrefix, maxLength)) {
    const String root = getXmlName(getRoot());
    if (root == "Error") {
        throw CS3Error(CS3ErrorResponse(m_document.getRoot()), 0);
    }
    if (!(root == rootName)) {
        fail("unknown root element '" + root + "'.");
    }
}

String CS3ResultDocument::findText(const char* wanted) const {
    String text;
    forEachXmlChild(getRoot(), [&](const String& name, const wxXmlNode* child) {
        if (name == wanted) {
            text = getXmlWholeText(child);
        }
    });
    return text;
}

bool CS3ResultDocument::parseBoolean(const wxXmlNode* node) const {
    const String value = getXmlWholeText(node).trimmed().toLower();
    if (value != "true" && value != "false") {
        fail("'" + getXmlName(node) + "' is neither true nor false, but '" + value + "'.");
    }
    return value == "true";
}

void CS3ResultDocument::fail(const String& message) const {
    throw CError(m_errorPrefix + message);
}

}  // namespace vexil
