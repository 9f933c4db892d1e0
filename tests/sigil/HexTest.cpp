#include "sigil/Hex.h"

#include "zet/InvalidArgError.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// All pointers convert to `const void*`, but some point to objects instead of bytes.
template <class Data>
concept CanEncode = requires(Data data) {
    sigil::hexEncode(data, 1);
};
static_assert(CanEncode<const char*> && CanEncode<const void*> && CanEncode<std::nullptr_t>);
static_assert(!CanEncode<zet::P<zet::TBuffer<unsigned char>>> && !CanEncode<std::string*>);

TEST(HexTest, WritesEachByteAsTwoDigits) {
    EXPECT_EQ(sigil::hexEncode("\x00\x01\x0f\x10\x7f\x80\xab\xff", 8), "00010f107f80abff");
    EXPECT_EQ(sigil::hexEncode("abc", 2), "6162");
}

TEST(HexTest, TakesNullForNoBytes) {
    EXPECT_EQ(sigil::hexEncode(nullptr, 0), "");
    EXPECT_EQ(sigil::hexEncode(zet::TBuffer<unsigned char>()), "");
}

TEST(HexTest, EncodesTheUsedBytesOfABuffer) {
    zet::TBuffer<unsigned char> buffer(100);
    buffer.setUsed(0);
    buffer.append(reinterpret_cast<const unsigned char*>("\xfe\xdc"), 2);
    EXPECT_EQ(sigil::hexEncode(buffer), "fedc");
}

TEST(HexTest, RefusesANegativeLength) {
    EXPECT_THROW((void)sigil::hexEncode("abc", -1), zet::CInvalidArgError);
}

}  // namespace
