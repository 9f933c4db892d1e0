#include "vexil/net/NetHeaders.h"

#include "tests/support/PrintText.h"
#include "vexil/net/GlobalInit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using vexil::CInvalidArgError;
using vexil::CNetHeaders;
using vexil::CNetStringList;
using vexil::P;
using vexil::String;
using vexil::TMap;

std::vector<std::string> lines(CNetHeaders& headers) {
    std::vector<std::string> result;
    for (const curl_slist* node = headers.getSList(); node; node = node->next) {
        result.emplace_back(node->data);
    }
    return result;
}

template <class Function>
void expectInvalid(const char* message, Function function) {
    try {
        function();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const CInvalidArgError& error) {
        EXPECT_EQ(error.getPlace(), "CNetHeaders::splitEntry");
        EXPECT_EQ(error.getMessage(), message);
    }
}

TEST(NetHeadersTest, StartsLibcurl) {
    // No earlier test in this program creates a header list.
    const CNetHeaders headers;
    EXPECT_EQ(vexil::CGlobalInit::globalInstanceGuard().getState(), zet::CSafeGlobalGuard::Constructed);
}

TEST(NetHeadersTest, StartsEmpty) {
    CNetHeaders headers;
    EXPECT_EQ(headers.getSList(), nullptr);
    const P<CNetHeaders::CIterator> iterator = headers.createIterator();
    EXPECT_FALSE(iterator->next());
    EXPECT_EQ(iterator->getName(), "");
    EXPECT_EQ(iterator->getValue(), "");
}

TEST(NetHeadersTest, AddTrimsBothEndsOfNameAndValue) {
    CNetHeaders headers;
    headers.add("  X-Test  ", " a b ");
    headers.add("\t\r\nX-Other\v\f ", "\r\n\tc\t d\v\f\r\n");
    EXPECT_THAT(lines(headers), ElementsAre("X-Test: a b", "X-Other: c\t d"));
}

TEST(NetHeadersTest, AddChecksNothing) {
    CNetHeaders headers;
    headers.add("A", "1");
    headers.add("A", "1");
    headers.add("A", "");
    headers.add("", "no name");
    headers.add("with: colon", "x");
    headers.add(L"Umlaut-\u00e4", L"\u20ac");
    EXPECT_THAT(lines(headers), ElementsAre("A: 1", "A: 1", "A: ", ": no name", "with: colon: x",
                                            "Umlaut-\xc3\xa4: \xe2\x82\xac"));
}

TEST(NetHeadersTest, AddsLinesOfEachLength) {
    for (const std::size_t length : {200u, 255u, 256u, 257u, 508u, 509u, 510u, 511u, 512u, 513u, 70000u}) {
        const std::string value(length, 'v');
        CNetHeaders headers;
        headers.add("N", String::fromUTF8(value));
        headers.add("N", String::fromUTF8(value + "\xC3\xA4"));
        EXPECT_THAT(lines(headers), ElementsAre("N: " + value, "N: " + value + "\xC3\xA4")) << length;
    }
}

TEST(NetHeadersTest, AddRefusesNUL) {
    CNetHeaders headers;
    EXPECT_THROW(headers.add("N", String(std::wstring_view(L"a\0b", 3))), CInvalidArgError);
    EXPECT_THROW(headers.add("N", String(std::wstring_view(L"\u00e4\0b", 3))), CInvalidArgError);
    EXPECT_THAT(lines(headers), IsEmpty());
}

TEST(NetHeadersTest, IteratesInOrderAndAgainAfterReset) {
    CNetHeaders headers;
    headers.add("Name", "value");
    headers.add("Empty", "");
    headers.add("X-Time", "12:30");
    const P<CNetHeaders::CIterator> iterator = headers.createIterator();
    EXPECT_EQ(iterator->getName(), "");
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(iterator->next());
        EXPECT_EQ(iterator->getName(), "Name");
        EXPECT_EQ(iterator->getValue(), "value");
        ASSERT_TRUE(iterator->next());
        EXPECT_EQ(iterator->getName(), "Empty");
        EXPECT_EQ(iterator->getValue(), "");
        ASSERT_TRUE(iterator->next());
        EXPECT_EQ(iterator->getName(), "X-Time");
        EXPECT_EQ(iterator->getValue(), "12:30");
        EXPECT_FALSE(iterator->next());
        EXPECT_EQ(iterator->getName(), "");
        EXPECT_EQ(iterator->getValue(), "");
        EXPECT_FALSE(iterator->next());
        iterator->reset();
    }
    EXPECT_TRUE(iterator->next());
    iterator->reset();
    EXPECT_TRUE(iterator->next());
    EXPECT_EQ(iterator->getName(), "Name");
}

TEST(NetHeadersTest, IteratorThrowsAtAMalformedLineAndGoesOn) {
    CNetStringList list;
    list.add("no colon");
    list.add(": no name");
    list.add("A:1");
    CNetHeaders::CIterator iterator(list.createIterator());
    expectInvalid("entry contains no ':'", [&] { iterator.next(); });
    expectInvalid("name is empty", [&] { iterator.next(); });
    EXPECT_TRUE(iterator.next());
    EXPECT_EQ(iterator.getName(), "A");
    EXPECT_EQ(iterator.getValue(), "1");
}

struct SplitCase {
    const wchar_t* entry;
    const wchar_t* name;
    const wchar_t* value;
};

