#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/CurlHandles.h"

#include <curl/curl.h>

namespace vexil {

/// The libcurl easy handle of a request: its options and figures, each checked by its type. One thread at a
/// time.
///
/// Errors: what libcurl refuses is a CCURLError with no response domain, the response code -1 and the URL.
class CCurlEasy {
public:
    /// Starts libcurl if necessary.
    /// \throws CError "Error creating curl easy handle."
    CCurlEasy();
    CCurlEasy(const CCurlEasy&) = delete;
    CCurlEasy& operator=(const CCurlEasy&) = delete;
    ~CCurlEasy() = default;
    /// Ends the handle and closes its connections. libcurl makes no callbacks meanwhile. Only destruction may
    /// follow.
    /// \param hasConnections  false if the handle certainly has no connection of its own
    void close(bool hasConnections) noexcept;

    CURL* getHandle() const noexcept { return m_handle.get(); }
    const String& getURL() const noexcept { return m_url; }
    /// The URL for error messages. CURLOPT_URL is an option like others.
    void setURL(const String& url) { m_url = url; }
    /// All options back to libcurl's defaults, and the URL to "".
    void reset() noexcept;

    /// @{

    /// Sets an option of this type. An option of another type is a CCURLError of code 48
    /// (CURLE_UNKNOWN_OPTION).
    void setInt(CURLoption option, int value);
    void setInt64(CURLoption option, int64 value);
    void setPointer(CURLoption option, void* value);
    void checkIsText(CURLoption option);
    /// @}

    /// Sets an option.
    /// \param value  of the type that libcurl reads for it
    template <class Value>
    void setOption(CURLoption option, Value value) {
        clearErrorMessage();
        check(trySetOption(option, value));
    }
    /// The same, but returns libcurl's result and leaves the error message as it is.
    template <class Value>
    CURLcode trySetOption(CURLoption option, Value value) noexcept {
        m_hasCookieJar = m_hasCookieJar || option == CURLOPT_COOKIEJAR;
        return curl_easy_setopt(m_handle.get(), option, value);
    }
    /// Makes the request the owner of libcurl's error message.
    void setErrorBuffer() { setOption(CURLOPT_ERRORBUFFER, m_errorBuffer.getData()); }
    /// CURLOPT_SSLVERSION: the oldest version, and above 16 bits the newest one.
    int getTLSVersions() const noexcept { return m_tlsVersions; }
    /// CURLOPT_TIMEOUT_MS and CURLOPT_TIMEOUT, the last one of them, in milliseconds; 0 for no limit.
    int64 getTimeLimit() const noexcept { return m_timeLimit; }

    /// @{

    /// A figure of this type. One of another type is a CCURLError of code 48 (CURLE_UNKNOWN_OPTION).
    int getLong(CURLINFO info) const;
    int64 getInt64(CURLINFO info) const;
    double getDouble(CURLINFO info) const;
    String getText(CURLINFO info) const;
    /// @}

    /// The socket of the last transfer; CURL_SOCKET_BAD if there is none.
    curl_socket_t getActiveSocket() const noexcept;

    CURLcode perform() noexcept { return curl_easy_perform(m_handle.get()); }
    /// In a callback: makes libcurl continue the transfer without waiting for the server.
    void requestNextStep() noexcept;
    /// \throws CError "Error URL-escaping a string."
    String escape(const String& text) const;

    /// libcurl's text about the last failure; "" if there is none.
    String getErrorMessage() const;
    void clearErrorMessage() noexcept { m_errorBuffer.getData()[0] = '\0'; }
    /// Sets libcurl's text about a connection that took too long.
    void setTimedOutMessage(int64 milliseconds) noexcept;
    /// Throws unless the result is CURLE_OK.
    void check(CURLcode result) const;

private:
    void checkType(CURLoption option, bool isRightType);
    template <class Value>
    Value getInfo(CURLINFO info, int type) const;
    [[noreturn]] void throwError(CURLcode result, const String& detail) const;

    TBuffer<char> m_errorBuffer;  // libcurl writes into it
    CurlEasyHandle m_handle;
    String m_url;
    int m_tlsVersions = 0;
    int64 m_timeLimit = 0;
    bool m_hasCookieJar = false;  // it was set at least once
};

}  // namespace vexil
