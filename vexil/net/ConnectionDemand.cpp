#include "vexil/net/ConnectionDemand.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace vexil {

namespace {

/// The kind of an option's value.
enum class Kind {
    Other,             ///< the option may have an effect on connections
    OtherText,         ///< the same, a text that is found often
    OfTransfer,        ///< the option has no effect on connections
    Number,            ///< 0 is the default
    Check,             ///< not 0 is the default
    Text,              ///< null is the default
    TextWithADefault,  ///< null is not the default
    Blob,
    Pointer,
};

constexpr CURLoption transferOptions[] = {CURLOPT_ACCEPT_ENCODING,
                                          CURLOPT_APPEND,
                                          CURLOPT_AUTOREFERER,
                                          CURLOPT_BUFFERSIZE,
                                          CURLOPT_CONNECTTIMEOUT,
                                          CURLOPT_CONNECTTIMEOUT_MS,
                                          CURLOPT_COOKIE,
                                          CURLOPT_COOKIEFILE,
                                          CURLOPT_COOKIEJAR,
                                          CURLOPT_COOKIELIST,
                                          CURLOPT_COOKIESESSION,
                                          CURLOPT_CRLF,
                                          CURLOPT_DEBUGDATA,
                                          CURLOPT_DEBUGFUNCTION,
                                          CURLOPT_DIRLISTONLY,
                                          CURLOPT_ERRORBUFFER,
                                          CURLOPT_EXPECT_100_TIMEOUT_MS,
                                          CURLOPT_FAILONERROR,
                                          CURLOPT_FILETIME,
                                          CURLOPT_FOLLOWLOCATION,
                                          CURLOPT_FTP_CREATE_MISSING_DIRS,
                                          CURLOPT_FTP_FILEMETHOD,
                                          CURLOPT_HEADER,
                                          CURLOPT_HEADERDATA,
                                          CURLOPT_HEADERFUNCTION,
                                          CURLOPT_HTTPGET,
                                          CURLOPT_HTTPHEADER,
                                          CURLOPT_HTTP_CONTENT_DECODING,
                                          CURLOPT_HTTP_TRANSFER_DECODING,
                                          CURLOPT_IGNORE_CONTENT_LENGTH,
                                          CURLOPT_INFILESIZE,
                                          CURLOPT_INFILESIZE_LARGE,
                                          CURLOPT_KEEP_SENDING_ON_ERROR,
                                          CURLOPT_LOW_SPEED_LIMIT,
                                          CURLOPT_LOW_SPEED_TIME,
                                          CURLOPT_MAIL_FROM,
                                          CURLOPT_MAIL_RCPT,
                                          CURLOPT_MAXFILESIZE,
                                          CURLOPT_MAXFILESIZE_LARGE,
                                          CURLOPT_MAXREDIRS,
                                          CURLOPT_MAX_RECV_SPEED_LARGE,
                                          CURLOPT_MAX_SEND_SPEED_LARGE,
                                          CURLOPT_NOBODY,
                                          CURLOPT_NOPROGRESS,
                                          CURLOPT_NOSIGNAL,
                                          CURLOPT_PATH_AS_IS,
                                          CURLOPT_POST,
                                          CURLOPT_POSTREDIR,
                                          CURLOPT_RANGE,
                                          CURLOPT_READDATA,
                                          CURLOPT_READFUNCTION,
                                          CURLOPT_REDIR_PROTOCOLS_STR,
                                          CURLOPT_REFERER,
                                          CURLOPT_REQUEST_TARGET,
                                          CURLOPT_RESUME_FROM,
                                          CURLOPT_RESUME_FROM_LARGE,
                                          CURLOPT_SEEKDATA,
                                          CURLOPT_SEEKFUNCTION,
                                          CURLOPT_TIMECONDITION,
                                          CURLOPT_TIMEOUT,
                                          CURLOPT_TIMEOUT_MS,
                                          CURLOPT_TIMEVALUE,
                                          CURLOPT_TIMEVALUE_LARGE,
                                          CURLOPT_UPLOAD,
                                          CURLOPT_UPLOAD_BUFFERSIZE,
                                          CURLOPT_URL,
                                          CURLOPT_USERAGENT,
                                          CURLOPT_VERBOSE,
                                          CURLOPT_WRITEDATA,
                                          CURLOPT_WRITEFUNCTION,
                                          CURLOPT_XFERINFODATA,
                                          CURLOPT_XFERINFOFUNCTION};

constexpr int optionsOfAType = CURLOPTTYPE_OBJECTPOINT;
constexpr std::size_t highestOption = 400;

/// The options of transfers, by their numbers without their types.
constexpr auto transferOptionsByNumber = [] {
    std::array<int, highestOption> table{};
    for (const CURLoption option : transferOptions) {
        table[static_cast<std::size_t>(option % optionsOfAType)] = option;
    }
    return table;
}();

Kind kindOfOther(CURLoption option) noexcept {
    switch (option) {
    case CURLOPT_PASSWORD:
    case CURLOPT_PROXY:
    case CURLOPT_PROXYPASSWORD:
    case CURLOPT_PROXYUSERNAME:
    case CURLOPT_PROXYUSERPWD:
    case CURLOPT_USERNAME:
    case CURLOPT_USERPWD:
        return Kind::OtherText;
    default:
        break;
    }
    const auto number = static_cast<std::size_t>(option % optionsOfAType);
    const bool isOfTransfer =
        number < highestOption && number > 0 && transferOptionsByNumber[number] == static_cast<int>(option);
    return isOfTransfer ? Kind::OfTransfer : Kind::Other;
}

Kind kindOf(CURLoption option) noexcept {
    switch (option) {
    case CURLOPT_USE_SSL:
    case CURLOPT_SSLVERSION:
    case CURLOPT_SSL_VERIFYSTATUS:
    case CURLOPT_SSL_OPTIONS:
    case CURLOPT_FTPSSLAUTH:
    case CURLOPT_FTP_SSL_CCC:
    case CURLOPT_SSH_AUTH_TYPES:
        return Kind::Number;
    case CURLOPT_SSL_VERIFYPEER:
    case CURLOPT_SSL_VERIFYHOST:
        return Kind::Check;
    case CURLOPT_CRLFILE:
    case CURLOPT_ISSUERCERT:
    case CURLOPT_PINNEDPUBLICKEY:
    case CURLOPT_SSLCERT:
    case CURLOPT_SSLCERTTYPE:
    case CURLOPT_SSLKEY:
    case CURLOPT_SSLKEYTYPE:
    case CURLOPT_KEYPASSWD:
    case CURLOPT_SSLENGINE:
    case CURLOPT_SSL_CIPHER_LIST:
    case CURLOPT_TLS13_CIPHERS:
    case CURLOPT_SSL_EC_CURVES:
    case CURLOPT_TLSAUTH_TYPE:
    case CURLOPT_TLSAUTH_USERNAME:
    case CURLOPT_TLSAUTH_PASSWORD:
    case CURLOPT_LOGIN_OPTIONS:
    case CURLOPT_FTP_ACCOUNT:
    case CURLOPT_FTP_ALTERNATIVE_TO_USER:
    case CURLOPT_KRBLEVEL:
    case CURLOPT_SSH_KNOWNHOSTS:
    case CURLOPT_SSH_HOST_PUBLIC_KEY_MD5:
    case CURLOPT_SSH_HOST_PUBLIC_KEY_SHA256:
        return Kind::Text;
    case CURLOPT_CAINFO:
    case CURLOPT_CAPATH:
        return Kind::TextWithADefault;
    case CURLOPT_CAINFO_BLOB:
    case CURLOPT_ISSUERCERT_BLOB:
    case CURLOPT_SSLCERT_BLOB:
    case CURLOPT_SSLKEY_BLOB:
        return Kind::Blob;
    case CURLOPT_SSL_CTX_FUNCTION:
    case CURLOPT_SSL_CTX_DATA:
    case CURLOPT_SSH_KEYFUNCTION:
    case CURLOPT_SSH_KEYDATA:
    case CURLOPT_SSH_HOSTKEYFUNCTION:
    case CURLOPT_SSH_HOSTKEYDATA:
        return Kind::Pointer;
    default:
        return kindOfOther(option);
    }
}

/// Whether libcurl compares the option for connections that begin with TLS.
bool isComparedWithTLS(CURLoption option) noexcept {
    switch (option) {
    case CURLOPT_LOGIN_OPTIONS:
    case CURLOPT_FTP_ACCOUNT:
    case CURLOPT_FTP_ALTERNATIVE_TO_USER:
    case CURLOPT_KRBLEVEL:
    case CURLOPT_SSH_AUTH_TYPES:
    case CURLOPT_SSH_KNOWNHOSTS:
    case CURLOPT_SSH_HOST_PUBLIC_KEY_MD5:
    case CURLOPT_SSH_HOST_PUBLIC_KEY_SHA256:
    case CURLOPT_SSH_KEYFUNCTION:
    case CURLOPT_SSH_KEYDATA:
    case CURLOPT_SSH_HOSTKEYFUNCTION:
    case CURLOPT_SSH_HOSTKEYDATA:
    case CURLOPT_SSL_CTX_FUNCTION:
    case CURLOPT_SSL_CTX_DATA:
        return false;
    default:
        return true;
    }
}

/// The bytes of a value that is not null.
std::string bytesOf(Kind kind, const void* value) {
    if (kind == Kind::Blob) {
        const auto* const blob = static_cast<const curl_blob*>(value);
        return {static_cast<const char*>(blob->data), blob->len};
    }
    if (kind == Kind::Pointer) {
        return {reinterpret_cast<const char*>(&value), sizeof(value)};
    }
    return static_cast<const char*>(value);
}

void append(std::string& key, CURLoption option, const std::string& text) {
    key += std::to_string(option) + ":" + std::to_string(text.size()) + ":" + text;
}

}  // namespace

