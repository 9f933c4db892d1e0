#include "sigil/CheckedLength.h"
#include "sigil/Digest.h"
#include "zet/Error.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace sigil {

namespace {

constexpr std::uint32_t polynomial = 0x82F63B78;  // Castagnoli's, with its bits reversed
constexpr std::size_t step = 8;                   // bytes that one lookup in each table takes in

using Table = std::array<std::uint32_t, 256>;

/// The table number N holds what each byte does to the sum when N more bytes follow it.
constexpr std::array<Table, step> makeTables() {
    std::array<Table, step> tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t sum = byte;
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum >> 1) ^ ((sum & 1) != 0 ? polynomial : 0);
        }
        tables[0][byte] = sum;
    }
    for (std::size_t table = 1; table < step; ++table) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t before = tables[table - 1][byte];
            tables[table][byte] = (before >> 8) ^ tables[0][before & 0xFF];
        }
    }
    return tables;
}

constexpr std::array<Table, step> tables = makeTables();

std::uint32_t updateSum(std::uint32_t sum, const unsigned char* bytes, std::size_t size) {
    for (; size >= step; bytes += step, size -= step) {
        sum = tables[7][(sum ^ bytes[0]) & 0xFF] ^ tables[6][((sum >> 8) ^ bytes[1]) & 0xFF] ^
              tables[5][((sum >> 16) ^ bytes[2]) & 0xFF] ^ tables[4][(sum >> 24) ^ bytes[3]] ^
              tables[3][bytes[4]] ^ tables[2][bytes[5]] ^ tables[1][bytes[6]] ^ tables[0][bytes[7]];
    }
    for (; size > 0; ++bytes, --size) {
        sum = (sum >> 8) ^ tables[0][(sum ^ *bytes) & 0xFF];
    }
    return sum;
}

class CCRC32CDigest : public virtual zet::CBase, public IDigest {
public:
    void reset() override {
        m_sum = initialSum;
        m_isFinished = false;
    }

    void update(const void* data, int length) override {
        const std::size_t size = checkedLength("IDigest::update", length);
        checkNotFinished();
        m_sum = updateSum(m_sum, static_cast<const unsigned char*>(data), size);
    }

    void finish(zet::TBuffer<unsigned char>& out) override {
        checkNotFinished();
        const std::uint32_t sum = ~m_sum;
        out.setUsed(4);
        for (int i = 0; i < 4; ++i) {
            out.getData()[i] = static_cast<unsigned char>(sum >> (24 - 8 * i));
        }
        m_isFinished = true;
    }

    zet::P<IDigest> clone() const override {
        const zet::P<CCRC32CDigest> copy = new CCRC32CDigest;
        copy->m_sum = m_sum;
        copy->m_isFinished = m_isFinished;
        return copy;
    }

private:
    static constexpr std::uint32_t initialSum = 0xFFFFFFFF;

    void checkNotFinished() const {
        if (m_isFinished) {
            throw zet::CError("The digest is finished and must be reset first.");
        }
    }

    std::uint32_t m_sum = initialSum;
    bool m_isFinished = false;
};

}  // namespace

CDigestType_CRC32C::~CDigestType_CRC32C() = default;

zet::P<IDigest> CDigestType_CRC32C::createDigest() const {
    return new CCRC32CDigest;
}

}  // namespace sigil
