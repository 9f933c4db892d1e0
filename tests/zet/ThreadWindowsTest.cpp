// The name of a thread in Windows.
#include "zet/Thread.h"

#include <gtest/gtest.h>

#include <windows.h>

// In Windows 10 and later. The headers of MinGW do not declare it yet.
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

/// The name that the system shows for a thread with this name.
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

TEST(ThreadNameTest, IsTheOneOfTheSystemByDefault) {
    EXPECT_EQ(systemNameOf(""), systemName());
}

TEST(ThreadNameTest, DoesNotRenameTheStartingThread) {
    const String before = systemName();
    systemNameOf("backup");
    EXPECT_EQ(systemName(), before);
}

}  // namespace
