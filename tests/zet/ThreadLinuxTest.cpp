// What the system sees of a thread, and what it may refuse.
#include "zet/Thread.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <pthread.h>
#include <string>
#include <utility>

namespace {

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

/// What the system calls a thread of this name.
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

TEST(ThreadNameTest, IsCutToFifteenBytesAtACharacterBorder) {
    EXPECT_EQ(systemNameOf("vexil.asyncNetRequest"), "vexil.asyncNetR");
    EXPECT_EQ(systemNameOf("1234567890123456"), "123456789012345");
    // The 15th byte ends a character, lies within one, begins one.
    EXPECT_EQ(systemNameOf(String::fromUTF8("1234567890123\xc3\xbcz")), "1234567890123\xc3\xbc");
    EXPECT_EQ(systemNameOf(String::fromUTF8("12345678901234\xc3\xbcz")), "12345678901234");
    EXPECT_EQ(systemNameOf(String::fromUTF8("123456789012\xe2\x82\xac!")), "123456789012\xe2\x82\xac");
    EXPECT_EQ(systemNameOf(String::fromUTF8("1234567890123\xe2\x82\xac")), "1234567890123");
    EXPECT_EQ(systemNameOf(String::fromUTF8("123456789012\xf0\x9f\x98\x80")), "123456789012");
}

TEST(ThreadNameTest, IsTheSystemsOwnWithoutOne) {
    EXPECT_EQ(systemNameOf(""), systemName());
}

TEST(ThreadNameTest, LeavesTheStartingThreadAlone) {
    const std::string before = systemName();
    systemNameOf("backup");
    EXPECT_EQ(systemName(), before);
}

/// The system gives no thread while this exists: none has room for such a stack.
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

TEST(ThreadStartTest, TellsThatTheSystemHasNoMoreThreads) {
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
    EXPECT_EQ(thread.seen, "backup") << "a start that failed may be tried again";
}

}  // namespace
