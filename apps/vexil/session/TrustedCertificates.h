#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"

#include <optional>

namespace vexil::app {

struct COptions;

/// The certificates by which a server is checked, if at all: those of a file, those of the operating system,
/// or the default. The default is libcurl's own if libcurl finds the system's certificates itself, as on
/// Linux, otherwise the bundle among the library's resources. A proxy over TLS is checked only by the
/// system's certificates or the default.
class CTrustedCertificates {
public:
    /// \throws CInvalidArgError for contradicting options, certificates of a system that has no certificate
    ///         store, and a file that cannot be read
    explicit CTrustedCertificates(const COptions& options);

    void setUp(CNetRequest& request) const;

    /// Whether a server must prove its identity.
    bool areChecked() const noexcept { return m_areChecked; }

private:
    bool m_areChecked;
    bool m_areNative;
    // nullopt for libcurl's own.
    std::optional<TPathImpl<CWindowsPathTraits>> m_bundle;
    std::optional<TPathImpl<CWindowsPathTraits>> m_proxyBundle;
};

}  // namespace vexil::app
