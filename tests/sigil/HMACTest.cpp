#include "sigil/HMAC.h"

#include "zet/InvalidArgError.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using Buffer = zet::TBuffer<unsigned char>;

// All pointers convert to `const void*`, but some point to objects instead of bytes.
template <class Data, class Key>
concept CanCalc = requires(Buffer& out, Data data, Key key) {
    sigil::calcHMAC_SHA1(out, data, 1, key, 1);
};
static_assert(CanCalc<const char*, const char*> && CanCalc<const void*, unsigned char*>);
static_assert(CanCalc<std::nullptr_t, const char*>);
static_assert(!CanCalc<zet::P<Buffer>, const char*> && !CanCalc<const char*, std::string*>);

std::string hexOf(const Buffer& buffer) {
    std::string text;
    for (int i = 0; i < buffer.getUsed(); ++i) {
        text += "0123456789abcdef"[buffer.getData()[i] >> 4];
        text += "0123456789abcdef"[buffer.getData()[i] & 0xF];
    }
    return text;
}

std::string hashOf(std::string_view data, std::string_view key) {
    Buffer out;
    sigil::calcHMAC_SHA1(out, data.data(), static_cast<int>(data.size()), key.data(),
                         static_cast<int>(key.size()));
    return hexOf(out);
}

std::string hash256Of(std::string_view data, std::string_view key) {
    Buffer out;
    sigil::calcHMAC_SHA256(out, data.data(), static_cast<int>(data.size()), key.data(),
                           static_cast<int>(key.size()));
    return hexOf(out);
}

std::string repeated(int count, int byte) {
    return std::string(static_cast<std::size_t>(count), static_cast<char>(byte));
}

std::string countedUp(int first, int last) {
    std::string text;
    for (int byte = first; byte <= last; ++byte) {
        text += static_cast<char>(byte);
    }
    return text;
}

// RFC 2202, section 3.
TEST(HMACTest, ComputesTheVectorsOfTheStandard) {
    EXPECT_EQ(hashOf("Hi There", repeated(20, 0x0b)), "b617318655057264e28bc0b6fb378c8ef146be00");
    EXPECT_EQ(hashOf("what do ya want for nothing?", "Jefe"), "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79");
    EXPECT_EQ(hashOf(repeated(50, 0xdd), repeated(20, 0xaa)), "125d7342b9ac11cd91a39af48aa17b4f63f175d3");
    EXPECT_EQ(hashOf(repeated(50, 0xcd), countedUp(1, 25)), "4c9007f4026250c6bc8414f9bf50c86c2d7235da");
    EXPECT_EQ(hashOf("Test With Truncation", repeated(20, 0x0c)), "4c1a03424b55e07fe7f27be1d58bb9324a9a5a04");
    EXPECT_EQ(hashOf("Test Using Larger Than Block-Size Key - Hash Key First", repeated(80, 0xaa)),
              "aa4ae5e15272d00e95705637ce8a3b55ed402112");
    EXPECT_EQ(hashOf("Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data",
                     repeated(80, 0xaa)),
              "e8e99d0f45237d786d6bbaa7965c7808bbff1a91");
}

// RFC 4231, section 4, without the truncated one.
TEST(HMACTest, ComputesTheVectorsOfTheStandardForSHA256) {
    EXPECT_EQ(hash256Of("Hi There", repeated(20, 0x0b)),
              "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7");
    EXPECT_EQ(hash256Of("what do ya want for nothing?", "Jefe"),
              "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
    EXPECT_EQ(hash256Of(repeated(50, 0xdd), repeated(20, 0xaa)),
              "773ea91e36800e46854db8ebd09181a72959098b3ef8c122d9635514ced565fe");
    EXPECT_EQ(hash256Of(repeated(50, 0xcd), countedUp(1, 25)),
              "82558a389a443c0ea4cc819899f2083a85f0faa3e578f8077a2e3ff46729665b");
    EXPECT_EQ(hash256Of("Test Using Larger Than Block-Size Key - Hash Key First", repeated(131, 0xaa)),
              "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
    EXPECT_EQ(
        hash256Of("This is a test using a larger than block-size key and a larger than block-size data. "
                  "The key needs to be hashed before being used by the HMAC algorithm.",
                  repeated(131, 0xaa)),
        "9b09ffa71b942fcb27635fbcd5b0e944bfdc63644f0713938a7f51535c3a35e2");
}

TEST(HMACTest, TakesNullForNoBytesAndForNoKeyWithSHA256) {
    const char* emptyHash = "b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad";
    EXPECT_EQ(hash256Of("", ""), emptyHash);
    Buffer out;
    sigil::calcHMAC_SHA256(out, nullptr, 0, nullptr, 0);
    EXPECT_EQ(hexOf(out), emptyHash);
}

TEST(HMACTest, MayReplaceItsOwnKeyWithSHA256) {
    Buffer key;
    key.append(reinterpret_cast<const unsigned char*>("Jefe"), 4);
    sigil::calcHMAC_SHA256(key, "what do ya want for nothing?", 28, key.getData(), key.getUsed());
    EXPECT_EQ(hexOf(key), "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
}

TEST(HMACTest, RefusesNegativeLengthsWithSHA256) {
    Buffer out(3);
    EXPECT_THROW(sigil::calcHMAC_SHA256(out, "data", -1, "key", 3), zet::CInvalidArgError);
    EXPECT_THROW(sigil::calcHMAC_SHA256(out, "data", 4, "key", -1), zet::CInvalidArgError);
    EXPECT_EQ(out.getUsed(), 3);
}

TEST(HMACTest, TakesNullForNoBytesAndForNoKey) {
    const char* emptyHash = "fbdb1d1b18aa6c08324b7d64b71fb76370690e1d";
    Buffer out;
    sigil::calcHMAC_SHA1(out, nullptr, 0, nullptr, 0);
    EXPECT_EQ(hexOf(out), emptyHash);
    EXPECT_EQ(hashOf("", ""), emptyHash);
    sigil::calcHMAC_SHA1(out, "Hi There", 8, repeated(20, 0x0b).data(), 20);
    sigil::calcHMAC_SHA1(out, nullptr, 0, nullptr, 0);
    EXPECT_EQ(hexOf(out), emptyHash) << "no key is left from the call before";
}

TEST(HMACTest, ReplacesTheContentOfTheResult) {
    Buffer out(100);
    sigil::calcHMAC_SHA1(out, "what do ya want for nothing?", 28, "Jefe", 4);
    EXPECT_EQ(out.getUsed(), 20);
    EXPECT_EQ(hexOf(out), "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79");
}

TEST(HMACTest, MayReplaceItsOwnInput) {
    Buffer text;
    text.append(reinterpret_cast<const unsigned char*>("what do ya want for nothing?"), 28);
    sigil::calcHMAC_SHA1(text, text.getData(), text.getUsed(), "Jefe", 4);
    EXPECT_EQ(hexOf(text), "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79");
    Buffer key;
    key.append(reinterpret_cast<const unsigned char*>("Jefe"), 4);
    sigil::calcHMAC_SHA1(key, "what do ya want for nothing?", 28, key.getData(), key.getUsed());
    EXPECT_EQ(hexOf(key), "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79");
}

TEST(HMACTest, RefusesNegativeLengths) {
    Buffer out(3);
    EXPECT_THROW(sigil::calcHMAC_SHA1(out, "data", -1, "key", 3), zet::CInvalidArgError);
    EXPECT_THROW(sigil::calcHMAC_SHA1(out, "data", 4, "key", -1), zet::CInvalidArgError);
    EXPECT_EQ(out.getUsed(), 3);
}

}  // namespace
