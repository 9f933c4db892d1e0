#include "vexil/proxy/EnvironmentProxySource.h"

#include <utility>

namespace vexil {

namespace {

/// Percent-encodes the characters that separate proxies in a list. They can occur only in the user name or
/// password, where the encoded form has the same meaning.
String withoutSeparators(String proxy) {
    proxy.replaceAll(";", "%3B");
    proxy.replaceAll(",", "%2C");
    proxy.replaceAll(" ", "%20");
    proxy.replaceAll("\t", "%09");
    return proxy;
}

}  // namespace

CEnvironmentProxySource::CEnvironmentProxySource(Lookup lookup) : m_lookup(std::move(lookup)) {}

CEnvironmentProxySource::~CEnvironmentProxySource() = default;

void CEnvironmentProxySource::read(String& proxies, String& directConnectHosts) {
    proxies.clear();
    directConnectHosts = lookUp("no_proxy", "NO_PROXY");
    if (directConnectHosts == "*") {
        directConnectHosts.clear();
        return;
    }
    const String forAll = lookUp("all_proxy", "ALL_PROXY");
    const std::pair<const char*, String> proxiesByScheme[] = {
        {"http", lookUp("http_proxy", nullptr)},
        {"https", lookUp("https_proxy", "HTTPS_PROXY")},
        {"ftp", lookUp("ftp_proxy", "FTP_PROXY")},
    };
    for (const auto& [scheme, own] : proxiesByScheme) {
        const String& proxy = own.isEmpty() ? forAll : own;
        if (!proxy.isEmpty()) {
            proxies += proxies.isEmpty() ? "" : ";";
            proxies += String(scheme) + "=" + withoutSeparators(proxy);
        }
    }
}

String CEnvironmentProxySource::lookUp(const char* lowerCaseName, const char* upperCaseName) const {
    auto value = m_lookup(lowerCaseName);
    if (!value && upperCaseName) {
        value = m_lookup(upperCaseName);
    }
    return String::fromUTF8Lossy(value.value_or("")).trimmed();
}

}  // namespace vexil
