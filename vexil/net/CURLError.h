#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

#include <curl/curl.h>

namespace vexil {

/// A failed call of libcurl, or an HTTP status outside 200 to 299 (code 22, CURLE_HTTP_RETURNED_ERROR).
///
/// The domain is "curl" for a code of the easy interface (CURLcode) and "curlm" for one of the multi
/// interface (CURLMcode); getCode() is that code. The members tell what the server has sent. For programs
/// that only know CError, so do the properties, in this order and each only if it is known:
/// "responseCodeDomain" ("http", "ftp", "smtp"), "responseCode" (decimal, above 0), "serverMessage",
/// "httpStatusLine", "url", "httpMethod".
///
/// getKind() comes from the code and the response: the response decides, unless the code says more, such as
/// for TLS, a refused login or a connection that was not made. docs/errors.md has the table.
///
/// A plain value; clone() and throwClone() carry it to another thread with its type.
class VEXIL_API CCURLError : public CError {
public:
    /// \param code                result of an easy-interface call
    /// \param errorDetail         libcurl's error buffer, "" for none
    /// \param responseCodeDomain  protocol family of the response code, "" if there was no response
    /// \param responseCode        the server's last response code; below 1 for none
    /// \param serverMessage       text of the server's response or reply, "" for none
    /// \param httpStatusLine      last HTTP status line, without its line end, "" for none
    /// \param url                 URL of the request as it was set
    /// \param httpMethod          method as it was set, "" for the default
    CCURLError(CURLcode code, const String& errorDetail, const String& responseCodeDomain, int responseCode,
               const String& serverMessage, const String& httpStatusLine, const String& url,
               const String& httpMethod);
    /// The same for a result of a multi-interface call. Its text never names the domain.
    CCURLError(CURLMcode code, const String& errorDetail, const String& responseCodeDomain, int responseCode,
               const String& serverMessage, const String& httpStatusLine, const String& url,
               const String& httpMethod);
    CCURLError(const CCURLError&) = default;
    CCURLError& operator=(const CCURLError&) = default;
    ~CCURLError() override;

    /// libcurl's text for the code, then ": " and the detail if there is one, then " (response code: DOMAIN
    /// CODE)" if the code is at least 1.
    [[nodiscard]] static String makeErrorText(CURLcode code, const String& errorDetail,
                                              const String& responseCodeDomain, int responseCode);
    /// The same with " (response code: CODE)".
    [[nodiscard]] static String makeErrorText(CURLMcode code, const String& errorDetail, int responseCode);

    /// The server's last response code; below 1 for none.
    [[nodiscard]] int getResponseCode() const noexcept { return m_responseCode; }
    /// The "responseCode" of a property list: -1 if there is none, 0 if it is not a number.
    [[nodiscard]] static int getResponseCode(const CProps& props);
    /// Protocol family of the response code: "http", "ftp" or "smtp"; "" if there was no response.
    [[nodiscard]] String getResponseCodeDomain() const { return m_responseCodeDomain; }
    /// The "responseCodeDomain" of a property list, "" if there is none.
    [[nodiscard]] static String getResponseCodeDomain(const CProps& props);
    /// The server's text, "" for none: for HTTP that of the error body
    /// (CNetRequest::getServerErrorMessageFromResponseData()), for SMTP the last line of the reply.
    [[nodiscard]] const String& getServerMessage() const noexcept { return m_serverMessage; }
    /// Last HTTP status line, without its line end; "" for none.
    [[nodiscard]] const String& getHTTPStatusLine() const noexcept { return m_httpStatusLine; }
    /// URL of the request as it was set, with the credentials that are in it.
    [[nodiscard]] const String& getURL() const noexcept { return m_url; }
    /// HTTP method as it was set; "" for the default and for other protocols.
    [[nodiscard]] const String& getHTTPMethod() const noexcept { return m_httpMethod; }

    [[nodiscard]] P<CError> clone() const override;
    [[noreturn]] void throwClone() const override;

private:
    String m_responseCodeDomain;
    int m_responseCode;
    String m_serverMessage;
    String m_httpStatusLine;
    String m_url;
    String m_httpMethod;
};

}  // namespace vexil
