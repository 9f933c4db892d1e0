#include "sigil/Base64.h"

#include "zet/Buffer.h"
#include "zet/InvalidArgError.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

// All pointers convert to `const void*`, but some point to objects instead of bytes.
template <class Data>
concept CanEncode = requires(Data data) {
    sigil::base64Encode(data, 1, true, false);
};
static_assert(CanEncode<const char*> && CanEncode<const void*> && CanEncode<std::nullptr_t>);
static_assert(!CanEncode<zet::P<zet::TBuffer<unsigned char>>> && !CanEncode<std::string*> &&
              !CanEncode<char**>);

std::string encoded(std::string_view data, bool withPadding = true, bool withLineBreaks = false) {
    return sigil::base64Encode(data.data(), static_cast<int>(data.size()), withPadding, withLineBreaks)
        .toUTF8();
}

/// The same encoding written directly from RFC 4648, three bytes at a time.
std::string encodedPlainly(std::string_view data) {
    const char* digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < data.size(); i += 3) {
        unsigned group = 0;
        for (std::size_t j = i; j < i + 3; ++j) {
            group = group << 8 | (j < data.size() ? static_cast<unsigned char>(data[j]) : 0u);
        }
        for (std::size_t j = 0; j < 4; ++j) {
            text += i + j > data.size() ? '=' : digits[group >> (18 - 6 * j) & 63];
        }
    }
    return text;
}

std::string someBytes(std::size_t count) {
    std::string data(count, '\0');
    unsigned state = 1;
    for (char& byte : data) {
        state = state * 1664525u + 1013904223u;
        byte = static_cast<char>(state >> 24);
    }
    return data;
}

// RFC 4648, section 10.
TEST(Base64Test, EncodesTheVectorsOfTheStandard) {
    EXPECT_EQ(encoded(""), "");
    EXPECT_EQ(encoded("f"), "Zg==");
    EXPECT_EQ(encoded("fo"), "Zm8=");
    EXPECT_EQ(encoded("foo"), "Zm9v");
    EXPECT_EQ(encoded("foob"), "Zm9vYg==");
    EXPECT_EQ(encoded("fooba"), "Zm9vYmE=");
    EXPECT_EQ(encoded("foobar"), "Zm9vYmFy");
}

TEST(Base64Test, CanOmitThePadding) {
    EXPECT_EQ(encoded("", false), "");
    EXPECT_EQ(encoded("f", false), "Zg");
    EXPECT_EQ(encoded("fo", false), "Zm8");
    EXPECT_EQ(encoded("foo", false), "Zm9v");
}

TEST(Base64Test, UsesTheWholeAlphabet) {
    // The 64 groups of six bits in ascending order.
    std::string data;
    for (unsigned first = 0; first < 64; first += 4) {
        const unsigned group = first << 18 | (first + 1) << 12 | (first + 2) << 6 | (first + 3);
        for (const unsigned shift : {16u, 8u, 0u}) {
            data += static_cast<char>(static_cast<unsigned char>(group >> shift & 0xFF));
        }
    }
    EXPECT_EQ(encoded(data), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

TEST(Base64Test, EncodesEveryLength) {
    const std::string data = someBytes(300);
    for (std::size_t length = 0; length <= data.size(); ++length) {
        const std::string_view part = std::string_view(data).substr(0, length);
        EXPECT_EQ(encoded(part), encodedPlainly(part)) << length;
    }
}

TEST(Base64Test, TakesNullForNoBytes) {
    EXPECT_EQ(sigil::base64Encode(nullptr, 0, true, false), "");
    EXPECT_EQ(sigil::base64Encode(nullptr, 0, false, true), "");
}

TEST(Base64Test, RefusesANegativeLength) {
    EXPECT_THROW(static_cast<void>(sigil::base64Encode("abc", -1, true, false)), zet::CInvalidArgError);
}

TEST(Base64Test, BreaksLinesAfter76CharactersButNotAtTheEnd) {
    const std::string line(76, 'A');
    const auto broken = [](std::size_t byteCount, bool withPadding = true) {
        return encoded(std::string(byteCount, '\0'), withPadding, true);
    };
    EXPECT_EQ(broken(0), "");
    EXPECT_EQ(broken(3), "AAAA");
    EXPECT_EQ(broken(57), line);
    EXPECT_EQ(broken(58), line + "\r\nAA==");
    EXPECT_EQ(broken(58, false), line + "\r\nAA");
    EXPECT_EQ(broken(114), line + "\r\n" + line);
    EXPECT_EQ(broken(117), line + "\r\n" + line + "\r\nAAAA");
}

TEST(Base64Test, WritesOneLineWithoutLineBreaks) {
    EXPECT_EQ(encoded(std::string(117, '\0')), std::string(156, 'A'));
}

TEST(Base64Test, EncodesLargeDataAsOneText) {
    // More than twice the size of the pieces that are encoded at once. Each block has whole groups of three
    // bytes, so it can be encoded alone.
    const std::string block = someBytes(300);
    const std::string encodedBlock = encodedPlainly(block);
    std::string data;
    std::string expected;
    while (data.size() <= 6 << 20) {
        data += block;
        expected += encodedBlock;
    }
    for (std::size_t count = 0; count <= 3; ++count) {
        const std::string end = block.substr(0, count);
        EXPECT_TRUE(encoded(data + end) == expected + encodedPlainly(end)) << count;
    }
}

}  // namespace
