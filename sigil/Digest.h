#pragma once

#include "sigil/Export.h"
#include "zet/Base.h"
#include "zet/Buffer.h"
#include "zet/Pointer.h"

/// Cryptography, over OpenSSL.
namespace sigil {

/// A hash computed piece by piece. Failures are thrown as zet::CError. One thread at a time.
///
/// \code
/// const zet::P<IDigest> digest = CDigestType_MD5().createDigest();
/// digest->update("twelve", 6);
/// digest->update(" bytes", 6);
/// zet::TBuffer<unsigned char> hash;
/// digest->finish(hash);  // 16 bytes
/// \endcode
class SIGIL_API IDigest : public virtual zet::IBase {
public:
    /// Begins anew. Also a new object begins anew.
    virtual void reset() = 0;
    /// Adds `length` bytes. `data` may be null where `length` is 0; a negative length is a
    /// zet::CInvalidArgError.
    virtual void update(const void* data, int length) = 0;
    /// An object is no content: give the address of its bytes.
    template <zet::ObjectPointer Data, class Length>
    void update(const Data& data, Length length) = delete;
    /// Puts the hash of everything since the beginning into `out`. Only reset() may follow: anything else is
    /// a zet::CError.
    virtual void finish(zet::TBuffer<unsigned char>& out) = 0;
    /// A new computation that goes on from here, independent of this one; never null.
    virtual zet::P<IDigest> clone() const = 0;

protected:
    ~IDigest() override;
};

/// A kind of hash. Any thread.
class SIGIL_API IDigestType : public virtual zet::IBase {
public:
    /// A new computation, independent of others; never null.
    virtual zet::P<IDigest> createDigest() const = 0;

protected:
    ~IDigestType() override;
};

/// MD5 (RFC 1321): 16 bytes. A check against accidents, not against attackers.
class SIGIL_API CDigestType_MD5 : public virtual zet::CBase, public IDigestType {
public:
    ~CDigestType_MD5() override;
    /// Throws a zet::CError where OpenSSL offers no MD5, as in a process restricted to FIPS algorithms.
    zet::P<IDigest> createDigest() const override;
};

}  // namespace sigil
