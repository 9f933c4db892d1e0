#include "vexil/net/NetStringList.h"

#include "tests/support/PrintText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vexil::CNetStringList;
using vexil::P;
using vexil::String;

std::vector<std::string> storedBytes(CNetStringList& list) {
    std::vector<std::string> result;
    for (const curl_slist* node = list.getSList(); node; node = node->next) {
        result.emplace_back(node->data);
    }
    return result;
}

std::vector<String> entries(CNetStringList::CIterator& iterator) {
    std::vector<String> result;
    while (iterator.next()) {
        result.push_back(iterator.getEntry());
    }
    return result;
}

std::vector<String> entries(const CNetStringList& list) {
    return entries(*list.createIterator());
}

TEST(NetStringListTest, StartsEmpty) {
    CNetStringList list;
    EXPECT_EQ(list.getSList(), nullptr);
    const P<CNetStringList::CIterator> iterator = list.createIterator();
    EXPECT_EQ(iterator->getEntry(), "");
    EXPECT_FALSE(iterator->next());
    EXPECT_EQ(iterator->getEntry(), "");
    EXPECT_FALSE(iterator->next());
}

TEST(NetStringListTest, KeepsOrderAndDuplicates) {
    CNetStringList list;
    for (const char* entry : {"b", "a", "", "b", " c "}) {
        list.add(entry);
    }
    EXPECT_THAT(storedBytes(list), ElementsAre("b", "a", "", "b", " c "));
    EXPECT_THAT(entries(list), ElementsAre("b", "a", "", "b", " c "));
}

TEST(NetStringListTest, StoresUTF8) {
    CNetStringList list;
    list.add(L"\u00e4\u20ac");
    list.addUTF8("\xf0\x9f\x98\x80");
    EXPECT_THAT(storedBytes(list), ElementsAre("\xc3\xa4\xe2\x82\xac", "\xf0\x9f\x98\x80"));
    EXPECT_THAT(entries(list), ElementsAre(String(L"\u00e4\u20ac"), String("\xf0\x9f\x98\x80")));
}

TEST(NetStringListTest, KeepsEntriesOfAnyLength) {
    CNetStringList list;
    std::vector<std::string> expected;
    for (std::size_t length = 0; length <= 1100; ++length) {
        std::string entry(length, 'x');
        entry += "end";
        list.add(String::fromUTF8(entry));
        expected.push_back(std::move(entry));
    }
    EXPECT_EQ(storedBytes(list), expected);
}

TEST(NetStringListTest, KeepsTheHead) {
    CNetStringList list;
    list.add("first");
    const curl_slist* const head = list.getSList();
    list.add("second");
    EXPECT_EQ(list.getSList(), head);
}

TEST(NetStringListTest, RefusesWhatLibcurlWouldCut) {
    CNetStringList list;
    list.add("before");
    try {
        list.add(std::wstring(L"a\0b", 3));
        FAIL() << "nothing was thrown";
    } catch (const vexil::CInvalidArgError& error) {
        EXPECT_EQ(error.getPlace(), "CNetStringList::add");
        EXPECT_EQ(error.getMessage(), "entry contains a NUL character");
    }
    EXPECT_THAT(entries(list), ElementsAre("before"));
}

TEST(NetStringListTest, HoldsManyEntries) {
    constexpr int count = 200000;
    CNetStringList list;
    for (int i = 0; i < count; ++i) {
        list.add(String::fromInt(i));
    }
    const P<CNetStringList::CIterator> iterator = list.createIterator();
    for (int i = 0; i < count; ++i) {
        ASSERT_TRUE(iterator->next());
        ASSERT_EQ(iterator->getEntry(), String::fromInt(i));
    }
    EXPECT_FALSE(iterator->next());
}

TEST(NetStringListTest, IteratorStaysBehindTheLastEntry) {
    CNetStringList list;
    list.add("only");
    const P<CNetStringList::CIterator> iterator = list.createIterator();
    EXPECT_EQ(iterator->getEntry(), "");
    EXPECT_TRUE(iterator->next());
    EXPECT_EQ(iterator->getEntry(), "only");
    EXPECT_FALSE(iterator->next());
    EXPECT_EQ(iterator->getEntry(), "");
    EXPECT_FALSE(iterator->next());
}

