// The name of a thread in the system, and threads that the system refuses.
#include "tests/support/Deadline.h"
#include "tests/support/FailingAllocations.h"
#include "zet/Thread.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <pthread.h>
#include <string>
#include <utility>

namespace {

using vexil_test::FailingAllocations;
using vexil_test::Shortage;
using zet::CError;
using zet::CThread;
using zet::String;

/// The name of the calling thread.
std::string systemName() {
    std::ifstream file("/proc/thread-self/comm");
    std::string name;
    std::getline(file, name);
    return name;
}

class NamedThread : public CThread {
public:
    explicit NamedThread(const String& name) { setThreadName(name); }
    ~NamedThread() override { stop(true); }

    std::string seen;

protected:
    void runImpl() override { seen = systemName(); }
};

/// The name that the system shows for a thread with this name.
std::string systemNameOf(const String& name) {
    NamedThread thread(name);
    thread.start();
    thread.stop(true);
    EXPECT_EQ(thread.getThreadName(), name);
    return thread.seen;
}

TEST(ThreadNameTest, IsSeenByTheSystem) {
    EXPECT_EQ(systemNameOf("backup"), "backup");
    EXPECT_EQ(systemNameOf("123456789012345"), "123456789012345");
    EXPECT_EQ(systemNameOf(String::fromUTF8("f\xc3\xbcnf")), "f\xc3\xbcnf");
}

TEST(ThreadNameTest, IsCutToFifteenBytesBetweenCharacters) {
    EXPECT_EQ(systemNameOf("vexil.asyncNetRequest"), "vexil.asyncNetR");
    EXPECT_EQ(systemNameOf("1234567890123456"), "123456789012345");
    // The 15th byte is the last byte of a character, in the middle of one, the first byte of one.
    EXPECT_EQ(systemNameOf(String::fromUTF8("1234567890123\xc3\xbcz")), "1234567890123\xc3\xbc");
    EXPECT_EQ(systemNameOf(String::fromUTF8("12345678901234\xc3\xbcz")), "12345678901234");
    EXPECT_EQ(systemNameOf(String::fromUTF8("123456789012\xe2\x82\xac!")), "123456789012\xe2\x82\xac");
    EXPECT_EQ(systemNameOf(String::fromUTF8("1234567890123\xe2\x82\xac")), "1234567890123");
    EXPECT_EQ(systemNameOf(String::fromUTF8("123456789012\xf0\x9f\x98\x80")), "123456789012");
}

TEST(ThreadNameTest, IsTheOneOfTheSystemByDefault) {
    EXPECT_EQ(systemNameOf(""), systemName());
}

TEST(ThreadNameTest, DoesNotRenameTheStartingThread) {
    const std::string before = systemName();
    systemNameOf("backup");
    EXPECT_EQ(systemName(), before);
}

/// The system creates no thread while this object exists, because there is no room for such a stack.
class NoThreads {
public:
    NoThreads() {
        pthread_getattr_default_np(&m_before);
        pthread_attr_t attributes;
        pthread_getattr_default_np(&attributes);
        EXPECT_EQ(pthread_attr_setstacksize(&attributes, std::size_t(1) << 47), 0);
        EXPECT_EQ(pthread_setattr_default_np(&attributes), 0);
        pthread_attr_destroy(&attributes);
    }
    ~NoThreads() {
        pthread_setattr_default_np(&m_before);
        pthread_attr_destroy(&m_before);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    pthread_attr_t m_before;
};

TEST(ThreadStartTest, ReportsThatTheSystemHasNoMoreThreads) {
    const vexil_test::Deadline deadline("a thread that cannot be started is not waited for");
    NamedThread thread("backup");
    {
        const NoThreads none;
        try {
            thread.start();
            ADD_FAILURE() << "the thread was started";
        } catch (const CError& error) {
            EXPECT_EQ(error.getDomain(), "system");
            EXPECT_EQ(error.getCode(), EAGAIN);
            EXPECT_TRUE(error.getMessage().startsWith("Error starting the thread 'backup': "));
        }
        EXPECT_FALSE(thread.isAlive());
        thread.stop(true);
    }
    thread.start();
    thread.stop(true);
    EXPECT_EQ(thread.seen, "backup") << "a failed start can be repeated";
}

/// Starts the thread while the n-th allocation fails. Returns true if one has failed.
bool startWithout(CThread& thread, long n, Shortage shortage) {
    const FailingAllocations failing(n, shortage);
    try {
        thread.start();
    } catch (const std::bad_alloc&) {
        return true;
    }
    return failing.haveFailed();
}

TEST(ThreadStartTest, ReportsThatMemoryHasRunOut) {
    for (const Shortage shortage : {Shortage::One, Shortage::FromHere}) {
        int failures = 0;
        for (long n = 1; n <= 20; ++n) {
            zet::P<NamedThread> thread = new NamedThread("backup");
            const bool hasFailed = startWithout(*thread, n, shortage);
            if (hasFailed) {
                if (thread->isAlive()) {
                    // Not deleted then: the destructor would wait for ever for a thread that does not exist.
                    thread->addRef();
                    FAIL() << "a failed start is taken for a start";
                }
                ++failures;
                thread->start();
            }
            thread->stop(true);
            EXPECT_EQ(thread->seen, "backup") << "a failed start can be repeated";
        }
        EXPECT_GT(failures, 0);
        EXPECT_LT(failures, 20);
    }
}

/// Ends with an error while there is no memory at all.
class StarvedThread : public CThread {
public:
    ~StarvedThread() override { stop(true); }

protected:
    void runImpl() override {
        FailingAllocations::takePart();
        isRunning.set();
        mayEnd.wait(-1);
        throw std::bad_alloc();
    }

public:
    zet::CSignal isRunning;
    zet::CSignal mayEnd;
};

TEST(ThreadEndTest, ByAnErrorNeedsNoMemory) {
    const vexil_test::Deadline deadline("a thread ends without memory");
    StarvedThread thread;
    thread.start();
    thread.isRunning.wait(-1);
    {
        const FailingAllocations failing(1, Shortage::FromHere);
        thread.mayEnd.set();
        thread.stop(true);
    }
    ASSERT_TRUE(thread.getError());
    EXPECT_EQ(thread.getError()->getMessage(), "Out of memory.");
}

}  // namespace
