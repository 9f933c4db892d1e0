#include "sigil/HMACKey.h"

#include "zet/Error.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include <array>

namespace sigil {

namespace {

struct CMacDeleter {
    void operator()(EVP_MAC* mac) const noexcept { EVP_MAC_free(mac); }
};

const unsigned char* toBytes(std::string_view text) {
    // OpenSSL takes a null key to mean "reuse the previous key".
    return reinterpret_cast<const unsigned char*>(text.empty() ? "" : text.data());
}

void check(bool isComputed) {
    if (!isComputed) {
        throw zet::CError("The crypto library cannot compute a keyed hash.");
    }
}

}  // namespace

void CHMACKey::CDeleter::operator()(evp_mac_ctx_st* context) const noexcept {
    EVP_MAC_CTX_free(context);
}

CHMACKey::CHMACKey(const char* digest, std::string_view key) {
    const std::unique_ptr<EVP_MAC, CMacDeleter> mac(EVP_MAC_fetch(nullptr, OSSL_MAC_NAME_HMAC, nullptr));
    check(mac != nullptr);
    m_context.reset(EVP_MAC_CTX_new(mac.get()));  // holds a reference to `mac`
    // The library does not write to the name.
    const std::array<OSSL_PARAM, 2> parameters = {
        OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, const_cast<char*>(digest), 0),
        OSSL_PARAM_construct_end()};
    check(m_context && EVP_MAC_init(m_context.get(), toBytes(key), key.size(), parameters.data()) == 1);
}

zet::TBuffer<unsigned char> CHMACKey::calc(std::string_view text) const {
    const CContext context(EVP_MAC_CTX_dup(m_context.get()));
    std::array<unsigned char, EVP_MAX_MD_SIZE> hash;
    std::size_t length = 0;
    check(context && EVP_MAC_update(context.get(), toBytes(text), text.size()) == 1 &&
          EVP_MAC_final(context.get(), hash.data(), &length, hash.size()) == 1);
    zet::TBuffer<unsigned char> out;
    out.append(hash.data(), static_cast<int>(length));
    return out;
}

}  // namespace sigil
