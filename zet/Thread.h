#pragma once

#include "zet/Base.h"
#include "zet/Error.h"
#include "zet/Export.h"
#include "zet/Mutex.h"
#include "zet/Pointer.h"
#include "zet/Signal.h"
#include "zet/String.h"

#include <atomic>
#include <thread>

namespace zet {

class CThread;

/// Code that a CThread runs.
class ZET_API IRunnable : public virtual IBase {
public:
    /// Called once, on the new thread. Returns when it is done, or when checkContinue() of the thread returns
    /// false.
    virtual void run(CThread& thread) = 0;

protected:
    ~IRunnable() override;
};

/// A thread of the system that runs once. Its body is an IRunnable, or runImpl() of a derived class.
///
/// stop() is only a request: the body calls checkContinue() now and then, and returns when that is false.
///
/// Thread safety: all members may be called from any thread, except setThreadName(), which must be called
/// before start().
///
/// Lifetime: the destructor requests a stop and waits for the end of the body. A derived class that overrides
/// runImpl() or onStopRequested() must call `stop(true)` in its own destructor, while those members still
/// exist. The last reference must not be dropped on the thread itself.
///
/// Errors: an exception that leaves the body ends only this thread; see getError().
class ZET_API CThread : public virtual CBase {
public:
    /// Identifies a running thread within the process.
    using ID = std::thread::id;

    /// \param runnable   the body, to which a reference is kept; null if a derived class overrides runImpl()
    /// \param logErrors  log an exception that ends the thread, as an error
    explicit CThread(IRunnable* runnable = nullptr, bool logErrors = true);
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;
    ~CThread() override;

    /// The name of the thread in debuggers and system tools, from start() on. Linux shows the first 15 bytes
    /// of UTF-8. Default: "", which leaves the name to the system.
    void setThreadName(const String& name) { m_name = name; }
    /// The whole name, as it was set.
    [[nodiscard]] String getThreadName() const { return m_name; }

    /// Starts the thread.
    /// \throws CError if it was started before; with domain "system" if the system has no more threads
    /// \throws std::bad_alloc if there is no memory. After this, and after a refusal of the system, start()
    ///                        may be called again
    void start();
    /// Requests the thread to stop.
    /// \param wait  wait for the end of the body. Does not wait if the thread does not run or is the calling
    ///              one
    void stop(bool wait);
    /// True from start() to the end of the body.
    [[nodiscard]] bool isAlive() const noexcept { return m_state == State::Alive; }
    /// The exception that has ended the body. Null while it runs, and if it has returned.
    [[nodiscard]] P<CError> getError() const;

    /// The thread's ID once start() has been called; before that, equal to no thread's ID. After the end of
    /// the thread, the system may use it for another thread.
    [[nodiscard]] ID getID() const noexcept { return m_id; }
    /// The ID of the calling thread.
    [[nodiscard]] static ID getCurrentID() noexcept { return std::this_thread::get_id(); }

    /// False if the body must return: true until stop() is called.
    [[nodiscard]] virtual bool checkContinue();

    /// Waits for some milliseconds. Returns at once for 0 and less.
    static void sleep(int milliseconds);

protected:
    /// The thread's body. By default: runs the IRunnable.
    virtual void runImpl();
    /// Called by stop(), on the thread of its caller, after checkContinue() has become false. A derived class
    /// overrides it to wake a body that waits. By default: no effect.
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
    mutable CMutex m_mutex;
    P<CError> m_error ZET_GUARDED_BY(m_mutex);
    std::thread m_thread ZET_GUARDED_BY(m_mutex);
};

/// Lets other threads run, in a loop that waits for one of them.
/// \param isLongWait  the wait may be long: sleep for a millisecond instead of spinning
ZET_API void threadYield(bool isLongWait);

}  // namespace zet