TEST(NetHeadersTest, SplitsAtTheFirstColonAndTrims) {
    const SplitCase cases[] = {
        {L"Name: value", L"Name", L"value"},
        {L"Name:value", L"Name", L"value"},
        {L"Name:", L"Name", L""},
        {L"Name: ", L"Name", L""},
        {L"Name:\r\n", L"Name", L""},
        {L" \t Name \t : \t value \r\n", L"Name", L"value"},
        {L"X-Time: 12:30", L"X-Time", L"12:30"},
        {L"A::", L"A", L":"},
        {L"A: :b", L"A", L":b"},
        {L"two words: a b", L"two words", L"a b"},
        {L"MiXeD: VaLuE", L"MiXeD", L"VaLuE"},
        // A no-break space is not ASCII white space, and stays.
        {L"A: \u00a0b\u00a0", L"A", L"\u00a0b\u00a0"},
    };
    for (const SplitCase& c : cases) {
        String name = "old";
        String value = "old";
        CNetHeaders::splitEntry(String(c.entry), name, value);
        EXPECT_EQ(name, c.name) << String(c.entry).toUTF8();
        EXPECT_EQ(value, c.value) << String(c.entry).toUTF8();

        const auto [nameView, valueView] = CNetHeaders::splitEntry(std::wstring_view(c.entry));
        EXPECT_EQ(nameView, c.name);
        EXPECT_EQ(valueView, c.value);
    }
}

TEST(NetHeadersTest, SplitRefusesMalformedEntries) {
    String name;
    String value;
    for (const char* entry : {"", " ", "\r\n", "Name", "Name value\r\n"}) {
        expectInvalid("entry contains no ':'", [&] { CNetHeaders::splitEntry(String(entry), name, value); });
    }
    for (const char* entry : {":", ": value", " : value", "\t:", "\r\n:\r\n", "::"}) {
        expectInvalid("name is empty", [&] { CNetHeaders::splitEntry(String(entry), name, value); });
    }
}

TEST(NetHeadersTest, SplitsEveryBeginningOfALine) {
    const String whole = "X-Name : a:b \r\n";
    constexpr std::size_t colon = 7;
    for (std::size_t length = 0; length <= whole.length(); ++length) {
        const String line = whole.substr(0, length);
        String name;
        String value;
        if (length <= colon) {
            expectInvalid("entry contains no ':'", [&] { CNetHeaders::splitEntry(line, name, value); });
        } else {
            CNetHeaders::splitEntry(line, name, value);
            EXPECT_EQ(name, "X-Name") << length;
            EXPECT_EQ(value, String("a:b").substr(0, length < 10 ? 0 : length - 9)) << length;
        }
    }
}

TEST(NetHeadersTest, SplitMayWriteOverItsArgument) {
    String entry = "Name: value";
    String value;
    CNetHeaders::splitEntry(entry, entry, value);
    EXPECT_EQ(entry, "Name");
    EXPECT_EQ(value, "value");

    entry = "Name: value";
    String name;
    CNetHeaders::splitEntry(entry, name, entry);
    EXPECT_EQ(name, "Name");
    EXPECT_EQ(entry, "value");
}

TEST(NetHeadersTest, MapHasLowerCaseNamesAndJoinedValues) {
    CNetHeaders headers;
    headers.add("Via", "a");
    headers.add("X-One", "One");
    headers.add("VIA", "b");
    headers.add("via", "c d");
    TMap<String, String> map;
    headers.fillMap(map);
    EXPECT_THAT(map, ElementsAre(Pair("via", "a,b,c d"), Pair("x-one", "One")));
}

TEST(NetHeadersTest, MapJoinsEmptyValuesToo) {
    CNetHeaders headers;
    headers.add("A", "");
    headers.add("A", "a");
    headers.add("B", "b");
    headers.add("B", "");
    headers.add("C", "");
    headers.add("C", "");
    TMap<String, String> map;
    headers.fillMap(map);
    EXPECT_THAT(map, ElementsAre(Pair("a", ",a"), Pair("b", "b,"), Pair("c", ",")));
}

TEST(NetHeadersTest, MapKeepsWhatItHolds) {
    CNetHeaders headers;
    headers.add("A", "new");
    TMap<String, String> map{{"a", "old"}, {"A", "kept"}, {"z", "kept"}};
    headers.fillMap(map);
    EXPECT_THAT(map, ElementsAre(Pair("A", "kept"), Pair("a", "old,new"), Pair("z", "kept")));
    headers.fillMap(map);
    EXPECT_EQ(map["a"], "old,new,new");
}

TEST(NetHeadersTest, MapIsFilledUpToTheFirstMalformedLine) {
    CNetHeaders headers;
    headers.add("A", "1");
    headers.add("", "x");
    headers.add("B", "2");
    TMap<String, String> map;
    expectInvalid("name is empty", [&] { headers.fillMap(map); });
    EXPECT_THAT(map, ElementsAre(Pair("a", "1")));
}

TEST(NetHeadersTest, MapOfAnEmptyListIsUnchanged) {
    TMap<String, String> map;
    CNetHeaders().fillMap(map);
    EXPECT_THAT(map, IsEmpty());
}

TEST(NetHeadersTest, CopiesAreDeep) {
    CNetHeaders original;
    original.add("A", "1");
    CNetHeaders copy(original);
    CNetHeaders assigned;
    assigned.add("Old", "x");
    assigned = original;
    original.add("B", "2");
    copy.add("C", "3");
    assigned.add("D", "4");
    EXPECT_THAT(lines(original), ElementsAre("A: 1", "B: 2"));
    EXPECT_THAT(lines(copy), ElementsAre("A: 1", "C: 3"));
    EXPECT_THAT(lines(assigned), ElementsAre("A: 1", "D: 4"));
}

}  // namespace
