#include "zet/PosixSelect.h"

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>
#include <curl/curl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <initializer_list>
#include <thread>

namespace {

using tcp = asio::ip::tcp;
using zet::CPosixSelect;
using Socket = curl_socket_t;

constexpr fd_set* none = nullptr;

/// Runs some work and returns how many milliseconds it takes.
template <class Work>
double timeOf(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

/// Two sockets that are connected to each other.
class PosixSelectTest : public testing::Test {
protected:
    PosixSelectTest() {
        tcp::acceptor acceptor(m_context, tcp::endpoint(asio::ip::address_v4::loopback(), 0));
        m_mine.connect(acceptor.local_endpoint());
        m_theirs = acceptor.accept();
    }

    Socket mine() { return m_mine.native_handle(); }
    Socket theirs() { return m_theirs.native_handle(); }
    int count() { return static_cast<int>(std::max(mine(), theirs())) + 1; }

    void sendFromTheirs() { asio::write(m_theirs, asio::buffer("x", 1)); }
    /// Waits until the sent data has arrived. The data stays unread.
    void waitForByte() { m_mine.wait(tcp::socket::wait_read); }
    void receive() {
        char byte;
        asio::read(m_mine, asio::buffer(&byte, 1));
    }
    /// Closes one of the sockets and returns its old descriptor.
    Socket closeMine() {
        const Socket closed = mine();
        m_mine.close();
        return closed;
    }

    static fd_set setOf(std::initializer_list<Socket> sockets) {
        fd_set set;
        FD_ZERO(&set);
        for (const Socket socket : sockets) {
            FD_SET(socket, &set);
        }
        return set;
    }

private:
    asio::io_context m_context;
    tcp::socket m_mine{m_context};
    tcp::socket m_theirs{m_context};
};

TEST_F(PosixSelectTest, LeavesTheReadySocketsInTheSets) {
    sendFromTheirs();
    waitForByte();
    fd_set read = setOf({mine(), theirs()});
    fd_set write = setOf({mine(), theirs()});
    fd_set error = setOf({mine(), theirs()});
    EXPECT_EQ(CPosixSelect::select(count(), &read, &write, &error, 60000), 3);
    EXPECT_TRUE(FD_ISSET(mine(), &read));
    EXPECT_FALSE(FD_ISSET(theirs(), &read));
    EXPECT_TRUE(FD_ISSET(mine(), &write));
    EXPECT_TRUE(FD_ISSET(theirs(), &write));
    EXPECT_FALSE(FD_ISSET(mine(), &error));
    EXPECT_FALSE(FD_ISSET(theirs(), &error));
}

TEST_F(PosixSelectTest, WorksWithoutSets) {
    fd_set write = setOf({mine()});
    EXPECT_EQ(CPosixSelect::select(count(), none, &write, none, 60000), 1);
    fd_set read = setOf({mine()});
    EXPECT_EQ(CPosixSelect::select(count(), &read, none, none, 0), 0);
    EXPECT_FALSE(FD_ISSET(mine(), &read));
}

TEST_F(PosixSelectTest, WaitsSoManyMilliseconds) {
    for (const int milliseconds : {0, 1, 30, 1020}) {
        const double time = timeOf([&] {
            fd_set read = setOf({mine()});
            EXPECT_EQ(CPosixSelect::select(count(), &read, none, none, milliseconds), 0);
        });
        EXPECT_GE(time, milliseconds - 1);
        EXPECT_LT(time, 30000);
    }
}

TEST_F(PosixSelectTest, WaitsWithoutAnySocket) {
    for (const int milliseconds : {0, 30, 1020}) {
        const double withoutSets =
            timeOf([&] { EXPECT_EQ(CPosixSelect::select(0, none, none, none, milliseconds), 0); });
        EXPECT_GE(withoutSets, milliseconds - 1);
        EXPECT_LT(withoutSets, 30000);
        const double withEmptySets = timeOf([&] {
            fd_set read = setOf({});
            fd_set write = setOf({});
            fd_set error = setOf({});
            EXPECT_EQ(CPosixSelect::select(0, &read, &write, &error, milliseconds), 0);
        });
        EXPECT_GE(withEmptySets, milliseconds - 1);
        EXPECT_LT(withEmptySets, 30000);
    }
}

TEST_F(PosixSelectTest, WaitsForEverWhenTheTimeIsNegative) {
    for (const int milliseconds : {-1, -60000}) {
        fd_set read = setOf({mine()});
        std::thread other([this] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            sendFromTheirs();
        });
        EXPECT_EQ(CPosixSelect::select(count(), &read, none, none, milliseconds), 1);
        EXPECT_TRUE(FD_ISSET(mine(), &read));
        other.join();
        receive();
    }
}

TEST_F(PosixSelectTest, ReportsAFailure) {
    const int highest = count();
    fd_set read = setOf({closeMine()});
    EXPECT_EQ(CPosixSelect::select(highest, &read, none, none, 0), -1);
}

#ifdef _WIN32
TEST_F(PosixSelectTest, NeedsNoCount) {
    fd_set write = setOf({mine()});
    EXPECT_EQ(CPosixSelect::select(0, none, &write, none, 0), 1);
}

TEST_F(PosixSelectTest, HoldsDescriptorsOfAnyNumber) {
    EXPECT_TRUE(CPosixSelect::canSelect(0));
    EXPECT_TRUE(CPosixSelect::canSelect(FD_SETSIZE));
    EXPECT_TRUE(CPosixSelect::canSelect(1000000));
}
#else
TEST_F(PosixSelectTest, LooksAtTheSocketsBelowTheCount) {
    fd_set write = setOf({mine()});
    EXPECT_EQ(CPosixSelect::select(mine(), none, &write, none, 0), 0);
    write = setOf({mine()});
    EXPECT_EQ(CPosixSelect::select(mine() + 1, none, &write, none, 0), 1);
}

TEST_F(PosixSelectTest, KnowsTheDescriptorsThatASetHolds) {
    EXPECT_TRUE(CPosixSelect::canSelect(0));
    EXPECT_TRUE(CPosixSelect::canSelect(FD_SETSIZE - 1));
    EXPECT_FALSE(CPosixSelect::canSelect(FD_SETSIZE));
    EXPECT_FALSE(CPosixSelect::canSelect(FD_SETSIZE + 1));
}
#endif

}  // namespace
