#include "vexil/proxy/ProxyRules.h"

#include "vexil/net/URLRedaction.h"

namespace vexil {

String CProxyDecision::toText() const {
    const String what = action == ProxyAction::Proxy    ? redactURL(proxy)
                        : action == ProxyAction::Direct ? String("direct connection")
                                                        : String("denied");
    return what + " (" + reason + ")";
}

CProxyRules::~CProxyRules() = default;

void CProxyRules::addProxy(const String& pattern, const String& proxy) {
    if (proxy.isEmpty()) {
        throw CInvalidArgError("CProxyRules::addProxy", "proxy must not be empty: use addDirect()");
    }
    add(pattern, ProxyAction::Proxy, proxy);
}

void CProxyRules::addDirect(const String& pattern) {
    add(pattern, ProxyAction::Direct, String());
}

void CProxyRules::addDeny(const String& pattern) {
    add(pattern, ProxyAction::Deny, String());
}

void CProxyRules::add(const String& pattern, ProxyAction action, const String& proxy) {
    CRule rule{CProxyPattern(pattern), action, proxy};
    const zet::CMutexLock lock(m_lock);
    m_rules.push_back(std::move(rule));
}

void CProxyRules::clear() {
    const zet::CMutexLock lock(m_lock);
    m_rules.clear();
}

std::optional<CProxyDecision> CProxyRules::find(const String& url) const {
    const CProxyPattern::CTarget target = CProxyPattern::parseURL(url);
    const zet::CMutexLock lock(m_lock);
    for (const CRule& rule : m_rules) {
        if (rule.pattern.matches(target)) {
            return CProxyDecision{rule.action, rule.proxy, "the rule '" + rule.pattern.getText() + "'"};
        }
    }
    return std::nullopt;
}

}  // namespace vexil
