#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

/// Value of a Server header, taken apart into products and their versions: "nginx/1.22 mod" holds "nginx" of
/// version "1.22" and "mod" of version "".
///
/// Only blanks separate; comments in parentheses are words like others; of two words with the same name the
/// last one counts. Names compare exactly. A plain value.
class VEXIL_API CHTTPServerHeader : public virtual CBase {
public:
    /// \param header  the value alone, without "Server:"; any text will do
    explicit CHTTPServerHeader(const String& header);
    CHTTPServerHeader(const CHTTPServerHeader&) = default;
    CHTTPServerHeader(CHTTPServerHeader&&) = default;
    CHTTPServerHeader& operator=(const CHTTPServerHeader&) = default;
    CHTTPServerHeader& operator=(CHTTPServerHeader&&) = default;
    ~CHTTPServerHeader() override;

    /// Whether there is a component of this very name.
    bool hasComponent(const String& name) const;
    /// The version of a component; "" both for one without a version and for one that is not there.
    String getComponentVersion(const String& name) const;
    /// Versions by component name.
    const TMap<String, String>& getComponentVersionMap() const noexcept { return m_versions; }

private:
    void addComponent(const String& token);

    String m_header;
    TMap<String, String> m_versions;
};

}  // namespace vexil
