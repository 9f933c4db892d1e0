#pragma once

#include "sigil/Export.h"
#include "zet/Base.h"
#include "zet/Buffer.h"
#include "zet/Pointer.h"

/// Cryptography, over OpenSSL.
namespace sigil {

/// A hash that is computed piece by piece. Failures are thrown as zet::CError. One thread at a time.
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
    /// Begins again. A new object need not be reset.
    virtual void reset() = 0;
    /// Adds `length` bytes. `data` may be null if `length` is 0. A negative length is a
    /// zet::CInvalidArgError.
    virtual void update(const void* data, int length) = 0;
    /// Pointers to objects are refused: pass a pointer to bytes.
    template <zet::ObjectPointer Data, class Length>
    void update(const Data& data, Length length) = delete;
    /// Replaces `out` by the hash of all bytes since the beginning. After this only reset() and clone() are
    /// allowed; update() and finish() are a zet::CError.
    virtual void finish(zet::TBuffer<unsigned char>& out) = 0;
    /// A new, independent computation in the same state; never null.
    [[nodiscard]] virtual zet::P<IDigest> clone() const = 0;

protected:
    ~IDigest() override;
};

/// A kind of hash. Any thread.
class SIGIL_API IDigestType : public virtual zet::IBase {
public:
    /// A new, independent computation; never null.
    [[nodiscard]] virtual zet::P<IDigest> createDigest() const = 0;

protected:
    ~IDigestType() override;
};

/// MD5 (RFC 1321): 16 bytes. It detects accidental changes; it is no protection against attackers.
class SIGIL_API CDigestType_MD5 : public virtual zet::CBase, public IDigestType {
public:
    ~CDigestType_MD5() override;
    /// \throws zet::CError if OpenSSL offers no MD5
    [[nodiscard]] zet::P<IDigest> createDigest() const override;
};

/// SHA-256 (FIPS 180-4): 32 bytes.
class SIGIL_API CDigestType_SHA256 : public virtual zet::CBase, public IDigestType {
public:
    ~CDigestType_SHA256() override;
    /// \throws zet::CError if OpenSSL offers no SHA-256
    [[nodiscard]] zet::P<IDigest> createDigest() const override;
};

/// CRC32 (ISO 3309, as in zip files): 4 bytes, the most significant first. It detects accidental changes; it
/// is no protection against attackers.
class SIGIL_API CDigestType_CRC32 : public virtual zet::CBase, public IDigestType {
public:
    ~CDigestType_CRC32() override;
    [[nodiscard]] zet::P<IDigest> createDigest() const override;
};

/// CRC32C (Castagnoli, RFC 3720), as CRC32.
class SIGIL_API CDigestType_CRC32C : public virtual zet::CBase, public IDigestType {
public:
    ~CDigestType_CRC32C() override;
    [[nodiscard]] zet::P<IDigest> createDigest() const override;
};

/// CRC64NVME (NVM Express): 8 bytes, otherwise as CRC32.
class SIGIL_API CDigestType_CRC64NVME : public virtual zet::CBase, public IDigestType {
public:
    ~CDigestType_CRC64NVME() override;
    [[nodiscard]] zet::P<IDigest> createDigest() const override;
};

}  // namespace sigil
