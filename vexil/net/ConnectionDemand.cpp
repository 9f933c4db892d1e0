#include "vexil/net/ConnectionDemand.h"

namespace vexil {

namespace {

/// The kind of an option's value.
enum class Kind {
    None,              ///< the option has no effect on connections
    Number,            ///< 0 is the default
    Check,             ///< not 0 is the default
    Text,              ///< null is the default
    TextWithADefault,  ///< null is not the default
    Blob,
    Pointer,
};

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
        return Kind::None;
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

template <class Values>
void append(std::string& key, const Values& values) {
    for (const auto& [option, value] : values) {
        key += std::to_string(option) + ":" + std::to_string(value.size()) + ":" + value;
    }
}

}  // namespace

template <class MakeValue>
void CConnectionDemand::set(CURLoption option, bool isDefault, MakeValue makeValue) noexcept {
    Values& values = isComparedWithTLS(option) ? m_comparedWithTLS : m_neverCompared;
    if (isDefault) {
        values.erase(option);
        return;
    }
    try {
        values[option] = makeValue();
    } catch (...) {
        m_isUnknown = true;
    }
}

void CConnectionDemand::note(CURLoption option, long long value) noexcept {
    const Kind kind = kindOf(option);
    if (kind == Kind::Number) {
        set(option, value == 0, [value] { return std::to_string(value); });
    } else if (kind == Kind::Check) {
        set(option, value != 0, [] { return "0"; });
    }
}

void CConnectionDemand::note(CURLoption option, const void* value) noexcept {
    const Kind kind = kindOf(option);
    if (kind == Kind::None || kind == Kind::Number || kind == Kind::Check) {
        return;
    }
    set(option, !value && kind != Kind::TextWithADefault,
        [=] { return value ? "=" + bytesOf(kind, value) : std::string(); });
}

void CConnectionDemand::clear() noexcept {
    m_comparedWithTLS.clear();
    m_neverCompared.clear();
    m_isUnknown = false;
}

std::string CConnectionDemand::getKey() const {
    std::string key;
    if (!m_neverCompared.empty() || m_comparedWithTLS.contains(CURLOPT_USE_SSL)) {
        append(key, m_comparedWithTLS);
        append(key, m_neverCompared);
    }
    return key;
}

}  // namespace vexil
