#pragma once

#include "zet/Buffer.h"

#include <memory>
#include <string_view>

struct evp_mac_ctx_st;

namespace sigil {

/// A key for many keyed hashes (HMAC, RFC 2104): what depends on the key alone is computed once.
///
/// Any thread.
class CHMACKey {
public:
    /// \param digest  OpenSSL's name of the hash, such as "SHA256"
    /// \throws zet::CError if OpenSSL refuses
    CHMACKey(const char* digest, std::string_view key);

    /// The keyed hash of a text.
    /// \throws zet::CError if OpenSSL refuses
    [[nodiscard]] zet::TBuffer<unsigned char> calc(std::string_view text) const;

private:
    struct CDeleter {
        void operator()(evp_mac_ctx_st* context) const noexcept;
    };
    using CContext = std::unique_ptr<evp_mac_ctx_st, CDeleter>;

    CContext m_context;  // with the key, before the first byte of a text
};

}  // namespace sigil
