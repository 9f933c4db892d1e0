// A debug build aborts if an object is destroyed too early.
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

}  // namespace

#endif
