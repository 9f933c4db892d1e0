#include "sigil/HMAC.h"

#include "sigil/CheckedLength.h"
#include "zet/Error.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

namespace sigil {

namespace {

/// The names of a function, for its errors.
struct CNames {
    const char* function;
    const char* algorithm;
};

void calcHMAC(const CNames& names, const EVP_MD* algorithm, zet::TBuffer<unsigned char>& out,
              const void* data, int length, const void* key, int keyLength) {
    const std::size_t checkedSize = checkedLength(names.function, length);
    checkedLength(names.function, keyLength);
    // OpenSSL takes a null key to mean "reuse the previous key".
    const void* keyBytes = key ? key : "";
    const auto* bytes = static_cast<const unsigned char*>(data ? data : "");
    unsigned char hash[EVP_MAX_MD_SIZE];
    unsigned int hashLength = 0;
    if (!HMAC(algorithm, keyBytes, keyLength, bytes, checkedSize, hash, &hashLength)) {
        throw zet::CError(zet::String(names.algorithm) + " cannot be computed.");
    }
    // Do not change `out` earlier: the data or the key may be in it.
    out.setUsed(0);
    out.append(hash, static_cast<int>(hashLength));
}

}  // namespace

void calcHMAC_SHA1(zet::TBuffer<unsigned char>& out, const void* data, int length, const void* key,
                   int keyLength) {
    calcHMAC({"calcHMAC_SHA1", "HMAC-SHA1"}, EVP_sha1(), out, data, length, key, keyLength);
}

void calcHMAC_SHA256(zet::TBuffer<unsigned char>& out, const void* data, int length, const void* key,
                     int keyLength) {
    calcHMAC({"calcHMAC_SHA256", "HMAC-SHA-256"}, EVP_sha256(), out, data, length, key, keyLength);
}

}  // namespace sigil
