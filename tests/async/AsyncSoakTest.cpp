// Very many requests, some with faults, through one worker.
#include "tests/async/AsyncNetRequestThreadTestSupport.h"
#include "tests/async/FaultServer.h"
#include "vexil/net/CURLError.h"

#include <curl/curl.h>

#include <array>
#include <charconv>
#include <cstdlib>
#include <deque>
#include <malloc.h>
#include <string_view>

namespace {

using namespace vexil_test;
using vexil::CCURLError;

/// What happens to a request.
enum class Fate { Success, Late, Status500, Reset, Cut, Cancelled, Removed };

Fate chooseFate(int number) {
    switch (number % 20) {
    case 3:
        return Fate::Reset;
    case 7:
        return Fate::Status500;
    case 11:
        return Fate::Late;
    case 13:
        return Fate::Cancelled;
    case 17:
        return Fate::Removed;
    default:
        // Few: a connection that the server closes keeps its port for a minute.
        return number % 1000 == 19 ? Fate::Cut : Fate::Success;
    }
}

std::string_view pathOf(Fate fate) {
    switch (fate) {
    case Fate::Late:
    case Fate::Cancelled:
    case Fate::Removed:
        return "/late";
    case Fate::Status500:
        return "/error";
    case Fate::Reset:
        return "/reset";
    case Fate::Cut:
        return "/cut";
    default:
        return "/ok";
    }
}

/// By default 100,000; the environment can ask for more.
int countRequests() {
    int count = 100'000;
#ifdef __SANITIZE_THREAD__
    count = 10'000;
#endif
    if (const char* const wanted = std::getenv("VEXIL_SOAK_REQUESTS")) {
        const std::string_view text = wanted;
        std::from_chars(text.data(), text.data() + text.size(), count);
    }
    return count;
}

/// Requests that were told that they have ended.
class Told {
public:
    void add(int index) {
        const std::lock_guard lock(m_mutex);
        m_indices.push_back(index);
        m_changed.notify_one();
    }
    /// \return -1 if no request ends for a long time
    int take() {
        std::unique_lock lock(m_mutex);
        if (!m_changed.wait_for(lock, std::chrono::milliseconds(longTime),
                                [this] { return !m_indices.empty(); })) {
            return -1;
        }
        const int index = m_indices.front();
        m_indices.pop_front();
        return index;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<int> m_indices;
};

/// A request object, which is used for one transfer after the other.
class Slot : public virtual vexil::CBase, public CNetRequest::IDoneListener {
public:
    Slot(Told& told, int index) : m_told(told), m_index(index) {}

    void onDone(CNetRequest*, CError*) override {
        if (!isExpected.exchange(false)) {
            ++unexpected;
        }
        m_told.add(m_index);
    }

    const P<CNetRequest> request = zet::make<CNetRequest>();
    Fate fate = Fate::Success;
    std::atomic<bool> isExpected = false;
    std::atomic<int> unexpected = 0;

private:
    Told& m_told;
    const int m_index;
};

class AsyncSoakTest : public testing::Test {
protected:
    static constexpr int atOnce = 100;

    AsyncSoakTest() {
        for (int i = 0; i < atOnce; ++i) {
            slots.push_back(zet::make<Slot>(told, i));
        }
        thread->start();
    }
    ~AsyncSoakTest() override {
        thread->stop(true);
        for (const P<Slot>& slot : slots) {
            slot->request->setDoneListener(nullptr);
        }
    }

    void start(Slot& slot, Fate fate) {
        CNetRequest& request = *slot.request;
        slot.fate = fate;
        request.reset();
        request.setURL(String::fromUTF8(server.url(std::string(pathOf(fate)))));
        request.setCancellable(true);
        request.setDoneListener(&slot);
        slot.isExpected = true;
        thread->addRequest(&request);
        if (fate == Fate::Cancelled) {
            request.cancel();
        }
    }
    /// \return true if the request will not be told
    bool remove(Slot& slot) {
        const bool wasRunning = thread->removeRequest(slot.request);
        // Otherwise it has ended, and was told.
        EXPECT_EQ(slot.isExpected, wasRunning);
        slot.isExpected = false;
        removed += wasRunning ? 1 : 0;
        return wasRunning;
    }
    static zet::int64 codeOf(CNetRequest& request) {
        try {
            request.checkAsyncResult();
        } catch (const CCURLError& error) {
            return error.getCode();
        }
        return 0;
    }
    static bool isRight(Fate fate, zet::int64 code) {
        switch (fate) {
        case Fate::Status500:
            return code == CURLE_HTTP_RETURNED_ERROR;
        case Fate::Reset:
            return code == CURLE_RECV_ERROR || code == CURLE_GOT_NOTHING || code == CURLE_SEND_ERROR;
        case Fate::Cut:
            return code == CURLE_PARTIAL_FILE;
        case Fate::Cancelled:
            return code == CURLE_ABORTED_BY_CALLBACK;
        default:
            return code == 0;
        }
    }
    /// Runs requests with these numbers, and waits until the last of them has ended.
    void run(int first, int end) {
        int running = 0;
        int next = first;
        std::deque<int> idle;
        for (int i = 0; i < atOnce; ++i) {
            idle.push_back(i);
        }
        while (next < end || running > 0) {
            while (next < end && !idle.empty()) {
                Slot& slot = *slots[static_cast<std::size_t>(idle.front())];
                start(slot, chooseFate(next++));
                if (slot.fate == Fate::Removed && remove(slot)) {
                    continue;
                }
                idle.pop_front();
                ++running;
            }
            if (running > 0) {
                idle.push_back(finishOne());
                --running;
            }
        }
    }
    int finishOne() {
        const int index = told.take();
        if (index < 0) {
            throw std::runtime_error("a request is lost");
        }
        Slot& slot = *slots[static_cast<std::size_t>(index)];
        const zet::int64 code = codeOf(*slot.request);
        EXPECT_TRUE(isRight(slot.fate, code))
            << "code " << code << " of fate " << static_cast<int>(slot.fate);
        EXPECT_EQ(slot.unexpected, 0);
        ++ended[static_cast<std::size_t>(slot.fate)];
        return index;
    }

    FaultServer server;
    Told told;
    std::vector<P<Slot>> slots;
    const P<CAsyncNetRequestThread> thread = makeWorker();
    int removed = 0;
    std::array<int, 7> ended{};
};

TEST_F(AsyncSoakTest, NothingIsLostToldTwiceOrKept) {
    const int count = countRequests();
    // Everything that is kept for connections is there after a tenth of them.
    run(0, count / 10);
    const std::size_t before = mallinfo2().uordblks;
    run(count / 10, count);
    const std::size_t after = mallinfo2().uordblks;
    // The smallest block has 32 bytes. The number of open connections varies.
    EXPECT_LT(after, before + static_cast<std::size_t>(count) * 8 + (1 << 17));
    int total = removed;
    for (const int number : ended) {
        total += number;
    }
    EXPECT_EQ(total, count);
    EXPECT_EQ(ended[static_cast<std::size_t>(Fate::Status500)], count / 20);
    EXPECT_EQ(ended[static_cast<std::size_t>(Fate::Cancelled)], count / 20);
    EXPECT_GT(removed, count / 50);
    EXPECT_TRUE(thread->isAlive());
    RecordProperty("removed", removed);
}

}  // namespace
