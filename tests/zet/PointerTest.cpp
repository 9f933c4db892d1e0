#include "zet/Pointer.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

namespace {

using zet::P;
using zet::PC;

int t_living = 0;

class CCounted : public virtual zet::CBase {
public:
    CCounted() { ++t_living; }
    CCounted(const CCounted& other) : IBase(other), CBase(other) { ++t_living; }
    CCounted& operator=(const CCounted&) = default;
    ~CCounted() override { --t_living; }
};

class CDerived : public CCounted {};

class CThrowing : public CCounted {
public:
    explicit CThrowing(const P<CCounted>&) { throw std::runtime_error("constructor"); }
};

class CHolder : public virtual zet::CBase {
public:
    explicit CHolder(const P<CCounted>& argument) : m_argument(argument) {}
    CCounted& member() { return m_member; }

private:
    P<CCounted> m_argument;
    CCounted m_member;
};

class PointerTest : public testing::Test {
protected:
    void SetUp() override { t_living = 0; }
};

TEST_F(PointerTest, DeletesAHeapObjectWithTheLastPointer) {
    P<CCounted> first = new CCounted;
    {
        const P<CCounted> second = first;
        first = nullptr;
        EXPECT_EQ(t_living, 1);
    }
    EXPECT_EQ(t_living, 0);
}

TEST_F(PointerTest, NeverDeletesAnObjectOnTheStack) {
    CCounted object;
    { const P<CCounted> pointer = &object; }
    { const P<CCounted> again = &object; }
    EXPECT_EQ(t_living, 1);
}

TEST_F(PointerTest, NeverDeletesAMemberOfAHeapObject) {
    const P<CHolder> holder = new CHolder(nullptr);
    { const P<CCounted> pointer = &holder->member(); }
    EXPECT_EQ(t_living, 1);
}

TEST_F(PointerTest, DeletesObjectsThatAreMadeInAConstructorCall) {
    {
        const P<CHolder> holder = new CHolder(new CDerived);
        EXPECT_EQ(t_living, 2);
    }
    EXPECT_EQ(t_living, 0);
}

TEST_F(PointerTest, SurvivesAConstructorThatThrows) {
    EXPECT_THROW(P<CCounted>(new CThrowing(new CCounted)), std::runtime_error);
    EXPECT_EQ(t_living, 0);
    // The memory of the failed object may be used for the next one.
    { const P<CCounted> next = new CCounted; }
    EXPECT_EQ(t_living, 0);
}

TEST_F(PointerTest, NeverDeletesAThrownObject) {
    try {
        throw CDerived();
    } catch (CCounted& caught) {
        { const P<CCounted> pointer = &caught; }
        EXPECT_EQ(t_living, 1);
    }
    EXPECT_EQ(t_living, 0);
}

TEST_F(PointerTest, NeverDeletesAnObjectOfMakeShared) {
    const auto shared = std::make_shared<CCounted>();
    { const P<CCounted> pointer = shared.get(); }
    EXPECT_EQ(t_living, 1);
}

TEST_F(PointerTest, CopyingAnObjectLeavesTheCountsAlone) {
    const P<CCounted> original = new CCounted;
    {
        const P<CCounted> copy = new CCounted(*original);
        *copy = *original;
        EXPECT_EQ(t_living, 2);
    }
    EXPECT_EQ(t_living, 1);
}

TEST_F(PointerTest, ConvertsToBasesAndToConst) {
    P<CDerived> derived = new CDerived;
    const P<CCounted> base = derived;
    const PC<CCounted> constant = base;
    const P<zet::IBase> root = derived;
    EXPECT_EQ(base.get(), derived.get());
    EXPECT_EQ(constant.get(), derived.get());
    EXPECT_EQ(root.dynamicCast<CDerived>().get(), derived.get());
    EXPECT_EQ(root.dynamicCast<CHolder>(), nullptr);
}

class CDeclaredOnly;

struct CHolderOfADeclaredClass {
    P<CDeclaredOnly> pointer;
};

TEST_F(PointerTest, WorksAsAMemberWhereTheClassIsOnlyDeclared) {
    CHolderOfADeclaredClass holder;
    const CHolderOfADeclaredClass copy = holder;
    EXPECT_EQ(copy.pointer, nullptr);
}

}  // namespace
