// How the system treats a wake-up descriptor.
#include "zet/WakeUp.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <iterator>

namespace {

using zet::CWakeUp;

int countDescriptors() {
    const std::filesystem::directory_iterator begin("/proc/self/fd");
    return static_cast<int>(std::distance(begin, std::filesystem::directory_iterator()));
}

TEST(WakeUpDescriptorTest, IsNotInheritedByOtherPrograms) {
    const CWakeUp wakeUp;
    EXPECT_EQ(fcntl(static_cast<int>(wakeUp.getDescriptor()), F_GETFD), FD_CLOEXEC);
}

TEST(WakeUpDescriptorTest, DoesNotBlockAThreadThatClearsIt) {
    const CWakeUp wakeUp;
    EXPECT_NE(fcntl(static_cast<int>(wakeUp.getDescriptor()), F_GETFL) & O_NONBLOCK, 0);
}

TEST(WakeUpDescriptorTest, IsTheOnlyOneAndIsClosedWithItsObject) {
    const int before = countDescriptors();
    {
        CWakeUp wakeUp;
        EXPECT_EQ(countDescriptors(), before + 1);
        wakeUp.wake();
        wakeUp.clear();
        EXPECT_TRUE(wakeUp.canSelectNewDescriptors());
        EXPECT_EQ(countDescriptors(), before + 1) << "a probe stays open";
    }
    EXPECT_EQ(countDescriptors(), before);
}

}  // namespace
