#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/proxy/ProxyRules.h"
#include "zet/Mutex.h"
#include "zet/SafeGlobal.h"

namespace vexil {

class IUserProxySource;

/// Maps URLs to proxies, and knows the hosts that are reached directly.
///
/// Hosts are compared by their whole name. By default there are no wildcards, and markers such as "<local>"
/// are ordinary names: see setDirectConnectPatterns() and setRules().
///
/// Any thread.
///
/// \code
/// request->setURL("https://files.example.com/a");
/// request->setProxyForCurrentURLFromUserSettings();  // CProxySettings::getUserSettings() for this URL
/// \endcode
class VEXIL_API CProxySettings : public virtual CBase {
public:
    /// No proxies: all hosts are reached directly.
    CProxySettings() = default;
    CProxySettings(const CProxySettings&) = delete;
    CProxySettings& operator=(const CProxySettings&) = delete;
    ~CProxySettings() override;

    /// The settings of the current user, read once per process. To see later changes, call
    /// initFromUserSettings() on the returned object.
    /// \throws CError "Construction of static object has failed." on every call after the first one has
    ///         failed
    static P<CProxySettings> getUserSettings();

    /// Removes all proxies and hosts, including the default proxy. Rules stay.
    void clear();

    /// Sets the proxy of a URL scheme (upper or lower case).
    /// \param proxy  host and port, or a URL; "" for no proxy
    void setProxyForURLScheme(const String& scheme, const String& proxy);
    /// The proxy of a URL scheme (upper or lower case) as it was set; "" if there is none.
    String getProxyForURLScheme(const String& scheme);
    /// Appends the schemes that have a proxy, in lower case and in order.
    void getProxyURLSchemes(TArray<String>& schemes) const;
    /// The proxy for a URL. "" means a direct connection: the scheme has no proxy, the host is reached
    /// directly, or the URL has no scheme; but see setDefaultProxy() and setDenyUnknown(). A user name before
    /// the host counts as part of the host.
    /// \throws CError "There is no rule for the proxy of the URL '...'", see setDenyUnknown(), and if a rule
    ///         of setRules() denies the URL
    String getProxyForURL(const String& url);
    /// What getProxyForURL() does for a URL, and why. A denied URL is no error.
    ///
    /// \code
    /// for (;;) {  // each URL of a row of redirects may have another proxy
    ///     const CProxyDecision decision = settings->explain(request.getURL());
    ///     log("Proxy: " + decision.toText());
    ///     request.setProxy(decision.proxy);
    ///     request.perform();
    ///     const String next = request.getRedirectURL();
    ///     ...
    /// \endcode
    [[nodiscard]] CProxyDecision explain(const String& url);

    /// Sets the proxy for URLs without a scheme and for schemes without a proxy. Default "": such URLs are
    /// reached directly.
    /// \param proxy  host and port, or a URL; "" for no proxy
    void setDefaultProxy(const String& proxy);
    /// Makes getProxyForURL() throw for URLs without a rule: they have no scheme or a scheme without a proxy,
    /// their host is not reached directly, and there is no default proxy. Default false.
    void setDenyUnknown(bool deny);
    /// Sets rules that are asked before everything else. Default null.
    void setRules(CProxyRules* rules);
    /// Makes each host that is reached directly also a pattern: "*.example", ".example", "<local>",
    /// "10.0.0.0/8" and others (CProxyPattern), as in the settings of systems. An entry that is not a pattern
    /// stays a name. Default false.
    void setDirectConnectPatterns(bool arePatterns);

    /// @{

    /// Adds or removes a host that is reached directly (upper or lower case).
    void addDirectConnectHost(const String& host);
    void removeDirectConnectHost(const String& host);
    /// @}

    /// True if a host is reached directly.
    bool isDirectConnectHost(const String& host) const;
    /// Appends the hosts that are reached directly, in lower case and in order.
    void getDirectConnectHosts(TArray<String>& hosts) const;

    /// Adds proxies from a list, separated by ";", ",", spaces or tabs: "http=p1:80;https=p2:443", a proxy
    /// without a scheme ("proxy:3128", "proxy") for http, https and ftp, or a URL ("http://proxy:3128/") for
    /// its own scheme. "scheme=" removes the proxy of that scheme. Never fails.
    void addProxiesFromString(const String& text);
    /// Adds hosts that are reached directly from a list with the same separators. Never fails.
    void addDirectConnectHostsFromString(const String& text);

    /// Replaces all settings with those of the current user (IUserProxySource::createForSystem()).
    void initFromUserSettings();
    /// Replaces all settings with those of a source.
    void initFromSource(IUserProxySource& source);

protected:
    /// @{

    /// Guard, factory and disposer of the user's settings.
    static zet::CSafeGlobalGuard& userSettingsGuard();
    static P<CProxySettings> createAndInitFromUserSettings();
    static void disposeUserSettings();
    /// @}

private:
    void addProxy(const String& piece);
    void setProxyForFiles(const String& proxy);
    CProxyDecision decide(const String& url, const String& proxy, const String& reason) const
        ZET_REQUIRES(m_lock);
    String findDirectPattern(const String& url) const ZET_REQUIRES(m_lock);

    TMap<String, String> m_proxies ZET_GUARDED_BY(m_lock);
    TMap<String, bool> m_directConnectHosts ZET_GUARDED_BY(m_lock);
    String m_defaultProxy ZET_GUARDED_BY(m_lock);
    bool m_deniesUnknown ZET_GUARDED_BY(m_lock) = false;
    bool m_hasDirectPatterns ZET_GUARDED_BY(m_lock) = false;
    P<CProxyRules> m_rules ZET_GUARDED_BY(m_lock);
    mutable zet::CMutex m_lock;
};

}  // namespace vexil
