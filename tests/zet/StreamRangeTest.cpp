#include "zet/StreamRange.h"

#include "tests/support/WhatOf.h"
#include "zet/BufferStream.h"
#include "zet/MemoryInStream.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using vexil_test::whatOf;

using zet::CMemoryInStream;
using zet::CStreamRange;
using zet::int64;
using zet::P;

/// A stream over "abcdefgh" whose next byte is "d".
P<CMemoryInStream> streamAtD() {
    const P<CMemoryInStream> stream = new CMemoryInStream("abcdefgh", 8);
    stream->seek(3);
    return stream;
}

std::string readFrom(zet::IInStream& stream, int maxLength) {
    std::string text(100, '~');
    text.resize(static_cast<std::size_t>(stream.read(text.data(), maxLength)));
    return text;
}

TEST(StreamRangeTest, IsTheRestOfAStream) {
    CStreamRange rest(streamAtD());
    EXPECT_EQ(rest.getSize(), 5);
    EXPECT_EQ(rest.getPosition(), 0);
    EXPECT_EQ(readFrom(rest, 2), "de");
    EXPECT_EQ(rest.getPosition(), 2);
    EXPECT_EQ(readFrom(rest, 100), "fgh");
    EXPECT_EQ(readFrom(rest, 100), "");
    rest.seek(0);
    EXPECT_EQ(readFrom(rest, 100), "defgh");
    rest.seek(5);
    EXPECT_EQ(readFrom(rest, 1), "");
}

TEST(StreamRangeTest, IsAPartOfAStream) {
    CStreamRange part(streamAtD(), 3);
    EXPECT_EQ(part.getSize(), 3);
    EXPECT_EQ(readFrom(part, 2), "de");
    EXPECT_EQ(readFrom(part, 100), "f");
    EXPECT_EQ(part.getPosition(), 3);
    EXPECT_EQ(readFrom(part, 100), "");
    part.seek(1);
    EXPECT_EQ(part.getPosition(), 1);
    EXPECT_EQ(readFrom(part, 100), "ef");
}

TEST(StreamRangeTest, MayBeEmpty) {
    CStreamRange none(streamAtD(), 0);
    EXPECT_EQ(none.getSize(), 0);
    EXPECT_EQ(readFrom(none, 100), "");
}

TEST(StreamRangeTest, ReadsNothingForNoLength) {
    CStreamRange rest(streamAtD());
    EXPECT_EQ(readFrom(rest, 0), "");
    EXPECT_EQ(readFrom(rest, -1), "");
    EXPECT_EQ(rest.getPosition(), 0);
}

TEST(StreamRangeTest, MovesOnlyWithinItself) {
    const P<CMemoryInStream> stream = streamAtD();
    CStreamRange part(stream, 3);
    CStreamRange rest(stream);
    for (const int64 position : {int64(-1), int64(4), int64(1) << 32}) {
        EXPECT_EQ(whatOf([&] { part.seek(position); }), "The position is outside the stream.") << position;
    }
    for (const int64 position : {int64(-1), int64(6)}) {
        EXPECT_EQ(whatOf([&] { rest.seek(position); }), "The position is outside the stream.") << position;
    }
    EXPECT_EQ(stream->getPosition(), 3);
}

TEST(StreamRangeTest, RefusesAStreamThatEndsWithinThePart) {
    CStreamRange part(streamAtD(), 6);
    EXPECT_EQ(readFrom(part, 100), "defgh");
    EXPECT_EQ(whatOf([&] { readFrom(part, 100); }), "The stream ends after 5 of 6 bytes.");
}

/// Returns a fixed number from read(). Its size is unknown.
class CStrangeStream : public virtual zet::CBase, public zet::IInStream {
public:
    explicit CStrangeStream(int result) : m_result(result) {}

    int read(void*, int) override { return m_result; }
    int64 getSize() override { return -1; }
    void seek(int64) override {}
    int64 getPosition() override { return 0; }

private:
    const int m_result;
};

TEST(StreamRangeTest, RefusesLengthsThatWereNotAskedFor) {
    for (const int result : {-1, 9}) {
        CStreamRange part(new CStrangeStream(result), 8);
        CStreamRange rest(new CStrangeStream(result));
        const std::string message =
            "The stream returned " + std::to_string(result) + " bytes where 0 to 8 were asked for.";
        EXPECT_EQ(whatOf([&] { readFrom(part, 100); }), message);
        EXPECT_EQ(whatOf([&] { readFrom(rest, 8); }), message);
    }
}

TEST(StreamRangeTest, KnowsNoSizeIfTheStreamDoesNot) {
    CStreamRange rest(new CStrangeStream(0));
    EXPECT_EQ(rest.getSize(), -1);
}

TEST(StreamRangeTest, IsEmptyIfTheStreamBecomesShorter) {
    const P<zet::TBuffer<unsigned char>> buffer = new zet::TBuffer<unsigned char>(8);
    const P<zet::CBufferStream> stream = new zet::CBufferStream(buffer);
    stream->seek(5);
    CStreamRange rest(stream);
    buffer->setUsed(2);
    EXPECT_EQ(rest.getSize(), 0);
}

}  // namespace
