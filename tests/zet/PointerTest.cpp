#include "zet/Pointer.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <vector>

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

TEST_F(PointerTest, MakesAnObject) {
    {
        const P<CHolder> holder = zet::make<CHolder>(zet::make<CCounted>());
        EXPECT_EQ(t_living, 2);
    }
    EXPECT_EQ(t_living, 0);
}

/// Refers to itself in its destructor.
class CSelfReferring : public CCounted {
public:
    ~CSelfReferring() override { const P<CCounted> self = this; }
};

TEST_F(PointerTest, DeletesAnObjectOnceThatRefersToItselfInItsDestructor) {
    { const P<CCounted> pointer = new CSelfReferring; }
    EXPECT_EQ(t_living, 0);
}

TEST_F(PointerTest, ComparesAddresses) {
    const P<CDerived> first = new CDerived;
    const P<CDerived> second = new CDerived;
    const P<CCounted> base = first;
    const PC<CCounted> constant = first;
    const P<CCounted> null;
    EXPECT_TRUE(first == base && base == constant && first == first.get() && base.get() == first);
    EXPECT_TRUE(first != second && first != second.get() && first != null && first != nullptr);
    EXPECT_TRUE(null == nullptr && nullptr == null && !null && base);
    EXPECT_EQ(first < second, first.get() < second.get());
    EXPECT_EQ(first < second.get(), first.get() < second.get());
    EXPECT_NE(first < second, second < first);
    std::map<P<CCounted>, int> numbers{{first, 1}, {second, 2}};
    EXPECT_EQ(numbers.at(base), 1);
}

// What is passed as a plain pointer must be the best fit, as for a plain pointer.

char overload(CCounted*) {
    return 'c';
}
char overload(const CCounted*) {
    return 'k';
}
[[maybe_unused]] char overload(const void*) {
    return 'v';
}
[[maybe_unused]] char overload(bool) {
    return 'b';
}

TEST_F(PointerTest, IsPassedAsAPlainPointer) {
    P<CDerived> derived = new CDerived;
    const P<CDerived> same = derived;
    const PC<CDerived> constant = derived;
    EXPECT_EQ(overload(derived), 'c');
    EXPECT_EQ(overload(same), 'c');
    EXPECT_EQ(overload(constant), 'k');
    EXPECT_EQ(overload(zet::make<CDerived>()), 'c');
    CCounted* const object = same;
    EXPECT_EQ(object, same.get());
    const void* const address = same;
    EXPECT_EQ(address, dynamic_cast<void*>(object));
    const bool isSet = same;
    EXPECT_TRUE(isSet);
}

// Only a P may delete the object, and an array is never counted. RefusedCode.cpp has `delete`, which g++ 12
// refuses everywhere instead of making the concept false.

template <class T>
concept CanAdd = requires(T pointer) {
    pointer + 1;
};
template <class T>
concept CanAddTo = requires(T pointer) {
    1 + pointer;
};
template <class T>
concept CanSubtract = requires(T pointer) {
    pointer - 1;
};
template <class T>
concept HasDistance = requires(T pointer) {
    pointer - pointer;
};
template <class T>
concept CanIndex = requires(T pointer) {
    pointer[1];
};
template <class T>
concept CanIncrement = requires(T pointer) {
    ++pointer;
};

static_assert(!CanAdd<P<CCounted>> && !CanAdd<const PC<CCounted>> && CanAdd<CCounted*>);
static_assert(!CanAddTo<P<CCounted>> && CanAddTo<CCounted*>);
static_assert(!CanSubtract<P<CCounted>> && CanSubtract<CCounted*>);
static_assert(!HasDistance<P<CCounted>> && HasDistance<CCounted*>);
static_assert(!CanIndex<P<CCounted>> && !CanIndex<const PC<CCounted>> && CanIndex<CCounted*>);
static_assert(!CanIncrement<P<CCounted>> && CanIncrement<CCounted*>);
static_assert(!std::is_constructible_v<std::unique_ptr<CCounted>, P<CCounted>>);
static_assert(!std::is_constructible_v<std::unique_ptr<const CCounted>, const PC<CCounted>&>);
static_assert(std::is_constructible_v<std::unique_ptr<CCounted>, CCounted*>);
static_assert(!std::is_constructible_v<std::shared_ptr<CCounted>, P<CCounted>>);

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
