#include "vexil/net/ServerInfo.h"

#include "tests/support/Latch.h"
#include "tests/support/PrintText.h"
#include "vexil/net/HeaderAssembler.h"

#include <gtest/gtest.h>

#include <thread>
#include <utility>
#include <vector>

namespace {

using vexil::CServerInfo;
using vexil::P;
using vexil::String;
using vexil::TMap;
using vexil_test::Latch;

TMap<String, String> serverHeader(const String& value) {
    return {{"server", value}};
}

TEST(ServerInfoTest, KnowsNothingAtFirst) {
    const CServerInfo info;
    EXPECT_EQ(info.getServerHeader(), "");
    EXPECT_FALSE(info.isGetBroken());
    EXPECT_FALSE(info.isPutBroken());
    EXPECT_FALSE(info.areGetRangesBroken());
}

TEST(ServerInfoTest, RangesAreBrokenOnlyWithVersionsOfBothComponents) {
    const std::pair<const char*, bool> cases[] = {
        {"DAV/2 Python/3.8", true},
        {"Python/3.8 Apache/2.4 DAV/2", true},
        {"DAV/2 (x) Python/3/4", true},
        {"DAV Python/3.8", false},
        {"DAV/ Python/3.8", false},
        {"DAV/2 Python", false},
        {"DAV/2 Python/", false},
        {"Python/3.8", false},
        {"DAV/2", false},
        {"dav/1 Python/3.8", false},
        {"DAV/1 python/3.8", false},
        {"WsgiDAV/1 Python/3.8", false},
        {"DAV/2\tPython/3.8", false},
        {"DAV/2 DAV Python/3.8", false},
        {"nginx/1.22", false},
    };
    for (const auto& [header, isBroken] : cases) {
        CServerInfo info;
        info.updateFromHeaders(serverHeader(header));
        EXPECT_EQ(info.areGetRangesBroken(), isBroken) << header;
        EXPECT_FALSE(info.isGetBroken()) << header;
        EXPECT_FALSE(info.isPutBroken()) << header;
        EXPECT_EQ(info.getServerHeader(), header);
    }
}

TEST(ServerInfoTest, WaitsForAResponseThatNamesItsServer) {
    CServerInfo info;
    info.updateFromHeaders({});
    info.updateFromHeaders({{"Server", "DAV/2 Python/3.8"}, {"via", "x"}});
    info.updateFromHeaders(serverHeader(""));
    EXPECT_EQ(info.getServerHeader(), "");
    EXPECT_FALSE(info.areGetRangesBroken());
    info.updateFromHeaders(serverHeader("DAV/2 Python/3.8"));
    EXPECT_EQ(info.getServerHeader(), "DAV/2 Python/3.8");
    EXPECT_TRUE(info.areGetRangesBroken());
}

TEST(ServerInfoTest, LearnsOnlyFromTheFirstNamedServer) {
    CServerInfo broken;
    broken.updateFromHeaders(serverHeader("DAV/2 Python/3.8"));
    broken.updateFromHeaders(serverHeader("nginx"));
    broken.updateFromHeaders({});
    EXPECT_EQ(broken.getServerHeader(), "DAV/2 Python/3.8");
    EXPECT_TRUE(broken.areGetRangesBroken());

    CServerInfo sound;
    sound.updateFromHeaders(serverHeader("nginx"));
    sound.updateFromHeaders(serverHeader("DAV/2 Python/3.8"));
    EXPECT_EQ(sound.getServerHeader(), "nginx");
    EXPECT_FALSE(sound.areGetRangesBroken());
}

TEST(ServerInfoTest, AServerHeaderOfBlanksCountsAsNamed) {
    CServerInfo info;
    info.updateFromHeaders(serverHeader("  "));
    info.updateFromHeaders(serverHeader("DAV/2 Python/3.8"));
    EXPECT_EQ(info.getServerHeader(), "  ");
    EXPECT_FALSE(info.areGetRangesBroken());
}

void expectBroken(const CServerInfo& info) {
    EXPECT_EQ(info.getServerHeader(), "DAV/2 Python/3.8");
    EXPECT_TRUE(info.areGetRangesBroken());
}

TEST(ServerInfoTest, CopiesAndMovesTakeTheFacts) {
    CServerInfo source;
    source.updateFromHeaders(serverHeader("DAV/2 Python/3.8"));
    expectBroken(CServerInfo(source));
    CServerInfo assigned;
    assigned = source;
    expectBroken(assigned);
    assigned = *&assigned;
    expectBroken(assigned);
    CServerInfo moved(std::move(assigned));
    expectBroken(moved);
    CServerInfo moveAssigned;
    moveAssigned = std::move(moved);
    expectBroken(moveAssigned);
}

TEST(ServerInfoTest, CopiesLearnForThemselves) {
    CServerInfo source;
    CServerInfo copy(source);
    copy.updateFromHeaders(serverHeader("nginx"));
    EXPECT_EQ(source.getServerHeader(), "");
    EXPECT_EQ(copy.getServerHeader(), "nginx");
    copy = source;
    EXPECT_EQ(copy.getServerHeader(), "");
}

template <class Function>
void runAtOnce(int threadCount, Function function) {
    Latch start(threadCount);
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&start, &function, i] {
            start.arriveAndWait();
            function(i);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(ServerInfoTest, ThreadsShareARecord) {
    const P<CServerInfo> info = new CServerInfo;
    runAtOnce(16, [&info](int thread) {
        const bool isBroken = thread % 2 == 0;
        const String mine = (isBroken ? "DAV/2 Python/" : "nginx/") + String::fromInt(thread);
        vexil::CHeaderAssembler assembler;
        assembler.setServerInfoToUpdate(info);
        for (int round = 0; round < 200; ++round) {
            assembler.reset();
            assembler.handleHeaderLine("Server: " + mine + "\r\n");
            assembler.handleHeaderLine("\r\n");
            EXPECT_FALSE(info->isGetBroken());
            EXPECT_FALSE(info->isPutBroken());
            // Header and flag belong together, in every order of the threads.
            EXPECT_EQ(info->areGetRangesBroken(), info->getServerHeader().startsWith("DAV/"));
        }
    });
    EXPECT_NE(info->getServerHeader(), "");
}

/// One thread writes while another calls one getter, without a lock: ThreadSanitizer finds a getter that
/// takes no lock itself.
template <class Ask>
void askWhileItLearns(Ask ask) {
    for (int round = 0; round < 20; ++round) {
        const P<CServerInfo> info = new CServerInfo;
        runAtOnce(2, [&](int thread) {
            if (thread == 0) {
                info->updateFromHeaders(serverHeader("DAV/2 Python/3.8 and more than a short text holds"));
            } else {
                ask(*info);
            }
        });
        EXPECT_TRUE(info->areGetRangesBroken());
    }
}

TEST(ServerInfoTest, EachQuestionMayBeAskedWhileItLearns) {
    askWhileItLearns([](const CServerInfo& info) { (void)info.getServerHeader(); });
    askWhileItLearns([](const CServerInfo& info) { (void)info.areGetRangesBroken(); });
    askWhileItLearns([](const CServerInfo& info) { (void)info.isGetBroken(); });
    askWhileItLearns([](const CServerInfo& info) { (void)info.isPutBroken(); });
    askWhileItLearns([](const CServerInfo& info) { const CServerInfo copy(info); });
    askWhileItLearns([](const CServerInfo& info) {
        CServerInfo other;
        other = info;
    });
}

TEST(ServerInfoTest, IsCopiedWhileThreadsUseIt) {
    CServerInfo records[2];
    runAtOnce(8, [&records](int thread) {
        for (int round = 0; round < 200; ++round) {
            CServerInfo& mine = records[thread % 2];
            CServerInfo& other = records[1 - thread % 2];
            const CServerInfo copy(other);
            EXPECT_EQ(copy.areGetRangesBroken(), !copy.getServerHeader().isEmpty());
            switch (thread / 2) {
            case 0:
                mine = other;
                break;
            case 1:
                mine = CServerInfo();
                break;
            case 2:
                mine.updateFromHeaders(serverHeader("DAV/2 Python/3.8"));
                break;
            default:
                mine = std::move(other);
            }
        }
    });
}

}  // namespace
