#include "zet/Props.h"

#include <gtest/gtest.h>

namespace {

using zet::CProps;
using zet::String;

std::string described(const CProps& props) {
    std::string text;
    for (const auto& [name, value] : props.getEntries()) {
        text += name.toUTF8() + "=" + value.toUTF8() + ";";
    }
    return text;
}

TEST(PropsTest, IsEmptyAtFirst) {
    const CProps props;
    EXPECT_TRUE(props.isEmpty());
    EXPECT_EQ(props.getCount(), 0);
    EXPECT_TRUE(props.getEntries().empty());
    EXPECT_TRUE(props.getMap().empty());
}

TEST(PropsTest, KeepsTheOrderOfAdding) {
    CProps props;
    props.add("z", "1");
    props.add("a", "2");
    props.add("m", "3");
    EXPECT_EQ(described(props), "z=1;a=2;m=3;");
    EXPECT_EQ(props.getCount(), 3);
    EXPECT_FALSE(props.isEmpty());
}

TEST(PropsTest, ReplacesAValueInItsPlace) {
    CProps props;
    props.add("a", "1");
    props.add("b", "2");
    props.add("a", "3");
    EXPECT_EQ(described(props), "a=3;b=2;");
}

TEST(PropsTest, ComparesNamesExactly) {
    CProps props;
    props.add("name", "1");
    props.add("Name", "2");
    EXPECT_EQ(described(props), "name=1;Name=2;");
    EXPECT_EQ(props.lookup("NAME"), "");
    EXPECT_FALSE(props.has("NAME"));
}

TEST(PropsTest, AddsOnCondition) {
    CProps props;
    props.addCond(false, "a", "1");
    EXPECT_FALSE(props.has("a"));
    props.addCond(true, "a", "2");
    props.addCond(false, "a", "3");
    EXPECT_EQ(described(props), "a=2;");
}

TEST(PropsTest, DistinguishesAnAbsentValueFromAnEmptyOne) {
    CProps props;
    props.add("empty", "");
    EXPECT_EQ(props.lookup("empty"), "");
    EXPECT_EQ(props.lookup("absent"), "");
    EXPECT_TRUE(props.has("empty"));
    EXPECT_FALSE(props.has("absent"));
    EXPECT_EQ(props.getCount(), 1) << "looking up adds nothing";
}

TEST(PropsTest, GivesItsValuesAsAMap) {
    CProps props;
    props.add("z", "1");
    props.add("a", "2");
    const zet::TMap<String, String> expected{{"a", "2"}, {"z", "1"}};
    EXPECT_EQ(props.getMap(), expected);
}

TEST(PropsTest, IsAValue) {
    CProps original;
    original.add("a", "1");
    CProps copy = original;
    copy.add("a", "2");
    copy.add("b", "3");
    EXPECT_EQ(described(original), "a=1;");
    EXPECT_EQ(described(copy), "a=2;b=3;");
}

TEST(PropsTest, AddsItsOwnEntries) {
    CProps props;
    props.add("a", "value");
    for (int i = 0; i < 20; ++i) {
        props.add(String::fromInt(i), props.getEntries().front().second);
    }
    EXPECT_EQ(props.lookup("19"), "value");
}

}  // namespace
