#pragma once

#include "sigil/Export.h"
#include "zet/Buffer.h"
#include "zet/Pointer.h"

namespace sigil {

/// Keyed hash HMAC-SHA1 (RFC 2104).
/// \param out        becomes the 20 bytes of the hash
/// \param data       may be null where `length` is 0
/// \param length     bytes of data; less than 0 is a zet::CInvalidArgError
/// \param key        may be null where `keyLength` is 0
/// \param keyLength  bytes of the key; less than 0 is a zet::CInvalidArgError
/// \throws zet::CError when OpenSSL refuses
SIGIL_API void calcHMAC_SHA1(zet::TBuffer<unsigned char>& out, const void* data, int length, const void* key,
                             int keyLength);

/// An object is no content: give the address of its bytes.
template <class Data, class Key>
requires zet::ObjectPointer<Data> || zet::ObjectPointer<Key>
void calcHMAC_SHA1(zet::TBuffer<unsigned char>& out, const Data& data, int length, const Key& key,
                   int keyLength) = delete;

}  // namespace sigil
