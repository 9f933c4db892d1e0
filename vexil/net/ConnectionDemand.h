#pragma once

#include <curl/curl.h>

#include <map>
#include <string>

namespace vexil {

/// The options of a connection that libcurl 7.88 does not compare before it uses a kept connection: all TLS
/// options if a connection begins without TLS (CURLOPT_USE_SSL), and those that it compares for no protocol.
/// For connections that several requests share: all options except those that are known to concern only a
/// transfer.
class CConnectionDemand {
public:
    /// @{

    /// Call it for each option that libcurl has accepted, with its value. Most options have no effect.
    void note(CURLoption option, long long value) noexcept;
    void note(CURLoption option, const void* value) noexcept;
    /// @}

    /// Back to libcurl's defaults (curl_easy_reset()).
    void clear() noexcept;

    /// Equal texts for equal demands. "" if libcurl compares everything.
    std::string getKey() const;
    /// Equal texts only for equal demands, whatever libcurl compares.
    std::string getFullKey() const;
    /// Whether getFullKey() is complete. Not if an option is a function, list or other object: another one
    /// may have the same address later. Nor with CURLOPT_CONNECT_ONLY.
    bool isShareable() const noexcept { return m_objects.empty() && !m_isUnknown; }
    /// Whether the key is incomplete because memory was short.
    bool isUnknown() const noexcept { return m_isUnknown; }

private:
    using Values = std::map<CURLoption, std::string>;

    template <class MakeValue>
    void set(Values& values, CURLoption option, bool isDefault, MakeValue makeValue) noexcept;
    void noteOther(CURLoption option, const void* value) noexcept;

    Values m_comparedWithTLS;  // by libcurl if a connection begins with TLS
    Values m_neverCompared;
    Values m_others;   // all that are not known to concern only a transfer
    Values m_objects;  // those that cannot be shared, with empty values
    bool m_isUnknown = false;
};

}  // namespace vexil
