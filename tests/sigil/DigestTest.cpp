#include "sigil/Digest.h"

#include "sigil/OpenSSLInit.h"
#include "zet/InvalidArgError.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using sigil::CDigestType_MD5;
using sigil::IDigest;
using zet::P;

std::string hexOf(const zet::TBuffer<unsigned char>& buffer) {
    std::string text;
    for (int i = 0; i < buffer.getUsed(); ++i) {
        text += "0123456789abcdef"[buffer.getData()[i] >> 4];
        text += "0123456789abcdef"[buffer.getData()[i] & 0xF];
    }
    return text;
}

void update(IDigest& digest, std::string_view data) {
    digest.update(data.data(), static_cast<int>(data.size()));
}

std::string finish(IDigest& digest) {
    zet::TBuffer<unsigned char> out;
    digest.finish(out);
    return hexOf(out);
}

P<IDigest> makeMD5() {
    return CDigestType_MD5().createDigest();
}

struct CVector {
    const char* text;
    const char* hash;
};

// RFC 1321, appendix A.5.
const CVector vectors[]{
    {"", "d41d8cd98f00b204e9800998ecf8427e"},
    {"a", "0cc175b9c0f1b6a831c399e269772661"},
    {"abc", "900150983cd24fb0d6963f7d28e17f72"},
    {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
    {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
    {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
    {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
     "57edf4a22be3c955ac49da2e2107b67a"},
};

// All pointers convert to `const void*`, but some point to objects instead of bytes.
template <class Data>
concept CanUpdate = requires(IDigest& digest, Data data) {
    digest.update(data, 1);
};
static_assert(CanUpdate<const char*> && CanUpdate<const void*> && CanUpdate<std::nullptr_t>);
static_assert(!CanUpdate<P<zet::TBuffer<unsigned char>>> && !CanUpdate<std::string*> && !CanUpdate<char**>);

TEST(DigestTest, ComputesMD5) {
    for (const CVector& vector : vectors) {
        const P<IDigest> digest = makeMD5();
        update(*digest, vector.text);
        EXPECT_EQ(finish(*digest), vector.hash) << vector.text;
    }
}

// FIPS 180-2, appendix B, and the empty text.
TEST(DigestTest, ComputesSHA256) {
    const CVector sha256Vectors[]{
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
    };
    for (const CVector& vector : sha256Vectors) {
        const std::string_view text = vector.text;
        const P<IDigest> digest = sigil::CDigestType_SHA256().createDigest();
        update(*digest, text.substr(0, text.size() / 2));
        const P<IDigest> clone = digest->clone();
        update(*digest, text.substr(text.size() / 2));
        update(*clone, text.substr(text.size() / 2));
        EXPECT_EQ(finish(*digest), vector.hash) << text;
        EXPECT_EQ(finish(*clone), vector.hash) << "a clone, " << text;
    }
}

std::string hexCRC32C(std::string_view data) {
    const P<IDigest> digest = sigil::CDigestType_CRC32C().createDigest();
    update(*digest, data);
    return finish(*digest);
}

// RFC 3720, appendix B.4, which lists the bytes in the other order, and the usual check value.
TEST(DigestTest, ComputesCRC32C) {
    std::string rising(32, '\0');
    for (std::size_t i = 0; i < rising.size(); ++i) {
        rising[i] = static_cast<char>(i);
    }
    const std::string falling(rising.rbegin(), rising.rend());
    const std::string_view command("\x01\xC0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x14\0\0\0\0\0\x04\0\0\0\0\x14"
                                   "\0\0\0\x18\x28\0\0\0\0\0\0\0\x02\0\0\0\0\0\0\0",
                                   48);
    EXPECT_EQ(hexCRC32C(std::string(32, '\0')), "8a9136aa");
    EXPECT_EQ(hexCRC32C(std::string(32, '\xFF')), "62a8ab43");
    EXPECT_EQ(hexCRC32C(rising), "46dd794e");
    EXPECT_EQ(hexCRC32C(falling), "113fdb5c");
    EXPECT_EQ(hexCRC32C(command), "d9963a56");
    EXPECT_EQ(hexCRC32C("123456789"), "e3069283");
    EXPECT_EQ(hexCRC32C(""), "00000000");
}

/// A cyclic redundancy check.
struct CRC {
    const char* name;
    P<IDigest> (*make)();
    int bits;
    std::uint64_t polynomial;  // reversed
    std::string ofDigits;      // the usual check value: that of "123456789"
};

const CRC crcs[] = {
    {"CRC32", [] { return sigil::CDigestType_CRC32().createDigest(); }, 32, 0xEDB88320, "cbf43926"},
    {"CRC32C", [] { return sigil::CDigestType_CRC32C().createDigest(); }, 32, 0x82F63B78, "e3069283"},
    {"CRC64NVME", [] { return sigil::CDigestType_CRC64NVME().createDigest(); }, 64, 0x9A6C9329AC4BC9B5,
     "ae8b14860a799888"},
};

std::string hexOfCRC(const CRC& crc, std::string_view data) {
    const P<IDigest> digest = crc.make();
    update(*digest, data);
    return finish(*digest);
}

/// Bit by bit, as the definition has it.
std::string referenceOf(const CRC& crc, std::string_view data) {
    std::uint64_t sum = crc.bits == 64 ? ~std::uint64_t{0} : 0xFFFFFFFF;
    for (const char c : data) {
        sum ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum & 1) != 0 ? (sum >> 1) ^ crc.polynomial : sum >> 1;
        }
    }
    zet::TBuffer<unsigned char> bytes;
    for (int shift = crc.bits - 8; shift >= 0; shift -= 8) {
        const auto byte = static_cast<unsigned char>(~sum >> shift);
        bytes.append(&byte, 1);
    }
    return hexOf(bytes);
}

TEST(DigestTest, CRCsHaveTheirCheckValues) {
    for (const CRC& crc : crcs) {
        EXPECT_EQ(hexOfCRC(crc, "123456789"), crc.ofDigits) << crc.name;
        EXPECT_EQ(hexOfCRC(crc, ""), std::string(static_cast<std::size_t>(crc.bits / 4), '0')) << crc.name;
    }
}

TEST(DigestTest, CRCsEqualTheirDefinitions) {
    std::mt19937 random(3720);
    std::string data(300'001, '\0');
    for (char& c : data) {
        c = static_cast<char>(random());
    }
    for (const CRC& crc : crcs) {
        SCOPED_TRACE(crc.name);
        EXPECT_EQ(hexOfCRC(crc, data), referenceOf(crc, data));
        EXPECT_EQ(hexOfCRC(crc, data.substr(1)), referenceOf(crc, data.substr(1))) << "another alignment";
        const std::string_view start = std::string_view(data).substr(0, 70);
        const std::string whole = referenceOf(crc, start);
        for (std::size_t first = 0; first <= start.size(); ++first) {
            for (std::size_t second = first; second <= start.size(); ++second) {
                const P<IDigest> digest = crc.make();
                update(*digest, start.substr(0, first));
                update(*digest, start.substr(first, second - first));
                update(*digest, start.substr(second));
                ASSERT_EQ(finish(*digest), whole) << "cut at " << first << " and " << second;
            }
        }
    }
}

TEST(DigestTest, CRCsHaveTheRulesOfADigest) {
    for (const CRC& crc : crcs) {
        const P<IDigest> digest = crc.make();
        digest->update(nullptr, 0);
        EXPECT_THROW(digest->update("a", -1), zet::CInvalidArgError);
        update(*digest, "1234");
        const P<IDigest> clone = digest->clone();
        update(*digest, "x");
        update(*clone, "56789");
        EXPECT_EQ(finish(*clone), crc.ofDigits);
        EXPECT_THROW(update(*clone, "a"), zet::CError);
        EXPECT_THROW(finish(*clone), zet::CError);
        EXPECT_THROW(update(*clone->clone(), "a"), zet::CError);
        digest->reset();
        update(*digest, "123456789");
        EXPECT_EQ(finish(*digest), crc.ofDigits);
    }
}

TEST(DigestTest, ComputesPieceByPiece) {
    for (const CVector& vector : vectors) {
        const std::string_view text = vector.text;
        for (std::size_t cut = 0; cut <= text.size(); ++cut) {
            const P<IDigest> digest = makeMD5();
            update(*digest, text.substr(0, cut));
            update(*digest, text.substr(cut));
            EXPECT_EQ(finish(*digest), vector.hash) << text << " cut at " << cut;
        }
    }
}

TEST(DigestTest, BeginsAgainAfterAReset) {
    const P<IDigest> digest = makeMD5();
    update(*digest, "what is forgotten");
    digest->reset();
    update(*digest, "abc");
    EXPECT_EQ(finish(*digest), "900150983cd24fb0d6963f7d28e17f72");
    digest->reset();
    EXPECT_EQ(finish(*digest), "d41d8cd98f00b204e9800998ecf8427e");
    digest->reset();
    digest->reset();
    update(*digest, "a");
    EXPECT_EQ(finish(*digest), "0cc175b9c0f1b6a831c399e269772661");
}

TEST(DigestTest, ACloneContinuesIndependently) {
    const P<IDigest> digest = makeMD5();
    update(*digest, "mess");
    const P<IDigest> clone = digest->clone();
    update(*digest, "forgotten");
    update(*clone, "age digest");
    EXPECT_EQ(finish(*clone), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_NE(finish(*digest), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_THROW(update(*digest->clone(), "x"), zet::CError);
}

TEST(DigestTest, ReplacesTheContentOfTheResult) {
    zet::TBuffer<unsigned char> out(100);
    const P<IDigest> digest = makeMD5();
    digest->finish(out);
    EXPECT_EQ(out.getUsed(), 16);
    EXPECT_EQ(hexOf(out), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(DigestTest, TakesNullForNoBytes) {
    const P<IDigest> digest = makeMD5();
    digest->update(nullptr, 0);
    EXPECT_EQ(finish(*digest), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(DigestTest, RefusesANegativeLength) {
    const P<IDigest> digest = makeMD5();
    EXPECT_THROW(digest->update("abc", -1), zet::CInvalidArgError);
    update(*digest, "abc");
    EXPECT_EQ(finish(*digest), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(DigestTest, RefusesToGoOnWithoutAReset) {
    const P<IDigest> digest = makeMD5();
    finish(*digest);
    EXPECT_THROW(update(*digest, "a"), zet::CError);
    zet::TBuffer<unsigned char> out(3);
    EXPECT_THROW(digest->finish(out), zet::CError);
    EXPECT_EQ(out.getUsed(), 3);
    digest->reset();
    update(*digest, "a");
    EXPECT_EQ(finish(*digest), "0cc175b9c0f1b6a831c399e269772661");
}

TEST(DigestTest, MakesIndependentDigests) {
    const CDigestType_MD5 type;
    const P<IDigest> first = type.createDigest();
    const P<IDigest> second = type.createDigest();
    update(*first, "ab");
    update(*second, "message ");
    update(*first, "c");
    update(*second, "digest");
    EXPECT_EQ(finish(*first), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(finish(*second), "f96b697d7cb7938d525a2f31aaf161d0");
}

TEST(DigestTest, WorksOnManyThreads) {
    std::vector<std::string> hashes(8);
    std::vector<std::thread> threads;
    for (std::string& hash : hashes) {
        threads.emplace_back([&hash] {
            sigil::COpenSSLInit::ensureInitialized();
            const P<IDigest> digest = makeMD5();
            update(*digest, "abc");
            hash = finish(*digest);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(hashes, std::vector<std::string>(8, "900150983cd24fb0d6963f7d28e17f72"));
}

TEST(OpenSSLInitTest, MayBeCalledAgain) {
    EXPECT_NO_THROW(sigil::COpenSSLInit::ensureInitialized());
    EXPECT_NO_THROW(sigil::COpenSSLInit::ensureInitialized());
}

}  // namespace
