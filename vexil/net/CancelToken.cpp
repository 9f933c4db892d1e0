#include "vexil/net/CancelToken.h"

#include "vexil/net/CURLError.h"
#include "zet/Thread.h"

#include <algorithm>
#include <chrono>

namespace vexil {

namespace {

// A signal handler may cancel, and not every system has a way to wake a thread from there.
constexpr int longestSleep = 50;  // milliseconds

}  // namespace

static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler writes it");

CCancelToken::CCancelToken() = default;

CCancelToken::~CCancelToken() = default;

void CCancelToken::cancel() noexcept {
    m_isCancelled = true;
}

bool CCancelToken::isCancelled() const noexcept {
    return m_isCancelled;
}

void CCancelToken::throwIfCancelled() const {
    if (isCancelled()) {
        throw CCURLError(CURLE_ABORTED_BY_CALLBACK, "transfer cancelled", "", 0, "", "", "", "");
    }
}

bool CCancelToken::pause(int milliseconds) const {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(std::max(milliseconds, 0));
    while (!isCancelled()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0) {
            return true;
        }
        zet::CThread::sleep(static_cast<int>(std::min<long long>(left, longestSleep)));
    }
    return false;
}

}  // namespace vexil
