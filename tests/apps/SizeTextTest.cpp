#include "apps/vexil/base/SizeText.h"

#include <gtest/gtest.h>

namespace vexil::app {

TEST(SizeTextTest, UnitsArePowersOf1024) {
    EXPECT_EQ(parseSize("0"), 0);
    EXPECT_EQ(parseSize("500"), 500);
    EXPECT_EQ(parseSize("1k"), 1024);
    EXPECT_EQ(parseSize("10K"), 10240);
    EXPECT_EQ(parseSize("4M"), 4194304);
    EXPECT_EQ(parseSize("3m"), 3145728);
    EXPECT_EQ(parseSize("1G"), 1073741824);
    EXPECT_EQ(parseSize("1024T"), 1125899906842624);
}

TEST(SizeTextTest, OtherTextsAreRefused) {
    for (const char* text : {"", "k", "-1", "+1", "1.5M", "1 k", " 1", "1kB", "1X", "1kk", "0x10", "1025T",
                             "1125899906842625", "99999999999999999999"}) {
        EXPECT_FALSE(parseSize(text)) << text;
    }
}

}  // namespace vexil::app
