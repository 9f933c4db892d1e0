#include "zet/PosixSelect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <initializer_list>
#include <sys/select.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

using zet::CPosixSelect;

constexpr fd_set* none = nullptr;

/// Two sockets that are connected to each other.
class PosixSelectTest : public testing::Test {
protected:
    PosixSelectTest() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, m_sockets.data()), 0); }
    ~PosixSelectTest() override {
        close(m_sockets[0]);
        close(m_sockets[1]);
    }

    int near() const { return m_sockets[0]; }
    int far() const { return m_sockets[1]; }
    int count() const { return std::max(near(), far()) + 1; }

    static void send(int socket) { EXPECT_EQ(write(socket, "x", 1), 1); }

    static fd_set setOf(std::initializer_list<int> sockets) {
        fd_set set;
        FD_ZERO(&set);
        for (const int socket : sockets) {
            FD_SET(socket, &set);
        }
        return set;
    }

    /// Milliseconds that a wait for a byte takes which does not come.
    double waited(int milliseconds) const {
        fd_set read = setOf({near()});
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(CPosixSelect::select(count(), &read, none, none, milliseconds), 0);
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    }

private:
    std::array<int, 2> m_sockets{-1, -1};
};

TEST_F(PosixSelectTest, LeavesTheReadySocketsInTheSets) {
    send(far());
    fd_set read = setOf({near(), far()});
    fd_set write = setOf({near(), far()});
    fd_set error = setOf({near(), far()});
    EXPECT_EQ(CPosixSelect::select(count(), &read, &write, &error, 60000), 3);
    EXPECT_TRUE(FD_ISSET(near(), &read));
    EXPECT_FALSE(FD_ISSET(far(), &read));
    EXPECT_TRUE(FD_ISSET(near(), &write));
    EXPECT_TRUE(FD_ISSET(far(), &write));
    EXPECT_FALSE(FD_ISSET(near(), &error));
    EXPECT_FALSE(FD_ISSET(far(), &error));
}

TEST_F(PosixSelectTest, NeedsNoSets) {
    fd_set write = setOf({near()});
    EXPECT_EQ(CPosixSelect::select(count(), none, &write, none, 60000), 1);
    fd_set read = setOf({near()});
    EXPECT_EQ(CPosixSelect::select(count(), &read, none, none, 0), 0);
    EXPECT_FALSE(FD_ISSET(near(), &read));
    EXPECT_EQ(CPosixSelect::select(0, none, none, none, 1), 0);
}

TEST_F(PosixSelectTest, LooksAtTheSocketsBelowTheCount) {
    fd_set write = setOf({near()});
    EXPECT_EQ(CPosixSelect::select(near(), none, &write, none, 0), 0);
    write = setOf({near()});
    EXPECT_EQ(CPosixSelect::select(near() + 1, none, &write, none, 0), 1);
}

TEST_F(PosixSelectTest, WaitsSoManyMilliseconds) {
    for (const int milliseconds : {0, 1, 30, 1020}) {
        const double time = waited(milliseconds);
        EXPECT_GE(time, milliseconds - 1);
        EXPECT_LT(time, 30000);
    }
}

TEST_F(PosixSelectTest, WaitsForEverWhenTheTimeIsNegative) {
    for (const int milliseconds : {-1, -60000}) {
        fd_set read = setOf({near()});
        std::thread other([this] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            send(far());
        });
        EXPECT_EQ(CPosixSelect::select(count(), &read, none, none, milliseconds), 1);
        EXPECT_TRUE(FD_ISSET(near(), &read));
        other.join();
        char byte;
        EXPECT_EQ(::read(near(), &byte, 1), 1);
    }
}

TEST_F(PosixSelectTest, TellsAFailure) {
    const int closed = dup(near());
    close(closed);
    fd_set read = setOf({closed});
    EXPECT_EQ(CPosixSelect::select(closed + 1, &read, none, none, 0), -1);
}

TEST_F(PosixSelectTest, KnowsTheDescriptorsThatASetHolds) {
    EXPECT_TRUE(CPosixSelect::canSelect(0));
    EXPECT_TRUE(CPosixSelect::canSelect(FD_SETSIZE - 1));
    EXPECT_FALSE(CPosixSelect::canSelect(FD_SETSIZE));
    EXPECT_FALSE(CPosixSelect::canSelect(FD_SETSIZE + 1));
}

}  // namespace
