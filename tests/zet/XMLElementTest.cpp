#include "zet/XMLElement.h"

#include <gtest/gtest.h>

#include <string_view>

using namespace std::string_view_literals;

namespace {

using zet::CXMLElement;
using zet::P;
using zet::String;

TEST(XMLElementTest, HasANameAndNothingElseAtFirst) {
    const CXMLElement element("name");
    EXPECT_EQ(element.getName(), "name");
    EXPECT_TRUE(element.getAttributes().isEmpty());
    EXPECT_EQ(element.getText(), "");
    EXPECT_TRUE(element.getChildren().empty());
}

TEST(XMLElementTest, KeepsAttributesInOrder) {
    zet::CProps attributes;
    attributes.add("z", "1");
    CXMLElement element("name", attributes);
    element.addAttribute("a", "2");
    element.addAttribute("z", "3");
    const auto& entries = element.getAttributes().getEntries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].first, "z");
    EXPECT_EQ(entries[0].second, "3") << "the second value replaces the first and keeps its position";
    EXPECT_EQ(entries[1].first, "a");
}

TEST(XMLElementTest, AcceptsTextsThatAreInvalidInXML) {
    CXMLElement element("name");
    const String text = String::fromUTF8("a\0\x01\xEF\xBF\xBF<&"sv);
    element.setText(text);
    EXPECT_EQ(element.getText(), text);
    element.setText("");
    EXPECT_EQ(element.getText(), "");
}

TEST(XMLElementTest, KeepsChildrenInOrderAndAlive) {
    const P<CXMLElement> parent = new CXMLElement("parent");
    {
        const P<CXMLElement> second = new CXMLElement("second");
        parent->addChild(new CXMLElement("first"));
        parent->addChild(second);
        parent->addChild(second);
    }
    ASSERT_EQ(parent->getChildren().size(), 3u);
    EXPECT_EQ(parent->getChildren()[0]->getName(), "first");
    EXPECT_EQ(parent->getChildren()[1]->getName(), "second");
    EXPECT_EQ(parent->getChildren()[1].get(), parent->getChildren()[2].get());
}

}  // namespace
