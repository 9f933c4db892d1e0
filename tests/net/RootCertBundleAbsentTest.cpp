// Runs with a copy of the library that has no resources.
#include "tests/support/PrintText.h"
#include "vexil/net/RootCertBundle.h"

#include <gtest/gtest.h>

namespace {

TEST(RootCertBundleAbsentTest, AMissingBundleIsAnError) {
    try {
        const auto path = vexil::getRootCertBundlePath();
        FAIL() << "found " << path.getText().toUTF8();
    } catch (const vexil::CError& error) {
        EXPECT_EQ(error.getMessage(),
                  "INTERNAL ERROR: Root certificate bundle not found in application resources.");
        EXPECT_EQ(error.getDomain(), "");
        EXPECT_EQ(error.getCode(), -1);
        EXPECT_TRUE(error.getProps().isEmpty());
        EXPECT_EQ(error.getInnerError(), nullptr);
    }
}

}  // namespace
