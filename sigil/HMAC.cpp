#include "sigil/HMAC.h"

#include "sigil/CheckedLength.h"
#include "zet/Error.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

namespace sigil {

void calcHMAC_SHA1(zet::TBuffer<unsigned char>& out, const void* data, int length, const void* key,
                   int keyLength) {
    const std::size_t checkedSize = checkedLength("calcHMAC_SHA1", length);
    checkedLength("calcHMAC_SHA1", keyLength);
    // OpenSSL takes a null key to mean "reuse the previous key".
    const void* keyBytes = key ? key : "";
    const auto* bytes = static_cast<const unsigned char*>(data ? data : "");
    unsigned char hash[EVP_MAX_MD_SIZE];
    unsigned int hashLength = 0;
    if (!HMAC(EVP_sha1(), keyBytes, keyLength, bytes, checkedSize, hash, &hashLength)) {
        throw zet::CError("HMAC-SHA1 cannot be computed.");
    }
    // Do not change `out` earlier: the data or the key may be in it.
    out.setUsed(0);
    out.append(hash, static_cast<int>(hashLength));
}

}  // namespace sigil
