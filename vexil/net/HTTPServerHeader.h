#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

/// Value of a Server header, split into products and their versions: "nginx/1.22 mod" has "nginx" with
/// version "1.22" and "mod" with version "".
///
/// Only spaces separate. Comments in parentheses are words like others. If a name repeats, the last one
/// counts. Names are case-sensitive. A plain value.
class VEXIL_API CHTTPServerHeader : public virtual CBase {
public:
    /// \param header  the value without "Server:"; any text is accepted
    explicit CHTTPServerHeader(const String& header);
    CHTTPServerHeader(const CHTTPServerHeader&) = default;
    CHTTPServerHeader(CHTTPServerHeader&&) = default;
    CHTTPServerHeader& operator=(const CHTTPServerHeader&) = default;
    CHTTPServerHeader& operator=(CHTTPServerHeader&&) = default;
    ~CHTTPServerHeader() override;

    /// Whether there is a component with exactly this name.
    [[nodiscard]] bool hasComponent(const String& name) const;
    /// The version of a component; "" if it has no version or does not exist.
    [[nodiscard]] String getComponentVersion(const String& name) const;
    /// Versions by component name.
    const TMap<String, String>& getComponentVersionMap() const noexcept { return m_versions; }

private:
    void addComponent(const String& token);

    String m_header;
    TMap<String, String> m_versions;
};

}  // namespace vexil
