#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

#include <string>

namespace vexil {

/// Tells for which URLs a rule of CProxyRules counts.
///
/// | pattern | URLs |
/// |---|---|
/// | `example.com` | of this host |
/// | `.example.com` | of this host and of all hosts below it |
/// | `*.example.com`, `db-*` | "*" stands for any characters, also for dots |
/// | `*` | all |
/// | `<local>` | of hosts without a dot that are not addresses, such as localhost |
/// | `10.1.2.3`, `fd00::1`, `[fd00::1]` | of this address, in each way to write it |
/// | `10.0.0.0/8`, `fd00::/8`, `[fd00::]/8` | of all addresses of this network (RFC 4632, RFC 4291) |
/// | `example.com:8080`, `[fd00::1]:443` | of this port only; the scheme's port if the URL has none |
/// | `https://example.com` | of this scheme only |
///
/// Letters match in upper and lower case. Names are not resolved: `10.0.0.0/8` does not match a host name.
/// An IPv4 address that is written as an IPv6 address ("::ffff:10.1.2.3") is that IPv4 address.
///
/// Thread safety: distinct objects from distinct threads; one object, unchanged, from many.
class VEXIL_API CProxyPattern {
public:
    /// A URL, taken apart.
    struct CTarget {
        String scheme;        ///< in lower case
        String host;          ///< in lower case, without brackets and a last dot
        std::string address;  ///< 4 or 16 bytes if the host is an address; otherwise ""
        int port = 0;         ///< 0 if it is unknown
    };
    /// Takes a URL apart. A URL without a scheme has the one that libcurl takes for it.
    /// \return with an empty host if libcurl cannot read the URL
    [[nodiscard]] static CTarget parseURL(const String& url);

    /// \throws CInvalidArgError for a text that is not a pattern
    explicit CProxyPattern(const String& text);

    /// Whether the pattern is for a URL; false for one that libcurl cannot read.
    [[nodiscard]] bool matches(const CTarget& target) const;
    /// The text of the constructor.
    [[nodiscard]] const String& getText() const noexcept { return m_text; }

private:
    enum class Kind { Name, Domain, Wildcard, Local, Network };

    [[noreturn]] void fail(const String& reason) const;
    std::wstring_view takeScheme(std::wstring_view rest);
    std::wstring_view takePort(std::wstring_view rest);
    void setHost(std::wstring_view host);
    void setNetwork(std::wstring_view address, std::wstring_view bits);
    bool isInNetwork(const std::string& address) const;

    String m_text;
    String m_scheme;
    Kind m_kind = Kind::Name;
    String m_host;
    std::string m_address;
    int m_bits = 0;
    int m_port = 0;
};

}  // namespace vexil
