#include "apps/vexil/session/TrustedCertificates.h"

#include "apps/vexil/base/Options.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Platform.h"
#include "vexil/net/RootCertBundle.h"

#include <cerrno>
#include <fstream>
#include <string>

namespace vexil::app {

namespace {

constexpr const char* place = "CTrustedCertificates";

void checkReadable(const std::string& caBundle) {
    errno = 0;
    if (!std::ifstream(toPath(caBundle))) {
        throw CInvalidArgError(place, "cannot open the CA bundle '" + describe(toPath(caBundle)) +
                                          "': " + describeSystemError(errno));
    }
}

void checkNativeCA(const COptions& options) {
    if (!options.caBundle.empty()) {
        throw CInvalidArgError(
            place, "--native-ca and --ca-bundle select different certificates: give only one of them");
    }
    if (!options.verify) {
        throw CInvalidArgError(
            place, "--native-ca checks certificates, --no-verify does not: give only one of them");
    }
    // libcurl would ignore it without an error.
    if (!hasCertificateStore()) {
        throw CInvalidArgError(place, "--native-ca is for Windows only: on other systems "
                                      "the system's certificates are trusted by default");
    }
}

// Transfers without TLS do not need it, and with TLS libcurl reports what is missing.
std::optional<TPathImpl<CWindowsPathTraits>> findInstalledBundle() {
    try {
        return getRootCertBundlePath();
    } catch (const CError&) {
        return std::nullopt;
    }
}

}  // namespace

CTrustedCertificates::CTrustedCertificates(const COptions& options)
    : m_areChecked(options.verify), m_areNative(options.nativeCA) {
    if (m_areNative) {
        checkNativeCA(options);
    } else if (hasCertificateStore()) {
        m_bundle = m_proxyBundle = findInstalledBundle();
    }
    if (!options.caBundle.empty()) {
        checkReadable(options.caBundle);
        m_bundle = String::fromUTF8(options.caBundle);
    }
}

void CTrustedCertificates::setUp(CNetRequest& request) const {
    request.setVerifyCertificate(m_areChecked);
    if (m_bundle) {
        request.setRootCertBundlePath(*m_bundle);
    }
    if (m_proxyBundle) {
        request.setOptionString(CURLOPT_PROXY_CAINFO, m_proxyBundle->getText());
    }
    if (m_areNative) {
        request.setOptionInt(CURLOPT_SSL_OPTIONS, CURLSSLOPT_NATIVE_CA);
        request.setOptionInt(CURLOPT_PROXY_SSL_OPTIONS, CURLSSLOPT_NATIVE_CA);
    }
}

}  // namespace vexil::app
