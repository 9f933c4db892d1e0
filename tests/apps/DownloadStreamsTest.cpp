// The streams that downloads write to.
#include "apps/vexil/files/MD5OutStream.h"
#include "tests/support/WhatOf.h"
#include "zet/BufferStream.h"

#include <gtest/gtest.h>

#include <string>

namespace vexil::app {

using vexil_test::whatOf;

// MD5 of "", "hello" and "hello world".
constexpr const char* emptyMD5 = "1B2M2Y8AsgTpgAmY7PhCfg==";
constexpr const char* helloMD5 = "XUFAKrxLKna5cZ2REBfFkg==";
constexpr const char* helloWorldMD5 = "XrY7u+Ae7tCTyyK7j1rNww==";

std::string textOf(zet::CBufferStream& stream) {
    const auto buffer = stream.getBuffer();
    return {reinterpret_cast<const char*>(buffer->getData()), static_cast<std::size_t>(buffer->getUsed())};
}

TEST(MD5OutStreamTest, PassesOnAndComputes) {
    const P<zet::CBufferStream> inner = new zet::CBufferStream;
    CMD5OutStream stream(inner);
    EXPECT_EQ(stream.getContentMD5(), emptyMD5);
    stream.write("hello", 5);
    EXPECT_EQ(stream.getContentMD5(), helloMD5);
    stream.write(" world", 6);
    EXPECT_EQ(stream.getContentMD5(), helloWorldMD5);
    EXPECT_EQ(stream.getContentMD5(), helloWorldMD5);
    EXPECT_EQ(textOf(*inner), "hello world");
    EXPECT_EQ(stream.getPosition(), 11);
    EXPECT_EQ(stream.getSize(), 11);
}

TEST(MD5OutStreamTest, GoesBackToTheMark) {
    const P<zet::CBufferStream> inner = new zet::CBufferStream;
    inner->write("before ", 7);
    CMD5OutStream stream(inner);
    stream.write("wrong", 5);
    stream.seek(7);
    stream.write("hello", 5);
    stream.mark();
    for (int i = 0; i < 2; ++i) {
        stream.write(" wrong", 6);
        stream.seek(12);
        EXPECT_EQ(stream.getContentMD5(), helloMD5);
    }
    stream.write(" world", 6);
    EXPECT_EQ(stream.getContentMD5(), helloWorldMD5);
    EXPECT_EQ(textOf(*inner), "before hello world");
    stream.seek(18);
    EXPECT_EQ(stream.getContentMD5(), helloWorldMD5);
    EXPECT_EQ(whatOf([&stream] { stream.seek(8); }),
              "The download cannot return to a position without a known checksum.");
    EXPECT_EQ(stream.getPosition(), 18);
}

TEST(MD5OutStreamTest, BeginsAgain) {
    const P<zet::CBufferStream> inner = new zet::CBufferStream;
    inner->write("before ", 7);
    CMD5OutStream stream(inner);
    stream.write("wrong", 5);
    stream.mark();
    stream.restart();
    EXPECT_EQ(stream.getPosition(), 7);
    stream.write("xx", 2);
    stream.seek(7);
    stream.write("hello", 5);
    EXPECT_EQ(stream.getContentMD5(), helloMD5);
}

}  // namespace vexil::app
