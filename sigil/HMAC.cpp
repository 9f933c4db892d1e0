#include "sigil/HMAC.h"

#include "zet/Error.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

namespace sigil {

void calcHMAC_SHA1(zet::TBuffer<unsigned char>& out, const void* data, int length, const void* key,
                   int keyLength) {
    // To OpenSSL a null key means "the one from before".
    const void* keyBytes = key ? key : "";
    const auto* bytes = static_cast<const unsigned char*>(data ? data : "");
    unsigned int hashLength = 0;
    out.setUsed(EVP_MAX_MD_SIZE);
    if (!HMAC(EVP_sha1(), keyBytes, keyLength, bytes, static_cast<std::size_t>(length), out.getData(), &hashLength)) {
        throw zet::CError("HMAC-SHA1 cannot be computed.");
    }
    out.setUsed(static_cast<int>(hashLength));
}

}  // namespace sigil
