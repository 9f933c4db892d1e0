/// \file
/// Shared by the tests of progress and cancelling.
#pragma once

#include "tests/net/NetRequestTestSupport.h"
#include "zet/Signal.h"

#include <chrono>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace vexil_test {

using Clock = std::chrono::steady_clock;

/// The message of a cancelled transfer without a response.
inline constexpr const char* cancelledMessage =
    "Operation was aborted by an application callback: transfer cancelled";

struct ProgressNumbers {
    int64 downloaded;
    int64 downloadTotal;
    int64 uploaded;
    int64 uploadTotal;
    bool operator==(const ProgressNumbers&) const = default;
};

inline void PrintTo(const ProgressNumbers& numbers, std::ostream* out) {
    *out << "{down " << numbers.downloaded << " of " << numbers.downloadTotal << ", up " << numbers.uploaded
         << " of " << numbers.uploadTotal << "}";
}

/// Records its calls; `then` runs inside each call.
class TestProgress : public virtual vexil::CBase, public CNetRequest::ITransferProgress {
public:
    explicit TestProgress(std::function<void(const ProgressNumbers&)> call = {}) : then(std::move(call)) {}

    void onProgress(int64 downloaded, int64 downloadTotal, int64 uploaded, int64 uploadTotal) override {
        calls.push_back({downloaded, downloadTotal, uploaded, uploadTotal});
        m_called.set();
        if (then) {
            then(calls.back());
        }
    }

    /// For another thread: waits for three calls. A transfer that cannot continue then waits.
    void waitUntilItWaits() {
        for (int i = 0; i < 3; ++i) {
            EXPECT_TRUE(m_called.wait(60000));
            m_called.reset();
        }
    }

    std::vector<ProgressNumbers> calls;
    std::function<void(const ProgressNumbers&)> then;

private:
    zet::CSignal m_called;
};

/// The error of a transfer that another thread cancels when `waitForState` has returned. The time that it
/// takes is recorded as the property "milliseconds" of the test.
template <class Run, class WaitForState>
std::optional<CCURLError> errorOfCancelled(CNetRequest& request, Run run, WaitForState waitForState) {
    Clock::time_point cancelledAt;
    std::thread canceller([&] {
        waitForState();
        cancelledAt = Clock::now();
        request.cancel();
    });
    const auto error = thrownBy<CCURLError>(run);
    const auto endedAt = Clock::now();
    canceller.join();
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(endedAt - cancelledAt);
    testing::Test::RecordProperty("milliseconds", std::to_string(took.count()));
    // The documented time is much shorter. The servers of these tests wait without a limit.
    EXPECT_LT(took, std::chrono::seconds(60));
    return error;
}

/// Measures until the time is below `limit`: a busy machine is slow for a while, but a transfer that is not
/// woken is slow every time.
template <class Measure>
void expectOnceLessThan(const std::chrono::milliseconds limit, const Measure& measure) {
    std::chrono::milliseconds time{};
    for (int series = 0; series < 10; ++series) {
        time = std::chrono::duration_cast<std::chrono::milliseconds>(measure());
        if (time < limit) {
            testing::Test::RecordProperty("milliseconds", std::to_string(time.count()));
            return;
        }
    }
    ADD_FAILURE() << "never within " << limit.count() << " ms; the last time " << time.count() << " ms";
}

/// Whether an error is that of a cancelled transfer.
inline void expectCancelled(const std::optional<CCURLError>& error) {
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_EQ(error->getDomain(), "curl");
    EXPECT_THAT(error->getMessage().toUTF8(), testing::StartsWith(cancelledMessage));
}

}  // namespace vexil_test
