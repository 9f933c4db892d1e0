// What Windows sees of a thread.
#include "zet/Thread.h"

#include <gtest/gtest.h>

#include <windows.h>

// Of Windows 10 and later; the headers of MinGW do not have it yet.
extern "C" __declspec(dllimport) HRESULT WINAPI GetThreadDescription(HANDLE thread, PWSTR* description);

namespace {

using zet::CThread;
using zet::String;

/// The description of the calling thread.
String systemName() {
    wchar_t* text = nullptr;
    EXPECT_TRUE(SUCCEEDED(GetThreadDescription(GetCurrentThread(), &text)));
    const String name(text);
    LocalFree(text);
    return name;
}

class NamedThread : public CThread {
public:
    explicit NamedThread(const String& name) { setThreadName(name); }
    ~NamedThread() override { stop(true); }

    String seen;

protected:
    void runImpl() override { seen = systemName(); }
};

/// What the system calls a thread of this name.
String systemNameOf(const String& name) {
    NamedThread thread(name);
    thread.start();
    thread.stop(true);
    EXPECT_EQ(thread.getThreadName(), name);
    return thread.seen;
}

TEST(ThreadNameTest, IsSeenByTheSystemAsAWhole) {
    for (const char* name : {"backup", "vexil.asyncNetRequest", "f\xc3\xbcnf", "\xf0\x9f\x98\x80"}) {
        EXPECT_EQ(systemNameOf(name), String(name));
    }
}

TEST(ThreadNameTest, IsTheSystemsOwnWithoutOne) {
    EXPECT_EQ(systemNameOf(""), systemName());
}

TEST(ThreadNameTest, LeavesTheStartingThreadAlone) {
    const String before = systemName();
    systemNameOf("backup");
    EXPECT_EQ(systemName(), before);
}

}  // namespace
