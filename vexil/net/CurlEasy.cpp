#include "vexil/net/CurlEasy.h"

#include "vexil/net/CURLError.h"
#include "vexil/net/GlobalInit.h"
#include "zet/Log.h"

#include <cstdio>
#include <string>

namespace vexil {

namespace {

/// libcurl numbers its options by type: CURLOPTTYPE_LONG and the other types have 10,000 numbers each.
bool hasType(CURLoption option, int type) {
    constexpr int numbersOfAType = 10000;
    return option / numbersOfAType == type / numbersOfAType;
}

/// Lists, callback data and other objects have the same numbers as strings. Only libcurl's table tells them
/// apart. An option that is not in the table counts as a string: libcurl refuses it.
bool isString(CURLoption option) {
    if (!hasType(option, CURLOPTTYPE_STRINGPOINT)) {
        return false;
    }
    const curl_easyoption* const known = curl_easy_option_by_id(option);
    return !known || known->type == CURLOT_STRING;
}

const char* nameOfType(curl_easytype type) {
    switch (type) {
    case CURLOT_LONG:
    case CURLOT_VALUES:
        return "a number of 32 bits";
    case CURLOT_OFF_T:
        return "a number of 64 bits";
    case CURLOT_STRING:
        return "a string";
    case CURLOT_SLIST:
        return "a list";
    case CURLOT_FUNCTION:
        return "a function";
    default:
        return "a pointer";
    }
}

/// "" for an option that libcurl does not know.
String describeType(CURLoption option) {
    const curl_easyoption* const known = curl_easy_option_by_id(option);
    return known ? String("CURLOPT_") + known->name + " takes " + nameOfType(known->type) : String();
}

}  // namespace

CCurlEasy::CCurlEasy() : m_errorBuffer(CURL_ERROR_SIZE) {
    CGlobalInit::get();
    clearErrorMessage();
    m_handle.reset(curl_easy_init());
    if (!m_handle) {
        throw CError("Error creating curl easy handle.");
    }
}

void CCurlEasy::close(bool hasConnections) noexcept {
    if (hasConnections) {
        // To close an FTP connection libcurl sends QUIT, and would call the callbacks.
        curl_easy_reset(m_handle.get());
    } else {
        // Much less work than a reset, which a new request for each transfer notices.
        trySetOption(CURLOPT_VERBOSE, 0L);
        if (m_hasCookieJar) {
            trySetOption(CURLOPT_COOKIEJAR, static_cast<const char*>(nullptr));
        }
    }
    m_handle.reset();
}

void CCurlEasy::reset() noexcept {
    m_url.clear();
    m_tlsVersions = 0;
    m_timeLimit = 0;
    clearErrorMessage();
    curl_easy_reset(m_handle.get());
}

// ---- options ---------------------------------------------------------------------------------------------

void CCurlEasy::checkType(CURLoption option, bool isRightType) {
    if (!isRightType) {
        clearErrorMessage();
        throwError(CURLE_UNKNOWN_OPTION, describeType(option));
    }
}

void CCurlEasy::setInt(CURLoption option, int value) {
    checkType(option, hasType(option, CURLOPTTYPE_LONG));
    setOption(option, static_cast<long>(value));
    if (option == CURLOPT_SSLVERSION) {
        m_tlsVersions = value;
    } else if (option == CURLOPT_TIMEOUT_MS) {
        m_timeLimit = value;
    } else if (option == CURLOPT_TIMEOUT) {
        m_timeLimit = int64{value} * 1000;
    }
}

void CCurlEasy::setInt64(CURLoption option, int64 value) {
    checkType(option, hasType(option, CURLOPTTYPE_OFF_T));
    setOption(option, static_cast<curl_off_t>(value));
}

void CCurlEasy::setPointer(CURLoption option, void* value) {
    checkType(option, hasType(option, CURLOPTTYPE_OBJECTPOINT) ||
                          hasType(option, CURLOPTTYPE_FUNCTIONPOINT) || hasType(option, CURLOPTTYPE_BLOB));
    setOption(option, value);
}

void CCurlEasy::checkIsText(CURLoption option) {
    checkType(option, isString(option));
}

// ---- figures ---------------------------------------------------------------------------------------------

template <class Value>
Value CCurlEasy::getInfo(CURLINFO info, int type) const {
    if ((info & CURLINFO_TYPEMASK) != type) {
        // libcurl would write a value of that other type over this one.
        check(CURLE_UNKNOWN_OPTION);
    }
    Value value{};
    check(curl_easy_getinfo(m_handle.get(), info, &value));
    return value;
}

int CCurlEasy::getLong(CURLINFO info) const {
    return static_cast<int>(getInfo<long>(info, CURLINFO_LONG));
}

int64 CCurlEasy::getInt64(CURLINFO info) const {
    return getInfo<curl_off_t>(info, CURLINFO_OFF_T);
}

double CCurlEasy::getDouble(CURLINFO info) const {
    return getInfo<double>(info, CURLINFO_DOUBLE);
}

String CCurlEasy::getText(CURLINFO info) const {
    const char* const text = getInfo<const char*>(info, CURLINFO_STRING);
    return text ? String::fromUTF8Lossy(text) : String();
}

curl_socket_t CCurlEasy::getActiveSocket() const noexcept {
    curl_socket_t socket = CURL_SOCKET_BAD;
    const CURLcode result = curl_easy_getinfo(m_handle.get(), CURLINFO_ACTIVESOCKET, &socket);
    return result == CURLE_OK ? socket : CURL_SOCKET_BAD;
}

// ---- transfer --------------------------------------------------------------------------------------------

void CCurlEasy::requestNextStep() noexcept {
    // Leaving a pause sets a timer of 0 ms.
    curl_easy_pause(m_handle.get(), CURLPAUSE_SEND);
    curl_easy_pause(m_handle.get(), CURLPAUSE_CONT);
}

String CCurlEasy::escape(const String& text) const {
    const std::string utf8 = text.toUTF8();
    if (utf8.empty()) {
        // For libcurl a length of 0 means "up to the NUL".
        return String();
    }
    const CurlString escaped(curl_easy_escape(m_handle.get(), utf8.data(), static_cast<int>(utf8.size())));
    if (!escaped) {
        throw CError("Error URL-escaping a string.");
    }
    return String::fromUTF8(escaped.get());
}

// ---- errors ----------------------------------------------------------------------------------------------

String CCurlEasy::getErrorMessage() const {
    try {
        return String::fromUTF8(m_errorBuffer.getData());
    } catch (const std::exception& error) {
        zet::logError(
            error, "A CURL function has failed, but the CURL error buffer does not contain valid UTF8 data.");
        return String();
    }
}

void CCurlEasy::setTimedOutMessage(int64 milliseconds) noexcept {
    std::snprintf(m_errorBuffer.getData(), CURL_ERROR_SIZE, "Connection timed out after %lld milliseconds",
                  static_cast<long long>(milliseconds));
}

void CCurlEasy::check(CURLcode result) const {
    if (result != CURLE_OK) {
        throwError(result, "");
    }
}

void CCurlEasy::throwError(CURLcode result, const String& detail) const {
    throw CCURLError(result, detail.isEmpty() ? getErrorMessage() : detail, "", -1, "", "", m_url, "");
}

}  // namespace vexil
