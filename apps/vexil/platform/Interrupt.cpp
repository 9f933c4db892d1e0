#include "apps/vexil/platform/Interrupt.h"

#include <atomic>

namespace vexil::app {

namespace {

constexpr int exitCodeOfSignals = 128;

std::atomic<int> requestedSignal{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler writes it");

}  // namespace

bool CInterrupt::isRequested() noexcept {
    return requestedSignal != 0;
}

int CInterrupt::getExitCode() noexcept {
    return exitCodeOfSignals + requestedSignal;
}

void CInterrupt::throwIfRequested() {
    if (isRequested()) {
        throw CError("Interrupted.");
    }
}

void CInterrupt::request(int signalNumber) noexcept {
    requestedSignal = signalNumber;
}

void CInterrupt::clear() noexcept {
    requestedSignal = 0;
}

}  // namespace vexil::app
