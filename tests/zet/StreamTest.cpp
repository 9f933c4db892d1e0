#include "tests/support/WhatOf.h"
#include "zet/BufferStream.h"
#include "zet/InvalidArgError.h"
#include "zet/MemoryInStream.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <string_view>

namespace {

using vexil_test::whatOf;

using zet::CBufferStream;
using zet::CMemoryInStream;
using zet::P;
using zet::PC;
using Buffer = zet::TBuffer<unsigned char>;

constexpr int largestInt = std::numeric_limits<int>::max();

P<Buffer> bufferOf(std::string_view text) {
    P<Buffer> buffer = new Buffer;
    buffer->append(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    return buffer;
}

std::string textOf(const Buffer& buffer) {
    return {reinterpret_cast<const char*>(buffer.getData()), static_cast<std::size_t>(buffer.getUsed())};
}

std::string readFrom(zet::IInStream& stream, int maxLength) {
    std::string text(100, '~');
    const int length = stream.read(text.data(), maxLength);
    EXPECT_EQ(text.substr(static_cast<std::size_t>(length)).find_first_not_of('~'), std::string::npos)
        << "more bytes were written than read() returned";
    return text.substr(0, static_cast<std::size_t>(length));
}

/// Checks how a stream over the text "abcdef" is read.
void expectToReadLikeAStream(zet::IInStream& stream) {
    EXPECT_EQ(stream.getSize(), 6);
    EXPECT_EQ(stream.getPosition(), 0);
    EXPECT_EQ(readFrom(stream, 2), "ab");
    EXPECT_EQ(stream.getPosition(), 2);
    EXPECT_EQ(readFrom(stream, 0), "");
    EXPECT_EQ(readFrom(stream, -1), "");
    EXPECT_EQ(readFrom(stream, 100), "cdef");
    EXPECT_EQ(readFrom(stream, 100), "");
    EXPECT_EQ(stream.getPosition(), 6);
    stream.seek(5);
    EXPECT_EQ(readFrom(stream, largestInt), "f");
    stream.seek(6);
    EXPECT_EQ(readFrom(stream, 1), "");
    stream.seek(0);
    EXPECT_EQ(readFrom(stream, 6), "abcdef");
    stream.seek(3);
    for (const zet::int64 position :
         {zet::int64(-1), zet::int64(7), zet::int64(1) << 32, (zet::int64(1) << 32) + 1}) {
        EXPECT_EQ(whatOf([&] { stream.seek(position); }), "The position is outside the stream.") << position;
        EXPECT_EQ(stream.getPosition(), 3);
    }
}

// All pointers convert to `const void*`, but some point to objects instead of bytes.

template <class Data>
concept CanRead = requires(Data data) {
    CMemoryInStream(data, 1);
};
template <class Stream, class Data>
concept CanWrite = requires(Stream& stream, Data data) {
    stream.write(data, 1);
};

static_assert(CanRead<const char*> && CanRead<const void*> && CanRead<std::nullptr_t>);
static_assert(!CanRead<P<Buffer>> && !CanRead<std::string*> && !CanRead<char**>);
static_assert(CanWrite<CBufferStream, const char*> && CanWrite<zet::IOutStream, void*>);
static_assert(!CanWrite<CBufferStream, P<Buffer>> && !CanWrite<CBufferStream, std::string*>);
static_assert(!CanWrite<zet::IOutStream, PC<Buffer>> && !CanWrite<zet::IOutStream, const std::string*>);

TEST(MemoryInStreamTest, ReadsWithinItsBounds) {
    CMemoryInStream stream("abcdef", 6);
    expectToReadLikeAStream(stream);
}

TEST(MemoryInStreamTest, ReadsTheCallersMemoryInPlace) {
    char memory[] = "abc";
    CMemoryInStream stream(memory, 3);
    memory[1] = 'X';
    EXPECT_EQ(readFrom(stream, 3), "aXc");
}

TEST(MemoryInStreamTest, TakesNullForNoBytes) {
    CMemoryInStream stream(nullptr, 0);
    EXPECT_EQ(stream.getSize(), 0);
    EXPECT_EQ(readFrom(stream, 10), "");
    stream.seek(0);
    EXPECT_THROW(stream.seek(1), zet::CError);
}

TEST(MemoryInStreamTest, TakesANegativeSizeForNoBytes) {
    CMemoryInStream stream("abc", -5);
    EXPECT_EQ(stream.getSize(), 0);
    EXPECT_EQ(readFrom(stream, 10), "");
    EXPECT_EQ(CMemoryInStream(nullptr, -5).getSize(), 0);
}

TEST(MemoryInStreamTest, RefusesNullForSomeBytes) {
    EXPECT_EQ(whatOf([] { CMemoryInStream stream(nullptr, 1); }),
              "CMemoryInStream::CMemoryInStream: data must not be null");
}

TEST(BufferStreamTest, ReadsWithinItsBounds) {
    CBufferStream writable(bufferOf("abcdef"));
    expectToReadLikeAStream(writable);
    CBufferStream readOnly(PC<Buffer>(bufferOf("abcdef")));
    expectToReadLikeAStream(readOnly);
}

TEST(BufferStreamTest, BeginsWithAnEmptyBufferOfItsOwn) {
    CBufferStream stream;
    EXPECT_EQ(stream.getSize(), 0);
    EXPECT_EQ(stream.getPosition(), 0);
    stream.write("abc", 3);
    EXPECT_EQ(textOf(*stream.getBuffer()), "abc");
}

TEST(BufferStreamTest, KeepsItsBuffer) {
    P<Buffer> buffer = bufferOf("abc");
    CBufferStream stream(buffer);
    EXPECT_EQ(stream.getBuffer().get(), buffer.get());
    buffer = nullptr;
    EXPECT_EQ(readFrom(stream, 3), "abc");
}

TEST(BufferStreamTest, OverwritesAndLengthensTheBuffer) {
    const P<Buffer> buffer = bufferOf("abcdef");
    CBufferStream stream(buffer);
    stream.write("XY", 2);
    EXPECT_EQ(textOf(*buffer), "XYcdef");
    stream.seek(5);
    stream.write("123", 3);
    EXPECT_EQ(textOf(*buffer), "XYcde123");
    EXPECT_EQ(stream.getPosition(), 8);
    EXPECT_EQ(stream.getSize(), 8);
    stream.write("4", 1);
    EXPECT_EQ(textOf(*buffer), "XYcde1234");
}

TEST(BufferStreamTest, WritesNothingForNoLength) {
    const P<Buffer> buffer = bufferOf("abc");
    CBufferStream stream(buffer);
    stream.write(nullptr, 0);
    stream.write("x", -1);
    EXPECT_EQ(textOf(*buffer), "abc");
    EXPECT_EQ(stream.getPosition(), 0);
}

TEST(BufferStreamTest, HasOnePositionForReadingAndWriting) {
    const P<Buffer> buffer = bufferOf("abcdef");
    CBufferStream stream(buffer);
    EXPECT_EQ(readFrom(stream, 2), "ab");
    stream.write("X", 1);
    EXPECT_EQ(readFrom(stream, 2), "de");
    EXPECT_EQ(textOf(*buffer), "abXdef");
}

TEST(BufferStreamTest, RefusesToWriteToAConstantBuffer) {
    const PC<Buffer> buffer = bufferOf("abc");
    CBufferStream stream(buffer);
    EXPECT_EQ(whatOf([&] { stream.write("x", 1); }), "The stream is read-only.");
    EXPECT_EQ(textOf(*buffer), "abc");
}

TEST(BufferStreamTest, RefusesMoreThanABufferHolds) {
    const P<Buffer> buffer = bufferOf("abc");
    CBufferStream stream(buffer);
    stream.seek(3);
    EXPECT_EQ(whatOf([&] { stream.write("x", largestInt - 2); }),
              "A buffer cannot hold more than 2147483647 elements.");
    EXPECT_EQ(textOf(*buffer), "abc");
    EXPECT_EQ(stream.getPosition(), 3);
}

TEST(BufferStreamTest, LeavesNoGapAfterItsBufferWasShortened) {
    const P<Buffer> buffer = bufferOf("abcdef");
    CBufferStream stream(buffer);
    stream.seek(6);
    buffer->setUsed(2);
    EXPECT_EQ(stream.getSize(), 2);
    EXPECT_EQ(readFrom(stream, 10), "");
    EXPECT_EQ(whatOf([&] { stream.write("x", 1); }), "The position is outside the stream.");
    EXPECT_EQ(textOf(*buffer), "ab");
    stream.seek(2);
    stream.write("x", 1);
    EXPECT_EQ(textOf(*buffer), "abx");
}

TEST(BufferStreamTest, RefusesANullBuffer) {
    const char* refusal = "CBufferStream::CBufferStream: buffer must not be null";
    EXPECT_EQ(whatOf([] { CBufferStream stream(static_cast<Buffer*>(nullptr)); }), refusal);
    EXPECT_EQ(whatOf([] { CBufferStream stream(static_cast<const Buffer*>(nullptr)); }), refusal);
}

TEST(BufferStreamTest, IsBothStreamsAndOneCountedObject) {
    const P<CBufferStream> stream = new CBufferStream;
    const P<zet::IInStream> in = stream;
    const P<zet::IOutStream> out = stream;
    out->write("abc", 3);
    in->seek(1);
    EXPECT_EQ(out->getPosition(), 1);
    EXPECT_EQ(out->getSize(), 3);
    EXPECT_EQ(in.dynamicCast<CBufferStream>().get(), stream.get());
}

}  // namespace
