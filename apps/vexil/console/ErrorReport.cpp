#include "apps/vexil/console/ErrorReport.h"

#include "apps/vexil/base/Text.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/URLRedaction.h"

#include <utility>

namespace vexil::app {

namespace {

constexpr std::size_t labelWidth = 16;

struct CFactLabel {
    const char* property;
    const char* label;
};

// In this order. Properties without a label come after them under their own names.
constexpr CFactLabel labels[] = {
    {"recipient", "recipient"},
    {"s3-code", "S3 code"},
    {"s3-resource", "S3 resource"},
    {"s3-requestID", "S3 request id"},
    {"responseCode", "response code"},
    {"httpStatusLine", "status line"},
    {"serverMessage", "server message"},
    {"httpMethod", "method"},
    {"url", "URL"},
};

String makeFactLine(const String& label, const String& value) {
    String line = "  " + label + ":";
    while (line.length() < labelWidth + 2) {
        line += L' ';
    }
    return "\n" + line + " " + printable(value);
}

bool isLabelled(const String& property) {
    for (const CFactLabel& label : labels) {
        if (property == label.property) {
            return true;
        }
    }
    return false;
}

}  // namespace

CErrorReport::CErrorReport(const std::exception& error, const String& hint)
    : m_error(error), m_known(dynamic_cast<const CError*>(&error)), m_hint(hint) {
    if (m_known) {
        m_facts = m_known->getProps();
        m_status = getHTTPStatusCodeFromError(*m_known);
        m_s3Code = m_facts.lookup("s3-code");
        if (CCURLError::getResponseCodeDomain(m_facts) == "ftp") {
            m_ftpReply = CCURLError::getResponseCode(m_facts);
        }
    }
}

void CErrorReport::addRequest(const CNetRequest& request) {
    const auto add = [this](const char* name, const String& value) {
        m_facts.addCond(!m_facts.has(name) && !value.isEmpty(), name, value);
    };
    if (m_status > 0 || (m_known && m_known->getDomain() == "curl")) {
        add("httpStatusLine", request.getHTTPStatusLine());
        if (request.getResponseCodeDomain() == "http") {
            add("httpMethod", request.getHTTPMethod());
        }
        add("url", request.getURL());
    }
}

String CErrorReport::getMessage() const {
    return withoutLogins(m_error, m_known ? m_known->getMessage() : String::fromUTF8Lossy(m_error.what()));
}

String CErrorReport::withoutLogins(const std::exception& error, const String& message) const {
    String text = withoutProxyLogin(message);
    const String url = m_facts.lookup("url");
    text.replaceAll(url, redactURL(url));
    // The program's own messages contain names of files and objects, in which ":" and "@" have no meaning.
    return dynamic_cast<const CCURLError*>(&error) ? redactURLs(text) : text;
}

String CErrorReport::getText() const {
    String text = printable(getMessage());
    // For an error of the domain "http" the response code is the same as the code.
    const bool isTold = m_known && m_known->getDomain() == "http" && m_facts.has("responseCode");
    if (m_known && !m_known->getDomain().isEmpty() && m_known->getCode() != -1 && !isTold) {
        text += makeFactLine(m_known->getDomain() == "curl" ? String("libcurl code")
                                                            : m_known->getDomain() + " code",
                             String::fromInt(m_known->getCode()));
    }
    for (const auto& [property, label] : labels) {
        if (const String value = m_facts.lookup(property); !value.isEmpty()) {
            text += makeFactLine(label, property == std::string_view("url") ? redactURL(value) : value);
        }
    }
    for (const auto& [property, value] : m_facts.getEntries()) {
        if (!isLabelled(property) && property != "responseCodeDomain") {
            text += makeFactLine(property, value);
        }
    }
    if (m_known && m_known->getInnerError()) {
        const CError& cause = *m_known->getInnerError();
        text += makeFactLine("cause", withoutLogins(cause, cause.getMessage()));
    }
    if (!m_hint.isEmpty()) {
        text += makeFactLine("what you can do", m_hint);
    }
    return text;
}

String CErrorReport::getLine() const {
    const String message = printable(getMessage());
    if (const String reply = m_facts.lookup("serverMessage"); m_ftpReply > 0 && !reply.isEmpty()) {
        return message + "; the server says: " + printable(reply);
    }
    return m_s3Code.isEmpty() && m_status > 0 && message.find("response code") == String::npos
               ? message + " (status " + String::fromInt(m_status) + ")"
               : message;
}

}  // namespace vexil::app