/// Of an option that libcurl compares for no protocol, or only for connections that begin with TLS.
CConnectionDemand::Group CConnectionDemand::groupOf(CURLoption option) noexcept {
    return isComparedWithTLS(option) ? Group::ComparedWithTLS : Group::NeverCompared;
}

template <class MakeText>
void CConnectionDemand::set(Group group, CURLoption option, bool isDefault, MakeText makeText) noexcept {
    auto place = m_values.begin();
    while (place != m_values.end() && std::pair(place->group, place->option) < std::pair(group, option)) {
        ++place;
    }
    const bool isKnown = place != m_values.end() && place->group == group && place->option == option;
    if (isDefault) {
        if (isKnown) {
            m_values.erase(place);
        }
        return;
    }
    try {
        if (isKnown) {
            place->text = makeText();
        } else {
            m_values.insert(place, {group, option, makeText()});
        }
    } catch (...) {
        m_isUnknown = true;
    }
}

void CConnectionDemand::note(CURLoption option, long long value) noexcept {
    const Kind kind = kindOf(option);
    if (kind == Kind::OfTransfer) {
        return;
    }
    if (kind == Kind::Check) {
        set(Group::ComparedWithTLS, option, value != 0, [] { return "0"; });
        return;
    }
    if (option == CURLOPT_CONNECT_ONLY) {
        // The caller uses the connection after the transfer.
        set(Group::Object, option, value == 0, [] { return ""; });
    }
    const bool isNumber = kind == Kind::Number;
    set(isNumber ? groupOf(option) : Group::Other, option, isNumber && value == 0,
        [value] { return std::to_string(value); });
}

