#include "zet/ScopeExit.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

namespace {

using zet::TScopeExit;

TEST(ScopeExitTest, CallsTheFunctionOnceAtTheEnd) {
    int calls = 0;
    {
        const TScopeExit guard([&calls] { ++calls; });
        EXPECT_EQ(calls, 0);
    }
    EXPECT_EQ(calls, 1);
}

TEST(ScopeExitTest, CallsTheFunctionAfterAnException) {
    int calls = 0;
    const auto fail = [&calls] {
        const TScopeExit guard([&calls] { ++calls; });
        throw std::runtime_error("within the scope");
    };
    EXPECT_THROW(fail(), std::runtime_error);
    EXPECT_EQ(calls, 1);
}

TEST(ScopeExitTest, DoesNotCallADismissedFunction) {
    int calls = 0;
    {
        TScopeExit guard([&calls] { ++calls; });
        guard.dismiss();
    }
    EXPECT_EQ(calls, 0);
}

TEST(ScopeExitTest, CallsInReverseOrder) {
    int order = 0;
    {
        const TScopeExit second([&order] { order = order * 10 + 2; });
        const TScopeExit first([&order] { order = order * 10 + 1; });
    }
    EXPECT_EQ(order, 12);
}

// A copy would call the function twice.
using Guard = TScopeExit<void (*)()>;
static_assert(!std::is_copy_constructible_v<Guard> && !std::is_move_constructible_v<Guard>);
static_assert(!std::is_copy_assignable_v<Guard>);

}  // namespace
