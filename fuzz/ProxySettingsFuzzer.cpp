// Three lines: the proxies and the direct hosts of a user's settings, and a URL.
#include "fuzz/FuzzInput.h"
#include "vexil/proxy/ProxySettings.h"

#include <algorithm>

namespace {

using namespace vexil;

String takeLine(std::string_view& rest) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    return String::fromUTF8Lossy(line);
}

/// Whether a text may be a complete element of a list, or its end.
bool isPiece(const String& text) {
    return !text.isEmpty() && text == text.trimmed() &&
           text.view().find_first_of(L";, \t") == std::wstring_view::npos;
}

TArray<String> schemesOf(const CProxySettings& settings) {
    TArray<String> schemes;
    settings.getProxyURLSchemes(schemes);
    return schemes;
}

TArray<String> hostsOf(const CProxySettings& settings) {
    TArray<String> hosts;
    settings.getDirectConnectHosts(hosts);
    return hosts;
}

/// The list that describes settings.
String proxiesOf(CProxySettings& settings) {
    String list;
    for (const String& scheme : schemesOf(settings)) {
        list += scheme + "=" + settings.getProxyForURLScheme(scheme) + ";";
    }
    return list;
}

void checkProxies(CProxySettings& settings, const String& list) {
    settings.addProxiesFromString(list);
    for (const String& scheme : schemesOf(settings)) {
        vexil_fuzz::require(scheme == scheme.toLower());
        vexil_fuzz::require(!settings.getProxyForURLScheme(scheme).isEmpty());
        vexil_fuzz::require(isPiece(scheme + "=" + settings.getProxyForURLScheme(scheme)));
    }
    const String proxies = proxiesOf(settings);
    settings.addProxiesFromString(list);
    vexil_fuzz::require(proxiesOf(settings) == proxies);
    settings.clear();
    settings.addProxiesFromString(proxies);
    vexil_fuzz::require(proxiesOf(settings) == proxies);
}

void checkHosts(CProxySettings& settings, const String& list) {
    settings.addDirectConnectHostsFromString(list);
    const TArray<String> hosts = hostsOf(settings);
    for (const String& host : hosts) {
        vexil_fuzz::require(isPiece(host) && host == host.toLower() && settings.isDirectConnectHost(host));
    }
    settings.addDirectConnectHostsFromString(list);
    vexil_fuzz::require(hostsOf(settings) == hosts);
}

void checkURL(CProxySettings& settings, const String& url) {
    const std::size_t colon = url.find(L':');
    const String ofScheme =
        colon == String::npos ? String() : settings.getProxyForURLScheme(url.substr(0, colon));
    const String proxy = settings.getProxyForURL(url);
    vexil_fuzz::require(proxy.isEmpty() || proxy == ofScheme);
    if (proxy != ofScheme) {
        const TArray<String> hosts = hostsOf(settings);
        const String lowerURL = url.toLower();
        vexil_fuzz::require(std::any_of(hosts.begin(), hosts.end(), [&](const String& host) {
            return lowerURL.find(host, colon + 1) != String::npos;
        }));
    }
    for (const String& host : hostsOf(settings)) {
        settings.removeDirectConnectHost(host);
        vexil_fuzz::require(!settings.isDirectConnectHost(host));
    }
    vexil_fuzz::require(settings.getProxyForURL(url) == ofScheme);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view rest = vexil_fuzz::textOf(data, size);
    CProxySettings settings;
    checkProxies(settings, takeLine(rest));
    checkHosts(settings, takeLine(rest));
    checkURL(settings, String::fromUTF8Lossy(rest));
    return 0;
}
