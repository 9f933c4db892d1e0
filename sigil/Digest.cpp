#include "sigil/Digest.h"

#include "sigil/CheckedLength.h"
#include "zet/Error.h"

#include <openssl/evp.h>

#include <memory>
#include <new>

namespace sigil {

namespace {

struct CEvpDeleter {
    void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }
};

/// A search in the crypto library, which is dear. The result is kept until the process ends.
const EVP_MD& fetchDigest(const char* name) {
    // "-fips": content checks may use MD5 even if the process prefers FIPS algorithms.
    const EVP_MD* const digest = EVP_MD_fetch(nullptr, name, "-fips");
    if (!digest) {
        throw zet::CError(zet::String("The crypto library offers no ") + name + ".");
    }
    return *digest;
}

class CEvpDigest : public virtual zet::CBase, public IDigest {
public:
    /// \param digest  lives until the process ends
    explicit CEvpDigest(const EVP_MD& digest) : m_digest(digest), m_context(EVP_MD_CTX_new()) {
        if (!m_context) {
            throw std::bad_alloc();
        }
        CEvpDigest::reset();
    }

    void reset() override {
        check(EVP_DigestInit_ex2(m_context.get(), &m_digest, nullptr));
        m_isFinished = false;
    }

    void update(const void* data, int length) override {
        const std::size_t size = checkedLength("IDigest::update", length);
        checkNotFinished();
        if (size > 0) {
            check(EVP_DigestUpdate(m_context.get(), data, size));
        }
    }

    void finish(zet::TBuffer<unsigned char>& out) override {
        checkNotFinished();
        out.setUsed(EVP_MD_get_size(&m_digest));
        check(EVP_DigestFinal_ex(m_context.get(), out.getData(), nullptr));
        m_isFinished = true;
    }

    zet::P<IDigest> clone() const override {
        zet::P<CEvpDigest> copy = new CEvpDigest(m_digest);
        check(EVP_MD_CTX_copy_ex(copy->m_context.get(), m_context.get()));
        copy->m_isFinished = m_isFinished;
        return copy;
    }

private:
    static void check(int result) {
        if (result != 1) {
            throw zet::CError("The crypto library cannot compute a digest.");
        }
    }

    void checkNotFinished() const {
        if (m_isFinished) {
            throw zet::CError("The digest is finished and must be reset first.");
        }
    }

    const EVP_MD& m_digest;
    std::unique_ptr<EVP_MD_CTX, CEvpDeleter> m_context;
    bool m_isFinished = false;
};

}  // namespace

IDigest::~IDigest() = default;

IDigestType::~IDigestType() = default;

CDigestType_MD5::~CDigestType_MD5() = default;

zet::P<IDigest> CDigestType_MD5::createDigest() const {
    static const EVP_MD& digest = fetchDigest("MD5");
    return new CEvpDigest(digest);
}

CDigestType_SHA256::~CDigestType_SHA256() = default;

zet::P<IDigest> CDigestType_SHA256::createDigest() const {
    static const EVP_MD& digest = fetchDigest("SHA256");
    return new CEvpDigest(digest);
}

}  // namespace sigil
