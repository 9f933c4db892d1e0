#include "sigil/CheckedLength.h"
#include "sigil/Digest.h"
#include "zet/Error.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace sigil {

namespace {

// Their bits are reversed: the sums shift to the right.
constexpr std::uint32_t polynomialOfCRC32 = 0xEDB88320;
constexpr std::uint32_t polynomialOfCRC32C = 0x82F63B78;
constexpr std::uint64_t polynomialOfCRC64NVME = 0x9A6C9329AC4BC9B5;

constexpr std::size_t step = 8;  // bytes that one lookup in each table takes in

template <class Sum>
using TTables = std::array<std::array<Sum, 256>, step>;

/// The table number N holds what each byte does to the sum when N more bytes follow it.
template <class Sum>
constexpr TTables<Sum> makeTables(Sum polynomial) {
    TTables<Sum> tables{};
    for (std::size_t byte = 0; byte < 256; ++byte) {
        Sum sum = static_cast<Sum>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum >> 1) ^ ((sum & 1) != 0 ? polynomial : 0);
        }
        tables[0][byte] = sum;
    }
    for (std::size_t table = 1; table < step; ++table) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const Sum before = tables[table - 1][byte];
            tables[table][byte] = (before >> 8) ^ tables[0][before & 0xFF];
        }
    }
    return tables;
}

/// The first one is the least significant. Without a loop, compilers see that it is one load.
template <std::size_t... i>
std::uint64_t readBytes(const unsigned char* bytes, std::index_sequence<i...>) noexcept {
    return ((std::uint64_t{bytes[i]} << (8 * i)) | ...);
}

/// A cyclic redundancy check that begins with all bits set, and ends with all bits changed.
template <class Sum, Sum polynomial>
class TCRCDigest : public virtual zet::CBase, public IDigest {
public:
    void reset() override {
        m_sum = initialSum;
        m_isFinished = false;
    }

    void update(const void* data, int length) override {
        const std::size_t size = checkedLength("IDigest::update", length);
        checkNotFinished();
        addBytes(static_cast<const unsigned char*>(data), size);
    }

    void finish(zet::TBuffer<unsigned char>& out) override {
        checkNotFinished();
        const Sum sum = static_cast<Sum>(~m_sum);
        out.setUsed(sizeof(Sum));
        for (std::size_t i = 0; i < sizeof(Sum); ++i) {
            out.getData()[i] = static_cast<unsigned char>(sum >> (8 * (sizeof(Sum) - 1 - i)));
        }
        m_isFinished = true;
    }

    zet::P<IDigest> clone() const override {
        const zet::P<TCRCDigest> copy = new TCRCDigest;
        copy->m_sum = m_sum;
        copy->m_isFinished = m_isFinished;
        return copy;
    }

private:
    static constexpr Sum initialSum = static_cast<Sum>(-1);
    static constexpr TTables<Sum> tables = makeTables(polynomial);

    template <std::size_t... i>
    static Sum lookUp(std::uint64_t value, std::index_sequence<i...>) noexcept {
        return (tables[step - 1 - i][(value >> (8 * i)) & 0xFF] ^ ...);
    }

    void addBytes(const unsigned char* bytes, std::size_t size) noexcept {
        constexpr std::make_index_sequence<step> all;
        Sum sum = m_sum;
        for (; size >= step; bytes += step, size -= step) {
            sum = lookUp(readBytes(bytes, all) ^ sum, all);
        }
        for (; size > 0; ++bytes, --size) {
            sum = (sum >> 8) ^ tables[0][(sum ^ *bytes) & 0xFF];
        }
        m_sum = sum;
    }

    void checkNotFinished() const {
        if (m_isFinished) {
            throw zet::CError("The digest is finished and must be reset first.");
        }
    }

    Sum m_sum = initialSum;
    bool m_isFinished = false;
};

}  // namespace

CDigestType_CRC32::~CDigestType_CRC32() = default;

zet::P<IDigest> CDigestType_CRC32::createDigest() const {
    return new TCRCDigest<std::uint32_t, polynomialOfCRC32>;
}

CDigestType_CRC32C::~CDigestType_CRC32C() = default;

zet::P<IDigest> CDigestType_CRC32C::createDigest() const {
    return new TCRCDigest<std::uint32_t, polynomialOfCRC32C>;
}

CDigestType_CRC64NVME::~CDigestType_CRC64NVME() = default;

zet::P<IDigest> CDigestType_CRC64NVME::createDigest() const {
    return new TCRCDigest<std::uint64_t, polynomialOfCRC64NVME>;
}

}  // namespace sigil
