#pragma once

#include <curl/curl.h>

#include <string>
#include <vector>

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
    bool isShareable() const noexcept {
        // The objects are the last ones.
        return (m_values.empty() || m_values.back().group != Group::Object) && !m_isUnknown;
    }
    /// Whether the key is incomplete because memory was short.
    bool isUnknown() const noexcept { return m_isUnknown; }

private:
    enum class Group {
        ComparedWithTLS,  ///< by libcurl if a connection begins with TLS
        NeverCompared,
        Other,   ///< all that are not known to concern only a transfer
        Object,  ///< those that cannot be shared, with empty texts
    };
    struct Value {
        Group group;
        CURLoption option;
        std::string text;
    };

    static Group groupOf(CURLoption option) noexcept;
    std::string getKeyUpTo(Group last) const;
    template <class MakeText>
    void set(Group group, CURLoption option, bool isDefault, MakeText makeText) noexcept;
    void noteOther(CURLoption option, const void* value) noexcept;

    // In the order of groups and options. Not a map: there are few, and each request has these.
    std::vector<Value> m_values;
    bool m_isUnknown = false;
};

}  // namespace vexil
