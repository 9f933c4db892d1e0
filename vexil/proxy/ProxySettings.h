#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "zet/Mutex.h"
#include "zet/SafeGlobal.h"

namespace vexil {

class IUserProxySource;

/// Which proxy to use for which URL, and which hosts are reached directly.
///
/// Hosts are compared by their whole name; there are no wildcards, and markers such as "<local>" are names like others.
///
/// Any thread.
///
/// \code
/// request->setURL("https://files.example.com/a");
/// request->setProxyForCurrentURLFromUserSettings();  // CProxySettings::getUserSettings() for this URL
/// \endcode
class VEXIL_API CProxySettings : public virtual CBase {
public:
    /// No proxies: everything is reached directly.
    CProxySettings() = default;
    CProxySettings(const CProxySettings&) = delete;
    CProxySettings& operator=(const CProxySettings&) = delete;
    ~CProxySettings() override;

    /// The settings of the current user, read once a process. Later changes of them are not seen until somebody calls
    /// initFromUserSettings() on it.
    /// \throws CError "Construction of static object has failed.", for good, after a failure
    static P<CProxySettings> getUserSettings();

    /// Forgets all proxies and hosts, the default proxy included.
    void clear();

    /// Sets the proxy of a URL scheme, in any case.
    /// \param proxy  host and port, or a URL; "" for none
    void setProxyForURLScheme(const String& scheme, const String& proxy);
    /// The proxy of a URL scheme, in any case, as it was set; "" for none.
    String getProxyForURLScheme(const String& scheme);
    /// Appends the schemes that have a proxy, in lower case and in order.
    void getProxyURLSchemes(TArray<String>& schemes) const;
    /// The proxy for a URL; "" for a direct connection: when its scheme has none, its host is to be reached directly, or
    /// it has no scheme; but see setDefaultProxy() and setDenyUnknown(). The host is taken as it stands, a user name
    /// before it included.
    /// \throws CError "There is no rule for the proxy of the URL '...'" where that is wanted
    String getProxyForURL(const String& url);

    /// The proxy for URLs that have no scheme, or one without a proxy. Default "": such URLs are reached directly.
    /// \param proxy  host and port, or a URL; "" for none
    void setDefaultProxy(const String& proxy);
    /// Whether getProxyForURL() throws for URLs that no rule tells of: those that have no scheme, or one without a
    /// proxy, and whose host is not to be reached directly, as long as there is no default proxy. Default false.
    void setDenyUnknown(bool deny);

    /// @{

    /// Adds or removes a host that is reached directly, in any case.
    void addDirectConnectHost(const String& host);
    void removeDirectConnectHost(const String& host);
    /// @}

    /// Whether a host is reached directly.
    bool isDirectConnectHost(const String& host) const;
    /// Appends the hosts that are reached directly, in lower case and in order.
    void getDirectConnectHosts(TArray<String>& hosts) const;

    /// Adds proxies from a list, separated by ";", ",", blanks or tabs: "http=p1:80;https=p2:443", a proxy without a
    /// scheme ("proxy:3128", "proxy") for http, https and ftp, or a URL ("http://proxy:3128/") for its own scheme.
    /// "scheme=" removes the proxy of that scheme. Never fails.
    void addProxiesFromString(const String& text);
    /// Adds hosts that are reached directly from a list with the same separators. Never fails.
    void addDirectConnectHostsFromString(const String& text);

    /// Replaces everything by the current user's settings (IUserProxySource::createForSystem()).
    void initFromUserSettings();
    /// Replaces everything by the settings of a source.
    void initFromSource(IUserProxySource& source);

protected:
    /// @{

    /// State, factory and disposer of the user's settings.
    static zet::CSafeGlobalGuard& userSettingsGuard();
    static P<CProxySettings> createAndInitFromUserSettings();
    static void disposeUserSettings();
    /// @}

private:
    void addProxy(const String& piece);
    void setProxyForFiles(const String& proxy);

    TMap<String, String> m_proxies;
    TMap<String, bool> m_directConnectHosts;
    String m_defaultProxy;
    bool m_deniesUnknown = false;
    mutable zet::CMutex m_lock;
};

}  // namespace vexil
