// A debug build aborts if an object is destroyed too early, or otherwise than by its last P.
#include "zet/Pointer.h"

#include <gtest/gtest.h>

#include <memory>

#ifndef NDEBUG

namespace {

using zet::P;

class CCounted : public virtual zet::CBase {
public:
    ~CCounted() override = default;
};

const char* const message = "destroyed while a P refers to it";

TEST(PointerDeathTest, AnObjectThatAUniquePtrDeletesFirst) {
    EXPECT_DEATH(
        {
            auto owner = std::make_unique<CCounted>();
            const P<CCounted> pointer = owner.get();
            owner = nullptr;
        },
        message);
}

TEST(PointerDeathTest, AnObjectThatASharedPtrDeletesFirst) {
    EXPECT_DEATH(
        {
            auto owner = std::make_shared<CCounted>();
            const P<CCounted> pointer = owner.get();
            owner = nullptr;
        },
        message);
}

TEST(PointerDeathTest, AnObjectOnTheStackThatGoesFirst) {
    EXPECT_DEATH(
        {
            P<CCounted> pointer;
            const CCounted object{};
            pointer = const_cast<CCounted*>(&object);
        },
        message);
}

const char* const otherwise = "destroyed otherwise than by its last P";

TEST(PointerDeathTest, AnObjectThatDeleteDestroys) {
    EXPECT_DEATH(delete new CCounted, otherwise);
}

TEST(PointerDeathTest, AnObjectThatAUniquePtrDestroys) {
    EXPECT_DEATH(std::make_unique<CCounted>(), otherwise);
}

TEST(PointerDeathTest, AnObjectThatDeleteDestroysAfterAPHasReleasedIt) {
    EXPECT_DEATH(
        {
            auto* const object = new CCounted;
            object->addRef();
            { const P<CCounted> pointer = object; }
            delete object;
        },
        message);
}

/// Keeps a pointer to itself at its destruction.
class CEscaping : public virtual zet::CBase {
public:
    explicit CEscaping(P<CEscaping>& kept) : m_kept(kept) {}
    ~CEscaping() override { m_kept = this; }

private:
    P<CEscaping>& m_kept;
};

TEST(PointerDeathTest, AnObjectWhoseDestructorLeavesAPointerToIt) {
    EXPECT_DEATH(
        {
            P<CEscaping> kept;
            const P<CEscaping> pointer = new CEscaping(kept);
        },
        message);
}

class CFailing : public CCounted {
public:
    CFailing() { throw 1; }
};

/// Makes an object in its destructor, the constructor of which fails.
class CTrying {
public:
    ~CTrying() { EXPECT_THROW(delete new CFailing, int); }
};

TEST(PointerDestructionTest, AFailedConstructorIsNoMistake) {
    EXPECT_THROW(delete new CFailing, int);
    const auto failTwice = [] {
        const CTrying trying;
        throw 2;
    };
    EXPECT_THROW(failTwice(), int);
}

TEST(PointerDestructionTest, ObjectsWithoutNewMayEndAnyhow) {
    const CCounted onTheStack;
    const auto shared = std::make_shared<CCounted>();
    const std::unique_ptr<CCounted[]> array(new CCounted[2]);
    EXPECT_NE(array, nullptr);
}

}  // namespace

#endif
