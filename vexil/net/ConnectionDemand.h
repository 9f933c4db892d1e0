#pragma once

#include <curl/curl.h>

#include <map>
#include <string>

namespace vexil {

/// The options of a connection that libcurl 7.88 does not compare before it uses a kept connection: all TLS
/// options if a connection begins without TLS (CURLOPT_USE_SSL), and those that it compares for no protocol.
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
    /// Whether the key is incomplete because memory was short.
    bool isUnknown() const noexcept { return m_isUnknown; }

private:
    using Values = std::map<CURLoption, std::string>;

    template <class MakeValue>
    void set(CURLoption option, bool isDefault, MakeValue makeValue) noexcept;

    Values m_comparedWithTLS;  // by libcurl if a connection begins with TLS
    Values m_neverCompared;
    bool m_isUnknown = false;
};

}  // namespace vexil
