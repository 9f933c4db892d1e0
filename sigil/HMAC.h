#pragma once

#include "sigil/Export.h"
#include "zet/Buffer.h"
#include "zet/Pointer.h"

namespace sigil {

/// Keyed hash HMAC-SHA1 (RFC 2104).
/// \param out        becomes the 20 bytes of the hash
/// \param data       may be null if `length` is 0
/// \param length     bytes of data; less than 0 is a zet::CInvalidArgError
/// \param key        may be null if `keyLength` is 0
/// \param keyLength  bytes of the key; less than 0 is a zet::CInvalidArgError
/// \throws zet::CError if OpenSSL refuses
SIGIL_API void calcHMAC_SHA1(zet::TBuffer<unsigned char>& out, const void* data, int length, const void* key,
                             int keyLength);

/// Keyed hash HMAC-SHA-256 (RFC 2104, FIPS 180-4). `out` becomes its 32 bytes; the other arguments and the
/// errors are those of calcHMAC_SHA1().
SIGIL_API void calcHMAC_SHA256(zet::TBuffer<unsigned char>& out, const void* data, int length,
                               const void* key, int keyLength);

/// @{

/// Pointers to objects are refused: pass a pointer to bytes.
template <class Data, class Key>
requires zet::ObjectPointer<Data> || zet::ObjectPointer<Key>
void calcHMAC_SHA1(zet::TBuffer<unsigned char>& out, const Data& data, int length, const Key& key,
                   int keyLength) = delete;
template <class Data, class Key>
requires zet::ObjectPointer<Data> || zet::ObjectPointer<Key>
void calcHMAC_SHA256(zet::TBuffer<unsigned char>& out, const Data& data, int length, const Key& key,
                     int keyLength) = delete;
/// @}

}  // namespace sigil
