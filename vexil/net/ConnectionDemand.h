#pragma once

#include <curl/curl.h>

#include <map>
#include <string>

namespace vexil {

/// What a request demands of its connection and libcurl 7.88 does not compare before it takes a kept one: all options
/// of TLS where a connection begins in plain (CURLOPT_USE_SSL), and those that it compares for no protocol.
class CConnectionDemand {
public:
    /// @{

    /// Told of each option that libcurl has taken, with its value. Takes no notice of most.
    void note(CURLoption option, long long value) noexcept;
    void note(CURLoption option, const void* value) noexcept;
    /// @}

    /// Back to libcurl's defaults (curl_easy_reset()).
    void clear() noexcept;

    /// The same text for the same demand. "" where libcurl compares all that there is.
    std::string getKey() const;
    /// Whether memory has run out for a note: the key is not complete.
    bool isUnknown() const noexcept { return m_isUnknown; }

private:
    using Values = std::map<CURLoption, std::string>;

    template <class MakeValue>
    void set(CURLoption option, bool isDefault, MakeValue makeValue) noexcept;

    Values m_comparedWithTLS;  // by libcurl, where a connection begins with TLS
    Values m_neverCompared;
    bool m_isUnknown = false;
};

}  // namespace vexil
