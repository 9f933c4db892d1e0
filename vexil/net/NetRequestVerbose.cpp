#include "vexil/net/CredentialFinder.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/VerboseRecord.h"
#include "vexil/net/VerboseRedactor.h"
#include "zet/TimeFields.h"
#include "zet/URI.h"

#include <string>
#include <string_view>
#include <utility>

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

/// Replaces the value of the first Authorization header up to its line end. Where none follows, the last
/// character stays; callers rely on it.
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

/// The element of a message but for its text.
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

/// What is shown of a message's bytes.
/// \param leftOut  bytes that follow, but were not recorded
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

int CNetRequest::_curlDebugFunctionCallback(void* handle, curl_infotype type, char* data, std::size_t size,
                                            void* request) noexcept {
    if (request) {
        try {
            static_cast<CNetRequest*>(request)->onLogDebugMessage(handle, type, data, size);
        } catch (...) {
            // The log must not end a transfer: a message that cannot be recorded is missing from it.
        }
    }
    return 0;
}

void CNetRequest::onLogDebugMessage(void* handle, curl_infotype type, char* data, std::size_t size) {
    if (handle != m_handle.get() || !m_verbose) {
        return;
    }
    m_verboseRecord->add(type, {data, size}, getAppearance(type, m_verboseData, m_verboseSSLData).showText);
}

void CNetRequest::setVerboseRecordLimit(int64 bytes) {
    if (bytes < -1) {
        throw CInvalidArgError("CNetRequest::setVerboseRecordLimit",
                               "limit is below -1: " + String::fromInt(bytes));
    }
    m_verboseRecord->setLimit(bytes);
}

int64 CNetRequest::getVerboseLeftOutBytes() const noexcept {
    return m_verboseRecord->getLeftOutBytes();
}

P<zet::CXMLElement> CNetRequest::getVerboseOutput(unsigned int maxTextLength) {
    if (!m_verbose) {
        return nullptr;
    }
    P<zet::CXMLElement> root = createRoot(getHTTPMethod(), m_url, getVerboseLeftOutBytes());
    for (const CVerboseLogMessage& message : m_verboseRecord->getMessages()) {
        if (const P<zet::CXMLElement> element = createVerboseXmlElement(message, maxTextLength)) {
            root->addChild(element);
        }
    }
    return root;
}

P<zet::CXMLElement> CNetRequest::createVerboseXmlElement(const CVerboseLogMessage& message,
                                                         unsigned int maxTextLength) {
    const Appearance appearance = getAppearance(message.type, m_verboseData, m_verboseSSLData);
    P<zet::CXMLElement> element = createElement(message, appearance);
    String text = makeText(getBytes(message.data), message.leftOut, appearance, maxTextLength);
    if (appearance.isHeader) {
        stripAuthorization(text);
    }
    element->setText(text);
    return element;
}

P<zet::CXMLElement> CNetRequest::getRedactedVerboseOutput(unsigned int maxTextLength) {
    if (!m_verbose) {
        return nullptr;
    }
    const std::string url = m_url.toUTF8();
    P<zet::CXMLElement> root = createRoot(
        getHTTPMethod(), String::fromUTF8(stripRanges(url, findSecretsOfURL(url))), getVerboseLeftOutBytes());
    const CVerboseRedactor redactor(m_verboseRecord->getMessages());
    std::size_t index = 0;
    for (const CVerboseLogMessage& message : m_verboseRecord->getMessages()) {
        const Appearance appearance = getAppearance(message.type, m_verboseData, m_verboseSSLData);
        const P<zet::CXMLElement> element = createElement(message, appearance);
        element->setText(makeText(redactor.getText(index++), message.leftOut, appearance, maxTextLength));
        root->addChild(element);
    }
    return root;
}

}  // namespace vexil
