#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"

#include <optional>

namespace vexil::app {

struct COptions;

/// By which certificates a server is checked, if at all: those of a file, those of the operating system, or the default.
/// That is libcurl's own where libcurl finds the system's certificates by itself, as on Linux, and elsewhere the bundle
/// among the library's resources. A proxy that is spoken to over TLS is checked by the system's or the default alone.
class CTrustedCertificates {
public:
    /// \throws CInvalidArgError for options that contradict each other, certificates of the system where they cannot be
    ///     asked for, and a file that cannot be read
    explicit CTrustedCertificates(const COptions& options);

    void setUp(CNetRequest& request) const;

    /// Whether a server must prove who it is.
    bool areChecked() const noexcept { return m_areChecked; }

private:
    bool m_areChecked;
    bool m_areNative;
    // None for libcurl's own.
    std::optional<TPathImpl<CWindowsPathTraits>> m_bundle;
    std::optional<TPathImpl<CWindowsPathTraits>> m_proxyBundle;
};

}  // namespace vexil::app
