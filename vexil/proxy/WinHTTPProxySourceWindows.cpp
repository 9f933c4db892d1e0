#include "vexil/proxy/WinHTTPProxySourceWindows.h"

namespace vexil {

namespace {

/// Owns a text that WinHTTP has allocated; may be null.
class CSystemText {
public:
    CSystemText(LPWSTR text, decltype(&GlobalFree) free) : m_text(text), m_free(free) {}
    ~CSystemText() {
        if (m_text) {
            m_free(m_text);
        }
    }
    CSystemText(const CSystemText&) = delete;
    CSystemText& operator=(const CSystemText&) = delete;

    String getTrimmed() const { return String(m_text).trimmed(); }

private:
    LPWSTR m_text;
    decltype(&GlobalFree) m_free;
};

}  // namespace

CWinHTTPProxySource::~CWinHTTPProxySource() = default;

void CWinHTTPProxySource::read(String& proxies, String& directConnectHosts) {
    proxies.clear();
    directConnectHosts.clear();
    readUserConfig(proxies, directConnectHosts);
    if (proxies.isEmpty()) {
        readDefaultConfig(proxies, directConnectHosts);
    }
}

void CWinHTTPProxySource::readUserConfig(String& proxies, String& directConnectHosts) const {
    WINHTTP_CURRENT_USER_IE_PROXY_CONFIG config = {};
    if (!m_functions.getUserConfig(&config)) {
        return;
    }
    const CSystemText scriptURL(config.lpszAutoConfigUrl, m_functions.free);
    const CSystemText proxy(config.lpszProxy, m_functions.free);
    const CSystemText bypass(config.lpszProxyBypass, m_functions.free);
    proxies = proxy.getTrimmed();
    directConnectHosts = bypass.getTrimmed();
}

void CWinHTTPProxySource::readDefaultConfig(String& proxies, String& directConnectHosts) const {
    WINHTTP_PROXY_INFO info = {};
    if (!m_functions.getDefaultConfig(&info)) {
        return;
    }
    const CSystemText proxy(info.lpszProxy, m_functions.free);
    const CSystemText bypass(info.lpszProxyBypass, m_functions.free);
    if (info.dwAccessType != WINHTTP_ACCESS_TYPE_NO_PROXY) {
        proxies = proxy.getTrimmed();
        directConnectHosts = bypass.getTrimmed();
    }
}

}  // namespace vexil
