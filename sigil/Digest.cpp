#include "sigil/Digest.h"

#include "sigil/CheckedLength.h"
#include "zet/Error.h"

#include <openssl/evp.h>

#include <memory>

namespace sigil {

namespace {

struct CEvpDeleter {
    void operator()(EVP_MD* digest) const noexcept { EVP_MD_free(digest); }
    void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }
};

class CEvpDigest : public virtual zet::CBase, public IDigest {
public:
    // "-fips": content checks may use MD5 even if the process prefers FIPS algorithms.
    explicit CEvpDigest(const char* name)
        : m_name(name), m_digest(EVP_MD_fetch(nullptr, name, "-fips")), m_context(EVP_MD_CTX_new()) {
        if (!m_digest || !m_context) {
            throw zet::CError(zet::String("The crypto library offers no ") + name + ".");
        }
        CEvpDigest::reset();
    }

    void reset() override {
        check(EVP_DigestInit_ex2(m_context.get(), m_digest.get(), nullptr));
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
        out.setUsed(EVP_MD_get_size(m_digest.get()));
        check(EVP_DigestFinal_ex(m_context.get(), out.getData(), nullptr));
        m_isFinished = true;
    }

    zet::P<IDigest> clone() const override {
        zet::P<CEvpDigest> copy = new CEvpDigest(m_name);
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

    const char* m_name;  // a literal
    std::unique_ptr<EVP_MD, CEvpDeleter> m_digest;
    std::unique_ptr<EVP_MD_CTX, CEvpDeleter> m_context;
    bool m_isFinished = false;
};

}  // namespace

IDigest::~IDigest() = default;

IDigestType::~IDigestType() = default;

CDigestType_MD5::~CDigestType_MD5() = default;

zet::P<IDigest> CDigestType_MD5::createDigest() const {
    return new CEvpDigest("MD5");
}

CDigestType_SHA256::~CDigestType_SHA256() = default;

zet::P<IDigest> CDigestType_SHA256::createDigest() const {
    return new CEvpDigest("SHA256");
}

}  // namespace sigil