TEST(NetStringListTest, ResetGoesBeforeTheFirstEntryFromAnywhere) {
    CNetStringList list;
    list.add("1");
    list.add("2");
    list.add("3");
    for (int steps = 0; steps <= 4; ++steps) {
        const P<CNetStringList::CIterator> iterator = list.createIterator();
        for (int i = 0; i < steps; ++i) {
            iterator->next();
        }
        iterator->reset();
        EXPECT_THAT(entries(*iterator), ElementsAre("1", "2", "3")) << steps;
    }
}

TEST(NetStringListTest, IteratorKeepsTheHeadItWasMadeWith) {
    CNetStringList list;
    const P<CNetStringList::CIterator> ofEmpty = list.createIterator();
    list.add("1");
    EXPECT_FALSE(ofEmpty->next());
    ofEmpty->reset();
    EXPECT_FALSE(ofEmpty->next());

    const P<CNetStringList::CIterator> ofOne = list.createIterator();
    list.add("2");
    EXPECT_THAT(entries(*ofOne), ElementsAre("1", "2"));
}

TEST(NetStringListTest, IteratorsAreIndependent) {
    CNetStringList list;
    list.add("1");
    list.add("2");
    const P<CNetStringList::CIterator> first = list.createIterator();
    const P<CNetStringList::CIterator> second = list.createIterator();
    EXPECT_TRUE(first->next());
    EXPECT_TRUE(first->next());
    EXPECT_TRUE(second->next());
    EXPECT_EQ(first->getEntry(), "2");
    EXPECT_EQ(second->getEntry(), "1");
}

TEST(NetStringListTest, IteratorTakesAForeignList) {
    curl_slist second{const_cast<char*>("b"), nullptr};
    curl_slist first{const_cast<char*>("a"), &second};
    CNetStringList::CIterator iterator(&first);
    EXPECT_THAT(entries(iterator), ElementsAre("a", "b"));
}

TEST(NetStringListTest, IteratorRefusesBytesThatAreNoUTF8) {
    curl_slist second{const_cast<char*>("b"), nullptr};
    curl_slist first{const_cast<char*>("\xff"), &second};
    CNetStringList::CIterator iterator(&first);
    EXPECT_THROW(iterator.next(), vexil::CError);
    EXPECT_TRUE(iterator.next());
    EXPECT_EQ(iterator.getEntry(), "b");
}

TEST(NetStringListTest, CopiesAreDeep) {
    CNetStringList original;
    original.add("1");
    original.add("2");
    CNetStringList copy(original);
    EXPECT_NE(copy.getSList(), original.getSList());
    copy.add("3");
    original.add("4");
    EXPECT_THAT(entries(copy), ElementsAre("1", "2", "3"));
    EXPECT_THAT(entries(original), ElementsAre("1", "2", "4"));
}

TEST(NetStringListTest, AssignmentsAreDeep) {
    CNetStringList original;
    original.add("1");
    CNetStringList assigned;
    assigned.add("old");
    assigned = original;
    original.add("2");
    assigned.add("3");
    EXPECT_THAT(entries(assigned), ElementsAre("1", "3"));
    EXPECT_THAT(entries(original), ElementsAre("1", "2"));

    assigned = *&assigned;
    assigned.add("4");
    EXPECT_THAT(entries(assigned), ElementsAre("1", "3", "4"));

    assigned = CNetStringList();
    EXPECT_THAT(entries(assigned), IsEmpty());
    assigned.add("5");
    EXPECT_THAT(entries(assigned), ElementsAre("5"));
}

TEST(NetStringListTest, IsCounted) {
    const P<CNetStringList> list = new CNetStringList;
    list->add("1");
    const P<vexil::IBase> base = list;
    EXPECT_EQ(base.dynamicCast<CNetStringList>(), list.get());
}

}  // namespace
