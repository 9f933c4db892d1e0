#pragma once

#include "zet/Base.h"
#include "zet/Error.h"
#include "zet/Export.h"
#include "zet/Pointer.h"
#include "zet/Signal.h"
#include "zet/String.h"

#include <atomic>
#include <mutex>
#include <thread>

namespace zet {

class CThread;

/// What a CThread can be given to run.
class ZET_API IRunnable : public virtual IBase {
public:
    /// Called once, on the new thread. Returns when it is done or when checkContinue() of the thread is false.
    virtual void run(CThread& thread) = 0;

protected:
    ~IRunnable() override;
};

/// A thread of the system that runs once: either the IRunnable that it is given, or what a derived class makes
/// of runImpl().
///
/// Stopping is a wish: what runs asks checkContinue() now and then and returns when it is false.
///
/// Thread safety: all members may be called from any thread, but for setThreadName(), which belongs before
/// start().
///
/// Lifetime: the destructor asks the thread to stop and waits for its end. A derived class that overrides
/// runImpl() or onStopRequested() calls `stop(true)` in its own destructor, while those members still exist.
/// The last reference must not be given up on the thread itself.
///
/// Errors: what escapes from the thread's body ends the thread and nothing else; see getError().
class ZET_API CThread : public virtual CBase {
public:
    /// Identifies a running thread within the process.
    using ID = std::thread::id;

    /// \param runnable   what to run, of which a reference is kept; null for a derived class with a runImpl()
    ///                   of its own
    /// \param logErrors  whether an exception that ends the thread goes to the log as an error
    explicit CThread(IRunnable* runnable = nullptr, bool logErrors = true);
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;
    ~CThread() override;

    /// The name that debuggers and system tools show, from start() on. They may cut it: Linux after 15 bytes of
    /// UTF-8. Default "" for the system's own.
    void setThreadName(const String& name) { m_name = name; }
    /// The whole name, as it was set.
    String getThreadName() const { return m_name; }

    /// Starts the thread.
    /// \throws CError when it was started before, and, with domain "system", when the system has no more threads
    /// \throws std::bad_alloc when there is no memory; like a refusal of the system, that may be tried again
    void start();
    /// Asks the thread to stop.
    /// \param wait  return when its body has ended. Returns at once when the thread does not run, or is the
    ///              calling one
    void stop(bool wait);
    /// Whether the thread was started and its body has not ended: true from start() on.
    bool isAlive() const noexcept { return m_state == State::Alive; }
    /// What has ended the body by an exception; null while it runs and after an orderly end.
    P<CError> getError() const;

    /// The thread's own ID, from start() on; equal to that of no thread before. When the thread has ended, the
    /// system may give it to another one.
    ID getID() const noexcept { return m_id; }
    /// The ID of the calling thread.
    static ID getCurrentID() noexcept { return std::this_thread::get_id(); }

    /// Whether the thread's body shall go on: true until stop() is called.
    virtual bool checkContinue();

    /// Does nothing for so many milliseconds; 0 and less return at once.
    static void sleep(int milliseconds);

protected:
    /// The thread's body: here, that of the IRunnable.
    virtual void runImpl();
    /// Called by stop(), on the thread that calls it, after checkContinue() has become false: for a body that
    /// waits and has to be woken. Here it does nothing.
    virtual void onStopRequested();

private:
    enum class State { NotStarted, Alive, Ended };

    void runBody() noexcept;
    void keepError() noexcept;
    // In the file of the platform.
    static void nameCurrentThread(const String& name) noexcept;

    const P<IRunnable> m_runnable;
    const bool m_logErrors;
    String m_name;
    std::atomic<State> m_state{State::NotStarted};
    std::atomic<bool> m_isStopRequested{false};
    std::atomic<ID> m_id{ID()};
    CSignal m_ended;
    mutable std::mutex m_mutex;
    P<CError> m_error;     // guarded by m_mutex
    std::thread m_thread;  // guarded by m_mutex
};

/// Gives way to other threads in a loop that waits for one of them.
/// \param isLongWait  the wait may be long: sleep for a millisecond instead of spinning
ZET_API void threadYield(bool isLongWait);

}  // namespace zet
