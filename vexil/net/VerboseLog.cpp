#include "vexil/net/VerboseLog.h"

#include "vexil/net/CredentialFinder.h"
#include "vexil/net/VerboseRedactor.h"
#include "zet/TimeFields.h"
#include "zet/URI.h"

#include <string>

namespace vexil {

namespace {

/// How a kind of message is shown.
struct Appearance {
    const char* element;
    String type;  // "" for no attribute
    bool showText;
    bool showBytes;
    bool isHeader = false;
};

Appearance getAppearance(curl_infotype type, unsigned int data, unsigned int sslData) {
    switch (type) {
    case CURLINFO_TEXT:
        return {"info", "", true, false};
    case CURLINFO_HEADER_IN:
        return {"receive", "header", true, false, true};
    case CURLINFO_HEADER_OUT:
        return {"send", "header", true, false, true};
    case CURLINFO_DATA_IN:
        return {"receive", "data", (data & VerboseLogReceived) != 0, true};
    case CURLINFO_DATA_OUT:
        return {"send", "data", (data & VerboseLogSent) != 0, true};
    case CURLINFO_SSL_DATA_IN:
        return {"receive", "ssl_data", (sslData & VerboseLogReceived) != 0, true};
    case CURLINFO_SSL_DATA_OUT:
        return {"send", "ssl_data", (sslData & VerboseLogSent) != 0, true};
    default:
        return {"unknown", String::fromInt(type), true, true};
    }
}

/// Replaces the value of the first Authorization header up to the end of its line. Without a line end the
/// last character stays: callers rely on it.
void stripAuthorization(String& text) {
    static constexpr char name[] = "Authorization: ";
    const std::size_t found = text.find(name);
    if (found == String::npos) {
        return;
    }
    const std::size_t start = found + sizeof name - 1;
    const std::size_t lineEnd = text.find(L'\n', start);
    const std::size_t end = lineEnd == String::npos ? text.length() - 1 : lineEnd;
    if (start < end) {
        text.replace(start, end - start, strippedText);
    }
}

std::string_view getBytes(const TBuffer<char>& data) {
    return {data.getData(), static_cast<std::size_t>(data.getUsed())};
}

P<zet::CXMLElement> createRoot(const String& httpMethod, const String& url, int64 leftOutBytes) {
    CProps attributes;
    attributes.add("httpMethod", httpMethod);
    attributes.add("url", url);
    if (leftOutBytes > 0) {
        attributes.add("bytesLeftOut", String::fromInt(leftOutBytes));
    }
    return new zet::CXMLElement("NetRequest", attributes);
}

/// The element of a message, still without its text.
P<zet::CXMLElement> createElement(const CNetRequest::CVerboseLogMessage& message,
                                  const Appearance& appearance) {
    P<zet::CXMLElement> element = new zet::CXMLElement(appearance.element);
    if (!appearance.type.isEmpty()) {
        element->addAttribute("type", appearance.type);
    }
    element->addAttribute("logTime", zet::CTimeFields(message.time).toISODateTime(3));
    if (appearance.showBytes) {
        element->addAttribute("bytes", String::fromInt(message.data.getUsed() + message.leftOut));
    }
    return element;
}

/// The text that shows a message's bytes.
/// \param leftOut  how many more bytes the message had that were not recorded
String makeText(std::string_view bytes, int64 leftOut, const Appearance& appearance, unsigned int maxLength) {
    const std::string_view shown = bytes.substr(0, maxLength);
    String text = appearance.showText ? String::fromLatin1(shown) : String(strippedText);
    if (appearance.showText && appearance.showBytes) {
        text = zet::CURI::escape(text);
    }
    const auto length = static_cast<int64>(bytes.size()) + leftOut;
    const int64 shownLength = appearance.showText ? static_cast<int64>(shown.size()) : int64{maxLength};
    if (shownLength < length) {
        text += "...";
    }
    text.trimRight();
    return text;
}

}  // namespace

void CVerboseLog::setOn(bool isOn) {
    if (isOn && !m_record) {
        m_record = std::make_unique<CVerboseRecord>();
        m_record->setLimit(m_limit);
    }
    m_isOn = isOn;
}

void CVerboseLog::setLimit(int64 bytes) noexcept {
    m_limit = bytes;
    if (m_record) {
        m_record->setLimit(bytes);
    }
}

void CVerboseLog::setShown(VerboseLogData data, VerboseLogData sslData) noexcept {
    m_data = data;
    m_sslData = sslData;
}

void CVerboseLog::begin(bool isUpload) noexcept {
    if (m_data == VerboseLogAutomatic) {
        m_data = isUpload ? VerboseLogReceived : VerboseLogBoth;
    }
    if (m_record) {
        m_record->clear();
    }
}

void CVerboseLog::add(curl_infotype type, std::string_view bytes) {
    m_record->add(type, bytes, getAppearance(type, m_data, m_sslData).showText);
}

P<zet::CXMLElement> CVerboseLog::makeTree(const String& httpMethod, const String& url,
                                          unsigned int maxTextLength) const {
    P<zet::CXMLElement> root = createRoot(httpMethod, url, getLeftOutBytes());
    for (const Message& message : m_record->getMessages()) {
        root->addChild(makeElement(message, maxTextLength));
    }
    return root;
}

P<zet::CXMLElement> CVerboseLog::makeElement(const Message& message, unsigned int maxTextLength) const {
    const Appearance appearance = getAppearance(message.type, m_data, m_sslData);
    P<zet::CXMLElement> element = createElement(message, appearance);
    String text = makeText(getBytes(message.data), message.leftOut, appearance, maxTextLength);
    if (appearance.isHeader) {
        stripAuthorization(text);
    }
    element->setText(text);
    return element;
}

P<zet::CXMLElement> CVerboseLog::makeRedactedTree(const String& httpMethod, const String& url,
                                                  unsigned int maxTextLength) const {
    const std::string utf8 = url.toUTF8();
    P<zet::CXMLElement> root = createRoot(
        httpMethod, String::fromUTF8(stripRanges(utf8, findSecretsOfURL(utf8))), getLeftOutBytes());
    const CVerboseRedactor redactor(m_record->getMessages());
    std::size_t index = 0;
    for (const Message& message : m_record->getMessages()) {
        const Appearance appearance = getAppearance(message.type, m_data, m_sslData);
        const P<zet::CXMLElement> element = createElement(message, appearance);
        element->setText(makeText(redactor.getText(index++), message.leftOut, appearance, maxTextLength));
        root->addChild(element);
    }
    return root;
}

}  // namespace vexil
