#include "vexil/proxy/ProxySettings.h"

#include "vexil/net/URLRedaction.h"
#include "vexil/proxy/UserProxySource.h"
#include "zet/ASCII.h"

#include <algorithm>
#include <string_view>

namespace vexil {

namespace {

constexpr char noRule[] = "no rule";

/// Calls `take` with each piece of a list that is not empty.
template <class Take>
void split(const String& list, Take take) {
    std::wstring_view rest = list.view();
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find_first_of(L";, \t"), rest.size());
        const std::wstring_view piece = zet::trimmed(rest.substr(0, end));
        if (!piece.empty()) {
            take(String(piece));
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
}

bool isNumber(const String& text) {
    return !text.isEmpty() && std::all_of(text.view().begin(), text.view().end(), zet::isDigit<wchar_t>);
}

/// The host of a URL without its scheme and ":", unchanged.
String findHost(std::wstring_view rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(L'/'), rest.size()));
    for (const wchar_t end : {L'/', L'?', L'#'}) {
        // Cut once: if there is a "/", a "?" or "#" before it stays.
        if (const std::size_t position = rest.find(end); position != rest.npos) {
            rest = rest.substr(0, position);
            break;
        }
    }
    return String(rest.substr(0, rest.rfind(L':')));
}

}  // namespace

CProxySettings::~CProxySettings() = default;

void CProxySettings::clear() {
    const zet::CMutexLock lock(m_lock);
    m_proxies.clear();
    m_directConnectHosts.clear();
    m_defaultProxy.clear();
}

void CProxySettings::setProxyForURLScheme(const String& scheme, const String& proxy) {
    const zet::CMutexLock lock(m_lock);
    if (proxy.isEmpty()) {
        m_proxies.erase(scheme.toLower());
    } else {
        m_proxies[scheme.toLower()] = proxy;
    }
}

String CProxySettings::getProxyForURLScheme(const String& scheme) {
    const zet::CMutexLock lock(m_lock);
    const auto found = m_proxies.find(scheme.toLower());
    return found == m_proxies.end() ? String() : found->second;
}

void CProxySettings::getProxyURLSchemes(TArray<String>& schemes) const {
    const zet::CMutexLock lock(m_lock);
    for (const auto& [scheme, proxy] : m_proxies) {
        schemes.push_back(scheme);
    }
}

String CProxySettings::getProxyForURL(const String& url) {
    const CProxyDecision decision = explain(url);
    if (decision.action == ProxyAction::Deny) {
        throw CError(decision.reason == noRule
                         ? "There is no rule for the proxy of the URL '" + redactURL(url) + "'"
                         : "The URL '" + redactURL(url) + "' is denied because of " + decision.reason + ".");
    }
    return decision.proxy;
}

CProxyDecision CProxySettings::explain(const String& url) {
    const zet::CMutexLock lock(m_lock);
    if (m_rules) {
        if (auto decision = m_rules->find(url)) {
            return *decision;
        }
    }
    const std::size_t colon = url.find(L':');
    const String scheme = colon == String::npos ? String() : url.substr(0, colon).toLower();
    const String proxy = colon == String::npos ? String() : getProxyForURLScheme(scheme);
    return proxy.isEmpty() ? decide(url, m_defaultProxy, "the default proxy")
                           : decide(url, proxy, "the proxy of the scheme '" + scheme + "'");
}

/// \param proxy   "" for none
/// \param reason  for the proxy
CProxyDecision CProxySettings::decide(const String& url, const String& proxy, const String& reason) const {
    if (proxy.isEmpty() && !m_deniesUnknown) {
        return {ProxyAction::Direct, String(), noRule};
    }
    const std::size_t colon = url.find(L':');
    const String host = findHost(url.view().substr(colon == String::npos ? 0 : colon + 1));
    if (isDirectConnectHost(host)) {
        return {ProxyAction::Direct, String(), "the direct host '" + redactURL(host.toLower()) + "'"};
    }
    if (const String pattern = findDirectPattern(url); !pattern.isEmpty()) {
        return {ProxyAction::Direct, String(), "the direct host '" + pattern + "'"};
    }
    return proxy.isEmpty() ? CProxyDecision{ProxyAction::Deny, String(), noRule}
                           : CProxyDecision{ProxyAction::Proxy, proxy, reason};
}

