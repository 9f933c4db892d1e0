#include "vexil/net/NetRequest.h"
#include "zet/TimeFields.h"
#include "zet/URI.h"

#include <algorithm>
#include <string>

namespace vexil {

namespace {

constexpr char strippedText[] = "~stripped~";

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
    CVerboseLogMessage& message = m_verboseMessages.emplace_back();
    message.time = zet::CTime::now();
    message.type = type;
    message.data.append(data, static_cast<int>(size));
}

P<zet::CXMLElement> CNetRequest::getVerboseOutput(unsigned int maxTextLength) {
    if (!m_verbose) {
        return nullptr;
    }
    CProps attributes;
    attributes.add("httpMethod", getHTTPMethod());
    attributes.add("url", m_url);
    const P<zet::CXMLElement> root = new zet::CXMLElement("NetRequest", attributes);
    for (const CVerboseLogMessage& message : m_verboseMessages) {
        if (const P<zet::CXMLElement> element = createVerboseXmlElement(message, maxTextLength)) {
            root->addChild(element);
        }
    }
    return root;
}

P<zet::CXMLElement> CNetRequest::createVerboseXmlElement(const CVerboseLogMessage& message,
                                                         unsigned int maxTextLength) {
    const Appearance appearance = getAppearance(message.type, m_verboseData, m_verboseSSLData);
    const P<zet::CXMLElement> element = new zet::CXMLElement(appearance.element);
    if (!appearance.type.isEmpty()) {
        element->addAttribute("type", appearance.type);
    }
    element->addAttribute("logTime", zet::CTimeFields(message.time).toISODateTime(3));

    const auto length = static_cast<unsigned int>(message.data.getUsed());
    const unsigned int shown = std::min(length, maxTextLength);
    String text = appearance.showText ? String::fromLatin1({message.data.getData(), shown}) : String(strippedText);
    if (appearance.showBytes) {
        element->addAttribute("bytes", String::fromInt(length));
        if (appearance.showText) {
            text = zet::CURI::escape(text);
        }
    }
    if (shown < length) {
        text += "...";
    }
    text.trimRight();
    if (appearance.isHeader) {
        stripAuthorization(text);
    }
    element->setText(text);
    return element;
}

P<zet::CXMLElement> CNetRequest::getRedactedVerboseOutput(unsigned int) {
    return nullptr;
}

}  // namespace vexil
