#include "zet/SafeGlobal.h"

#include "zet/Error.h"

#include <cstdlib>

namespace zet {

bool CSafeGlobalGuard::claimConstruction() {
    State expected = NotConstructed;
    if (m_state.compare_exchange_strong(expected, Constructing, std::memory_order_acq_rel)) {
        m_constructingThread.store(std::this_thread::get_id());
        return true;
    }
    if (expected == Constructing && m_constructingThread.load() == std::this_thread::get_id()) {
        throw CError("A static object is needed for its own construction.");
    }
    return false;
}

void CSafeGlobalGuard::finishConstruction(bool succeeded) noexcept {
    m_constructingThread.store(std::thread::id());
    m_state.store(succeeded ? Constructed : ConstructionFailed, std::memory_order_release);
}

void CSafeGlobalDisposer::registerDisposer(void (*dispose)()) {
    if (std::atexit(dispose) != 0) {
        throw CError("A disposer cannot be registered.");
    }
}

void throwStaticConstructionFailed() {
    throw CError("Construction of static object has failed.");
}

}  // namespace zet
