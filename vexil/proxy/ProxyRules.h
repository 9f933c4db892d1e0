#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/proxy/ProxyPattern.h"
#include "zet/Mutex.h"

#include <optional>
#include <vector>

namespace vexil {

/// How a URL is reached.
enum class ProxyAction {
    Direct,  ///< without a proxy
    Proxy,   ///< through a proxy
    Deny,    ///< not at all
};

/// How a URL is reached, and why.
struct CProxyDecision {
    ProxyAction action = ProxyAction::Direct;  ///< what is done
    String proxy;   ///< for CNetRequest::setProxy(), perhaps with a login; "" unless the action is Proxy
    String reason;  ///< what has decided, for people: "the rule '.example.com'". It has no secrets

    /// A line for a log: "proxy:3128 (the rule '.example.com')". A login is replaced with "***".
    [[nodiscard]] VEXIL_API String toText() const;
};

/// Rules for the proxies of URLs, with wildcards, domains, ports and networks: see CProxyPattern. The first
/// rule whose pattern matches decides, in the order in which they were added.
///
/// CProxySettings::setRules() asks them before its own entries. libcurl follows redirects with one proxy: to
/// apply the rules to each URL, follow them yourself (docs/requests.md).
///
/// Any thread.
///
/// \code
/// P<CProxyRules> rules = zet::make<CProxyRules>();
/// rules->addDirect("<local>");
/// rules->addDirect("10.0.0.0/8");
/// rules->addDeny("*.internal.example");
/// rules->addProxy("*", "proxy.example:3128");
/// settings->setRules(rules);
/// \endcode
class VEXIL_API CProxyRules : public virtual CBase {
public:
    CProxyRules() = default;
    CProxyRules(const CProxyRules&) = delete;
    CProxyRules& operator=(const CProxyRules&) = delete;
    ~CProxyRules() override;

    /// Adds a rule: the URLs are reached through a proxy.
    /// \param pattern  see CProxyPattern
    /// \param proxy    host and port, or a URL; not ""
    /// \throws CInvalidArgError for a pattern or a proxy that cannot be used
    void addProxy(const String& pattern, const String& proxy);
    /// Adds a rule: the URLs are reached directly.
    /// \throws CInvalidArgError for a text that is not a pattern
    void addDirect(const String& pattern);
    /// Adds a rule: CProxySettings::getProxyForURL() throws for these URLs.
    /// \throws CInvalidArgError for a text that is not a pattern
    void addDeny(const String& pattern);
    /// Removes all rules.
    void clear();

    /// What the first rule for a URL says; nullopt if no rule is for it, or if libcurl cannot read the URL.
    [[nodiscard]] std::optional<CProxyDecision> find(const String& url) const;

private:
    struct CRule {
        CProxyPattern pattern;
        ProxyAction action;
        String proxy;
    };

    void add(const String& pattern, ProxyAction action, const String& proxy);

    std::vector<CRule> m_rules ZET_GUARDED_BY(m_lock);
    mutable zet::CMutex m_lock;
};

}  // namespace vexil
