#pragma once

#include "zet/Export.h"
#include "zet/Pointer.h"
#include "zet/Thread.h"

#include <atomic>
#include <thread>

namespace zet {

/// State of one process-wide instance. Any thread.
class ZET_API CSafeGlobalGuard {
public:
    /// Progress of the construction.
    enum State {
        NotConstructed,      ///< the instance was not used yet
        Constructing,        ///< a thread is constructing it
        Constructed,         ///< it exists; final
        ConstructionFailed,  ///< its construction threw; final
    };

    /// The state at this moment.
    [[nodiscard]] State getState() const noexcept { return m_state.load(std::memory_order_acquire); }

    /// Begins the construction, if no thread has begun it before. Returns true if the caller must construct
    /// the instance and then call finishConstruction(). Throws a CError if the constructing thread calls it
    /// recursively, which would deadlock.
    [[nodiscard]] bool claimConstruction();
    /// Ends the construction. Called by the thread for which claimConstruction() returned true.
    void finishConstruction(bool succeeded) noexcept;

private:
    std::atomic<State> m_state{NotConstructed};
    std::atomic<std::thread::id> m_constructingThread{};
};

/// Registers functions for the end of the process. Any thread.
class ZET_API CSafeGlobalDisposer {
public:
    /// Registers a function with `std::atexit`: the last registered one is called first. It must not throw.
    /// Throws a CError "A disposer cannot be registered."
    static void registerDisposer(void (*dispose)());
};

/// Throws the CError "Construction of static object has failed."
[[noreturn]] ZET_API void throwStaticConstructionFailed();

/// Owns one process-wide instance, which is constructed on first use. The construction is never repeated,
/// even after a failure: a function-local static would try again after an exception, and so initialise a
/// library twice. Any thread.
template <class T>
class TSafeGlobal {
public:
    /// \param guard    state of the instance; must outlive the holder
    /// \param create   makes the instance; called at most once
    /// \param dispose  called at the end of the process, if `create` has succeeded
    TSafeGlobal(CSafeGlobalGuard& guard, P<T> (*create)(), void (*dispose)())
        : m_guard(guard), m_create(create), m_dispose(dispose) {}

    /// The instance.
    /// \throws the error of the construction, if it fails in this call
    /// \throws CError "Construction of static object has failed.", if it fails or has failed in another call
    const P<T>& get() {
        while (m_guard.getState() != CSafeGlobalGuard::Constructed) {
            if (m_guard.getState() == CSafeGlobalGuard::ConstructionFailed) {
                throwStaticConstructionFailed();
            }
            if (m_guard.claimConstruction()) {
                construct();
            } else {
                threadYield(true);
            }
        }
        return m_instance;
    }

private:
    void construct() {
        try {
            m_instance = m_create();
            CSafeGlobalDisposer::registerDisposer(m_dispose);
        } catch (...) {
            m_guard.finishConstruction(false);
            throw;
        }
        m_guard.finishConstruction(true);
    }

    CSafeGlobalGuard& m_guard;
    P<T> (*m_create)();
    void (*m_dispose)();
    P<T> m_instance;
};

}  // namespace zet