/// "" if no pattern matches.
String CProxySettings::findDirectPattern(const String& url) const {
    if (!m_hasDirectPatterns) {
        return String();
    }
    const CProxyPattern::CTarget target = CProxyPattern::parseURL(url);
    for (const auto& [host, isDirect] : m_directConnectHosts) {
        try {
            if (CProxyPattern(host).matches(target)) {
                return host;
            }
        } catch (const CInvalidArgError&) {
            // A name that no URL has.
        }
    }
    return String();
}

void CProxySettings::setDefaultProxy(const String& proxy) {
    const zet::CMutexLock lock(m_lock);
    m_defaultProxy = proxy;
}

void CProxySettings::setDenyUnknown(bool deny) {
    const zet::CMutexLock lock(m_lock);
    m_deniesUnknown = deny;
}

void CProxySettings::setRules(CProxyRules* rules) {
    const zet::CMutexLock lock(m_lock);
    m_rules = rules;
}

void CProxySettings::setDirectConnectPatterns(bool arePatterns) {
    const zet::CMutexLock lock(m_lock);
    m_hasDirectPatterns = arePatterns;
}

void CProxySettings::addDirectConnectHost(const String& host) {
    const zet::CMutexLock lock(m_lock);
    m_directConnectHosts[host.toLower()] = true;
}

void CProxySettings::removeDirectConnectHost(const String& host) {
    const zet::CMutexLock lock(m_lock);
    m_directConnectHosts.erase(host.toLower());
}

bool CProxySettings::isDirectConnectHost(const String& host) const {
    const zet::CMutexLock lock(m_lock);
    return m_directConnectHosts.count(host.toLower()) > 0;
}

void CProxySettings::getDirectConnectHosts(TArray<String>& hosts) const {
    const zet::CMutexLock lock(m_lock);
    for (const auto& [host, isDirect] : m_directConnectHosts) {
        hosts.push_back(host);
    }
}

void CProxySettings::addProxiesFromString(const String& text) {
    const zet::CMutexLock lock(m_lock);
    split(text, [this](const String& piece) { addProxy(piece); });
}

void CProxySettings::addProxy(const String& piece) {
    if (const std::size_t equals = piece.find(L'='); equals != String::npos) {
        setProxyForURLScheme(piece.substr(0, equals), piece.substr(equals + 1));
        return;
    }
    const std::size_t colon = piece.find(L':');
    if (colon == String::npos) {
        setProxyForFiles(piece);
        return;
    }
    const String behindColon = piece.substr(colon + 1);
    if (isNumber(behindColon)) {
        setProxyForFiles(piece);
    } else if (!behindColon.isEmpty()) {
        setProxyForURLScheme(piece.substr(0, colon), piece);
    }
}

void CProxySettings::setProxyForFiles(const String& proxy) {
    for (const char* scheme : {"http", "https", "ftp"}) {
        setProxyForURLScheme(scheme, proxy);
    }
}

void CProxySettings::addDirectConnectHostsFromString(const String& text) {
    const zet::CMutexLock lock(m_lock);
    split(text, [this](const String& piece) { addDirectConnectHost(piece); });
}

void CProxySettings::initFromUserSettings() {
    const zet::CMutexLock lock(m_lock);
    initFromSource(*IUserProxySource::createForSystem());
}

void CProxySettings::initFromSource(IUserProxySource& source) {
    const zet::CMutexLock lock(m_lock);
    clear();
    String proxies;
    String directConnectHosts;
    source.read(proxies, directConnectHosts);
    if (!proxies.isEmpty()) {
        addProxiesFromString(proxies);
        addDirectConnectHostsFromString(directConnectHosts);
    }
}

P<CProxySettings> CProxySettings::getUserSettings() {
    // Never deleted: objects with static lifetime may ask for it while the process ends.
    static auto* const holder = new zet::TSafeGlobal<CProxySettings>(
        userSettingsGuard(), &createAndInitFromUserSettings, &disposeUserSettings);
    return holder->get();
}

zet::CSafeGlobalGuard& CProxySettings::userSettingsGuard() {
    static zet::CSafeGlobalGuard guard;
    return guard;
}

P<CProxySettings> CProxySettings::createAndInitFromUserSettings() {
    P<CProxySettings> settings = new CProxySettings;
    settings->initFromUserSettings();
    return settings;
}

// Not freed: other objects with static lifetime may still request a proxy while the process ends.
void CProxySettings::disposeUserSettings() {}

}  // namespace vexil
