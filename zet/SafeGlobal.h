#pragma once

#include "zet/Export.h"
#include "zet/Pointer.h"
#include "zet/Thread.h"

#include <atomic>
#include <thread>

namespace zet {

/// State of one process-wide instance: not constructed, being constructed, constructed, failed. The last two
/// are final. Any thread.
class ZET_API CSafeGlobalGuard {
public:
    /// How far the instance is.
    enum State {
        NotConstructed,      ///< nobody has asked for it yet
        Constructing,        ///< a thread is making it
        Constructed,         ///< it is there; final
        ConstructionFailed,  ///< its construction threw; final
    };

    /// The state at this moment.
    State getState() const noexcept { return m_state.load(std::memory_order_acquire); }

    /// Makes the caller the one that constructs, if nobody is or was.
    /// Throws a CError when the constructing thread itself comes again: it would wait for itself.
    bool claimConstruction();
    /// Ends what claimConstruction() has begun, by the thread that got `true` from it.
    void finishConstruction(bool succeeded) noexcept;

private:
    std::atomic<State> m_state{NotConstructed};
    std::atomic<std::thread::id> m_constructingThread{};
};

/// Has a function called when the process ends. Any thread.
class ZET_API CSafeGlobalDisposer {
public:
    /// Registers a function with `std::atexit`: the last one registered is called first. It must not throw.
    /// Throws a CError "A disposer cannot be registered."
    static void registerDisposer(void (*dispose)());
};

/// Throws the CError "Construction of static object has failed."
[[noreturn]] ZET_API void throwStaticConstructionFailed();

/// Holder of one process-wide instance that is made on first use, once, even where that fails: a plain
/// function-local static would try again after an exception, and a library that could not be started would
/// be started a second time half-way. Any thread.
template <class T>
class TSafeGlobal {
public:
    /// \param guard    state of the instance; must outlive the holder
    /// \param create   makes the instance; called once at most
    /// \param dispose  called when the process ends, if `create` has succeeded
    TSafeGlobal(CSafeGlobalGuard& guard, P<T> (*create)(), void (*dispose)())
        : m_guard(guard), m_create(create), m_dispose(dispose) {}

    /// The instance. The caller that constructs it gets the error of a failing construction; all others, at
    /// the same time or later, get "Construction of static object has failed."
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