void CConnectionDemand::note(CURLoption option, const void* value) noexcept {
    const Kind kind = kindOf(option);
    if (kind == Kind::OfTransfer) {
        return;
    }
    if (kind == Kind::OtherText) {
        set(Group::Other, option, !value, [=] { return bytesOf(kind, value); });
        return;
    }
    if (kind == Kind::Other || kind == Kind::Number || kind == Kind::Check) {
        noteOther(option, value);
        return;
    }
    if (kind == Kind::Pointer) {
        set(Group::Object, option, !value, [] { return ""; });
    }
    set(groupOf(option), option, !value && kind != Kind::TextWithADefault,
        [=] { return value ? "=" + bytesOf(kind, value) : std::string(); });
}

void CConnectionDemand::noteOther(CURLoption option, const void* value) noexcept {
    const curl_easyoption* const known = curl_easy_option_by_id(option);
    if (known && known->type == CURLOT_STRING) {
        set(Group::Other, option, false,
            [=] { return value ? "=" + bytesOf(Kind::Text, value) : std::string(); });
    } else if (known && known->type == CURLOT_BLOB) {
        set(Group::Other, option, false,
            [=] { return value ? "=" + bytesOf(Kind::Blob, value) : std::string(); });
    } else {
        set(Group::Object, option, !value, [] { return ""; });
    }
}

void CConnectionDemand::clear() noexcept {
    m_values.clear();
    m_isUnknown = false;
}

std::string CConnectionDemand::getKey() const {
    const bool isNeeded = std::any_of(m_values.begin(), m_values.end(), [](const Value& value) {
        return value.group == Group::NeverCompared ||
               (value.group == Group::ComparedWithTLS && value.option == CURLOPT_USE_SSL);
    });
    return isNeeded ? getKeyUpTo(Group::NeverCompared) : std::string();
}

std::string CConnectionDemand::getFullKey() const {
    return getKeyUpTo(Group::Other);
}

std::string CConnectionDemand::getKeyUpTo(Group last) const {
    std::string key;
    for (const Value& value : m_values) {
        if (value.group <= last) {
            append(key, value.option, value.text);
        }
    }
    return key;
}

}  // namespace vexil
