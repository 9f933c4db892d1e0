#include "zet/Buffer.h"

#include "tests/support/WhatOf.h"
#include "zet/InvalidArgError.h"

#include <gtest/gtest.h>

#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace {

using vexil_test::whatOf;

using Buffer = zet::TBuffer<unsigned char>;

constexpr int largestSize = std::numeric_limits<int>::max();

Buffer bufferOf(std::string_view text) {
    Buffer buffer;
    buffer.append(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    return buffer;
}

std::string_view textOf(const Buffer& buffer) {
    return {reinterpret_cast<const char*>(buffer.getData()), static_cast<std::size_t>(buffer.getUsed())};
}

TEST(BufferTest, IsEmptyAtFirst) {
    const Buffer buffer;
    EXPECT_EQ(buffer.getUsed(), 0);
    EXPECT_EQ(buffer.getCapacity(), 0);
    EXPECT_EQ(buffer.getData(), nullptr);
}

TEST(BufferTest, StartsWithAGivenSize) {
    Buffer buffer(5);
    EXPECT_EQ(buffer.getUsed(), 5);
    EXPECT_GE(buffer.getCapacity(), 5);
    buffer.getData()[4] = 'x';
    EXPECT_EQ(Buffer(0).getUsed(), 0);
}

TEST(BufferTest, AppendsAfterTheUsedElements) {
    Buffer buffer = bufferOf("abc");
    buffer.append(reinterpret_cast<const unsigned char*>("def"), 2);
    EXPECT_EQ(textOf(buffer), "abcde");
    buffer.append(nullptr, 0);
    EXPECT_EQ(textOf(buffer), "abcde");
}

TEST(BufferTest, GivesItsUsedElementsAsARange) {
    Buffer buffer = bufferOf("abc");
    buffer.reserve(100);
    std::string text;
    for (const unsigned char byte : std::as_const(buffer)) {
        text += static_cast<char>(byte);
    }
    EXPECT_EQ(text, "abc");
    for (unsigned char& byte : buffer) {
        ++byte;
    }
    EXPECT_EQ(textOf(buffer), "bcd");
    buffer.span()[1] = 'x';
    const std::span<const unsigned char> span = std::as_const(buffer).span();
    EXPECT_EQ(span.data(), buffer.getData());
    EXPECT_EQ(span.size(), 3u);
    EXPECT_EQ(span[1], 'x');
    EXPECT_EQ(std::span(buffer).size(), 3u);
    const Buffer empty;
    EXPECT_EQ(empty.begin(), empty.end());
    EXPECT_TRUE(empty.span().empty());
}

TEST(BufferTest, KeepsItsContentWhenItGrows) {
    Buffer buffer;
    for (int i = 0; i < 10000; ++i) {
        const auto byte = static_cast<unsigned char>(i % 251);
        buffer.append(&byte, 1);
    }
    ASSERT_EQ(buffer.getUsed(), 10000);
    for (int i = 0; i < 10000; ++i) {
        ASSERT_EQ(buffer.getData()[i], i % 251);
    }
}

TEST(BufferTest, GrowsByDoublingSoThatAppendingIsCheap) {
    Buffer buffer(10);
    buffer.append(buffer.getData(), 0);
    EXPECT_EQ(buffer.getCapacity(), 10);
    buffer.setUsed(11);
    EXPECT_EQ(buffer.getCapacity(), 20);
    buffer.setUsed(21);
    EXPECT_EQ(buffer.getCapacity(), 40);
    buffer.setUsed(100);
    EXPECT_EQ(buffer.getCapacity(), 100) << "the requested size, if it is more than twice the old one";
}

TEST(BufferTest, ReservesWithoutChangingTheUsedSize) {
    Buffer buffer = bufferOf("abc");
    buffer.reserve(100);
    EXPECT_EQ(buffer.getCapacity(), 100);
    EXPECT_EQ(textOf(buffer), "abc");
    const unsigned char* data = buffer.getData();
    buffer.setUsed(100);
    EXPECT_EQ(buffer.getData(), data);
    buffer.reserve(5);
    buffer.reserve(-1);
    EXPECT_EQ(buffer.getCapacity(), 100);
}

TEST(BufferTest, NeitherFreesNorClearsWhenItShrinksAndGrowsAgain) {
    Buffer buffer = bufferOf("abcdef");
    const unsigned char* data = buffer.getData();
    buffer.setUsed(0);
    EXPECT_EQ(buffer.getUsed(), 0);
    EXPECT_GE(buffer.getCapacity(), 6);
    buffer.setUsed(6);
    EXPECT_EQ(buffer.getData(), data);
    EXPECT_EQ(textOf(buffer), "abcdef");
}

TEST(BufferTest, CopiesDeeply) {
    Buffer original = bufferOf("abc");
    Buffer copy = original;
    copy.getData()[0] = 'X';
    EXPECT_EQ(textOf(original), "abc");
    EXPECT_EQ(textOf(copy), "Xbc");
    Buffer assigned = bufferOf("something longer");
    assigned = original;
    original.getData()[1] = 'Y';
    EXPECT_EQ(textOf(assigned), "abc");
    const Buffer& same = assigned;
    assigned = same;
    EXPECT_EQ(textOf(assigned), "abc");
    EXPECT_EQ(Buffer(Buffer()).getUsed(), 0);
}

TEST(BufferTest, MovesItsMemory) {
    Buffer original = bufferOf("abc");
    const unsigned char* data = original.getData();
    Buffer moved = std::move(original);
    EXPECT_EQ(moved.getData(), data);
    EXPECT_EQ(textOf(moved), "abc");
    Buffer other = bufferOf("xyz");
    other = std::move(moved);
    EXPECT_EQ(other.getData(), data);
    Buffer third = bufferOf("third");
    third.swap(other);
    EXPECT_EQ(textOf(third), "abc");
    EXPECT_EQ(textOf(other), "third");
}

TEST(BufferTest, RefusesMoreThanAnIntCanCountBeforeItAllocates) {
    Buffer buffer = bufferOf("abc");
    const int capacity = buffer.getCapacity();
    EXPECT_EQ(whatOf([&] { buffer.append(buffer.getData(), largestSize - 2); }),
              "A buffer cannot hold more than 2147483647 elements.");
    EXPECT_EQ(whatOf([&] { buffer.append(buffer.getData(), largestSize); }),
              "A buffer cannot hold more than 2147483647 elements.");
    EXPECT_EQ(textOf(buffer), "abc");
    EXPECT_EQ(buffer.getCapacity(), capacity);
}

TEST(BufferTest, RefusesNegativeSizes) {
    Buffer buffer = bufferOf("abc");
    EXPECT_EQ(whatOf([&] { buffer.setUsed(-1); }), "TBuffer::setUsed: size is negative");
    EXPECT_EQ(whatOf([&] { buffer.append(buffer.getData(), -1); }), "TBuffer::append: size is negative");
    EXPECT_EQ(whatOf([] { const Buffer negative(std::numeric_limits<int>::min()); }),
              "TBuffer::setUsed: size is negative");
    EXPECT_EQ(textOf(buffer), "abc");
}

TEST(BufferTest, CountsElementsOfAnyPlainType) {
    zet::TBuffer<int> buffer;
    const int numbers[]{1, 2, 3};
    buffer.append(numbers, 3);
    buffer.append(numbers, 2);
    ASSERT_EQ(buffer.getUsed(), 5);
    EXPECT_EQ(buffer.getData()[2], 3);
    EXPECT_EQ(buffer.getData()[4], 2);
}

}  // namespace
