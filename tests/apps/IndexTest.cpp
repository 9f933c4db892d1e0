#include "apps/vexil/index/IndexReader.h"
#include "apps/vexil/index/IndexWriter.h"
#include "tests/support/PrintText.h"
#include "tests/support/WhatOf.h"
#include "zet/BufferStream.h"
#include "zet/MemoryInStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vexil::app {

namespace {

using ::testing::HasSubstr;
using vexil_test::whatOf;
using Entries = std::vector<CIndexEntry>;

std::string bytesOf(const zet::CBufferStream& out) {
    const auto buffer = out.getBuffer();
    return {buffer->begin(), buffer->end()};
}

std::string compress(const std::string& text) {
    zet::CBufferStream out;
    CGzipWriter writer(out);
    writer.write(text);
    writer.finish();
    return bytesOf(out);
}

std::string write(const Entries& entries) {
    zet::CBufferStream out;
    CIndexWriter writer(out);
    for (const CIndexEntry& entry : entries) {
        writer.add(entry);
    }
    writer.finish();
    return bytesOf(out);
}

Entries read(const std::string& bytes) {
    zet::CMemoryInStream in(bytes.data(), static_cast<int>(bytes.size()));
    CIndexReader reader(in);
    Entries entries;
    while (const auto entry = reader.findNext()) {
        entries.push_back(*entry);
    }
    return entries;
}

/// The lines of an index.
std::string expand(const std::string& bytes) {
    zet::CMemoryInStream in(bytes.data(), static_cast<int>(bytes.size()));
    CGzipReader reader(in);
    std::string text;
    for (std::string line; reader.readLine(line, 1'000'000);) {
        text += line + "\n";
    }
    return text;
}

/// What a reader says of an index with this line as its only entry.
std::string problemOf(const std::string& line) {
    return whatOf([&] { read(compress("{\"vexil_index\":1}\n" + line + "\n{\"entries\":1}\n")); });
}

CIndexEntry file(const std::string& path) {
    CIndexEntry entry;
    entry.path = path;
    entry.size = 5;
    return entry;
}

CIndexEntry completeFile() {
    CIndexEntry entry = file("photos/a b.jpg");
    entry.size = 4'404'019'000'000;
    entry.time = CFileTime{1'763'899'200, 123'456'789};
    entry.mode = 04755;
    entry.owner = CEntryOwner{1000, 100};
    entry.eTag = "\"900150983cd24fb0d6963f7d28e17f72\"";
    return entry;
}

CIndexEntry link(const std::string& path, const std::string& target) {
    CIndexEntry entry;
    entry.path = path;
    entry.kind = EntryKind::Link;
    entry.target = target;
    return entry;
}

TEST(IndexTest, LinesAreJSONThatOtherProgramsRead) {
    CIndexEntry folder;
    folder.path = "photos";
    folder.kind = EntryKind::Folder;
    folder.mode = 0700;
    EXPECT_EQ(expand(write({folder, completeFile(), link("l", "../x")})),
              "{\"vexil_index\":1}\n"
              "{\"path\":\"photos\",\"type\":\"folder\",\"mode\":\"0700\"}\n"
              "{\"path\":\"photos/a b.jpg\",\"type\":\"file\",\"size\":4404019000000,"
              "\"mtime\":\"1763899200.123456789\",\"mode\":\"4755\",\"uid\":1000,\"gid\":100,"
              "\"etag\":\"\\\"900150983cd24fb0d6963f7d28e17f72\\\"\"}\n"
              "{\"path\":\"l\",\"type\":\"link\",\"target\":\"../x\"}\n"
              "{\"entries\":3}\n");
}

TEST(IndexTest, EachEntryIsReadBack) {
    CIndexEntry folder;
    folder.path = "empty";
    folder.kind = EntryKind::Folder;
    folder.time = CFileTime{-1, 5};
    const Entries entries{completeFile(), folder, link("a/l", "/etc/x"), file("\xC3\xA4\"\\\n\x01")};
    EXPECT_EQ(read(write(entries)), entries);
}

TEST(IndexTest, AnIndexMayBeEmpty) {
    EXPECT_EQ(read(write({})), Entries());
}

TEST(IndexTest, NamesMayBeAnyBytes) {
    const Entries entries{file("caf\xE9/\xFF\xFE"), link("l\x80", "\xF0\x9F")};
    const std::string index = write(entries);
    EXPECT_EQ(read(index), entries);
    EXPECT_THAT(expand(index), HasSubstr("{\"path_bytes\":\"636166e92ffffe\",\"type\":\"file\""));
}

TEST(IndexTest, FieldsThatAReaderDoesNotKnowAreIgnored) {
    EXPECT_EQ(read(compress("{\"vexil_index\":1,\"made\":\"today\"}\n"
                            "{\"path\":\"f\",\"type\":\"file\",\"size\":5,\"colour\":[1]}\n"
                            "{\"entries\":1,\"x\":null}\n")),
              Entries{file("f")});
}

TEST(IndexTest, ANewerFormatIsRefused) {
    EXPECT_EQ(whatOf([] { read(compress("{\"vexil_index\":2}\n{\"entries\":0}\n")); }),
              "The index was written by a newer version of this program.");
}

TEST(IndexTest, OtherContentIsNoIndex) {
    for (const char* text : {"{}\n", "[]\n", "hello\n", "{\"vexil_index\":\"1\"}\n", "\n"}) {
        EXPECT_EQ(whatOf([&] { read(compress(text)); }),
                  "The index cannot be read, line 1: this is no index.")
            << text;
    }
    EXPECT_EQ(whatOf([] { read(compress("")); }), "The index cannot be read, line 1: it is empty.");
    EXPECT_EQ(whatOf([] { read(""); }),
              "The index cannot be read, line 1: the compressed bytes end too early.");
    EXPECT_THAT(whatOf([] { read("{\"vexil_index\":1}\n{\"entries\":0}\n"); }),
                HasSubstr("the compressed bytes are damaged"));
}

TEST(IndexTest, EachShortenedIndexIsRefused) {
    const std::string index = write({completeFile(), file("b"), file("c")});
    for (std::size_t length = 0; length < index.size(); ++length) {
        EXPECT_THROW(read(index.substr(0, length)), CError) << length;
    }
}

TEST(IndexTest, NoChangedBitChangesAnEntry) {
    const Entries entries{completeFile(), file("b"), file("c")};
    const std::string index = write(entries);
    int refusals = 0;
    for (std::size_t position = 0; position < index.size(); ++position) {
        for (int bit = 0; bit < 8; ++bit) {
            std::string changed = index;
            changed[position] = static_cast<char>(changed[position] ^ (1 << bit));
            try {
                // Some bits of gzip say nothing of the content.
                EXPECT_EQ(read(changed), entries) << position << "/" << bit;
            } catch (const CError&) {
                ++refusals;
            }
        }
    }
    EXPECT_GT(refusals, static_cast<int>(index.size()) * 6);
}

TEST(IndexTest, TheNumberOfEntriesMustBeTrue) {
    const std::string line = "{\"path\":\"f\",\"type\":\"file\",\"size\":5}\n";
    EXPECT_EQ(whatOf([&] { read(compress("{\"vexil_index\":1}\n" + line + "{\"entries\":2}\n")); }),
              "The index cannot be read, line 3: it has 1 entries, but its last line says 2.");
    EXPECT_EQ(whatOf([&] { read(compress("{\"vexil_index\":1}\n{\"entries\":0}\n" + line)); }),
              "The index cannot be read, line 3: the last line is followed by others.");
    EXPECT_EQ(whatOf([&] { read(compress("{\"vexil_index\":1}\n" + line)); }),
              "The index cannot be read, line 3: its last line is missing.");
}

TEST(IndexTest, APathThatLeadsOutOfTheFolderIsRefused) {
    for (const char* path :
         {"", "/", "/etc/passwd", "..", "a/..", "../a", "a/../b", ".", "a/./b", "a//b", "a/", "a\\u0000b"}) {
        EXPECT_THAT(problemOf(std::string("{\"path\":\"") + path + "\",\"type\":\"file\",\"size\":5}"),
                    HasSubstr("The index cannot be read, line 2: the path "))
            << path;
    }
    EXPECT_THAT(problemOf("{\"path_bytes\":\"2e2e\",\"type\":\"file\",\"size\":5}"),
                HasSubstr("the path is not one within the backup"));
}

TEST(IndexTest, WrongFieldsAreNamed) {
    const std::string begin = "{\"path\":\"f\",\"type\":\"file\",\"size\":5,";
    EXPECT_THAT(problemOf(begin + "\"mtime\":\"soon\"}"), HasSubstr("the time is no number of seconds"));
    EXPECT_THAT(problemOf(begin + "\"mode\":\"8\"}"), HasSubstr("the mode is no octal number"));
    EXPECT_THAT(problemOf(begin + "\"mode\":\"10000\"}"), HasSubstr("the mode is no octal number"));
    EXPECT_THAT(problemOf(begin + "\"mode\":\"-1\"}"), HasSubstr("the mode is no octal number"));
    EXPECT_THAT(problemOf(begin + "\"uid\":-1,\"gid\":0}"), HasSubstr("the field 'uid' is no whole number"));
    EXPECT_THAT(problemOf("{\"path\":\"f\",\"type\":\"file\",\"size\":-5}"),
                HasSubstr("the field 'size' is no whole number"));
    EXPECT_THAT(problemOf("{\"path\":\"f\",\"type\":\"file\",\"size\":1.5}"),
                HasSubstr("the field 'size' is no whole number"));
    EXPECT_THAT(problemOf("{\"path\":\"f\",\"type\":\"door\",\"size\":5}"),
                HasSubstr("the type of the entry is unknown"));
    EXPECT_THAT(problemOf("{\"path_bytes\":\"6\",\"type\":\"file\",\"size\":5}"),
                HasSubstr("the hexadecimal digits are not complete"));
    EXPECT_THAT(problemOf("{\"path_bytes\":\"6x\",\"type\":\"file\",\"size\":5}"),
                HasSubstr("these are no hexadecimal digits"));
    for (const char* target : {"", ",\"target\":\"\"", ",\"target\":\"a\\u0000\""}) {
        EXPECT_THAT(problemOf("{\"path\":\"l\",\"type\":\"link\"" + std::string(target) + "}"),
                    HasSubstr("the link has no usable target"));
    }
    for (const char* line : {"[]", "5", "{\"path\":5,\"type\":\"file\",\"size\":5}", "{\"path\":\"f\"", ""}) {
        EXPECT_THAT(problemOf(line),
                    HasSubstr("The index cannot be read, line 2: it is no line of an index."))
            << line;
    }
}

TEST(IndexTest, AnEndlessLineIsRefused) {
    EXPECT_EQ(whatOf([] { read(compress("{\"vexil_index\":1}\n" + std::string(300'000, ' '))); }),
              "The index cannot be read, line 2: a line is longer than 262144 bytes.");
    // Nor does a deep one need a deep stack.
    EXPECT_THAT(problemOf(std::string(100'000, '[')), HasSubstr("it is no line of an index"));
}

TEST(IndexTest, APathThatIsTooLongIsRefusedBeforeItIsWritten) {
    zet::CBufferStream out;
    CIndexWriter writer(out);
    EXPECT_EQ(whatOf([&] { writer.add(file(std::string(300'000, 'x'))); }),
              "Its path, or the target of the link, is too long for the index.");
    writer.add(file("b"));
    writer.finish();
    EXPECT_EQ(read(bytesOf(out)), Entries{file("b")});
}

}  // namespace

}  // namespace vexil::app
