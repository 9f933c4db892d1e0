#include "zet/Thread.h"

#include "zet/Log.h"

#include <cassert>
#include <chrono>
#include <system_error>

namespace zet {

namespace {

constexpr int stopSlice = 250;  // milliseconds

}  // namespace

IRunnable::~IRunnable() = default;

CThread::CThread(IRunnable* runnable, bool logErrors) : m_runnable(runnable), m_logErrors(logErrors) {}

CThread::~CThread() {
    assert(!isAlive() || getCurrentID() != getID());
    stop(true);
    if (!m_thread.joinable()) {
        return;
    }
    if (m_thread.get_id() == getCurrentID()) {
        // A thread that joins itself waits for ever. A thread that is neither joined nor detached ends the
        // process.
        m_thread.detach();
    } else {
        m_thread.join();
    }
}

void CThread::start() {
    const CMutexLock lock(m_mutex);
    if (m_state != State::NotStarted) {
        throw CError("The thread '" + m_name + "' was started before.");
    }
    m_state = State::Alive;
    try {
        m_thread = std::thread([this] { runBody(); });
    } catch (const std::system_error& error) {
        m_state = State::NotStarted;
        throw CError("Error starting the thread '" + m_name + "': " + String::fromUTF8Lossy(error.what()),
                     "system", error.code().value());
    } catch (...) {
        // Out of memory. stop() must not wait for the end of a thread that does not exist.
        m_state = State::NotStarted;
        throw;
    }
    m_id = m_thread.get_id();
}

void CThread::stop(bool wait) {
    m_isStopRequested = true;
    onStopRequested();
    if (!wait || getCurrentID() == getID()) {
        return;
    }
    // In slices: if start() fails at this moment, nothing sets the signal.
    while (isAlive() && !m_ended.wait(stopSlice)) {
    }
}

P<CError> CThread::getError() const {
    const CMutexLock lock(m_mutex);
    return m_error;
}

bool CThread::checkContinue() {
    return !m_isStopRequested;
}

void CThread::runImpl() {
    if (m_runnable) {
        m_runnable->run(*this);
    }
}

void CThread::onStopRequested() {}

void CThread::runBody() noexcept {
    m_id = getCurrentID();
    if (!m_name.isEmpty()) {
        nameCurrentThread(m_name);
    }
    try {
        runImpl();
    } catch (...) {
        keepError();
    }
    m_state = State::Ended;
    m_ended.set();
}

void CThread::keepError() noexcept {
    const P<CError> error = currentExceptionToError();
    {
        const CMutexLock lock(m_mutex);
        m_error = error;
    }
    if (!m_logErrors) {
        return;
    }
    try {
        logError(*error, "An error has ended a thread.", m_name);
    } catch (...) {
        // There is no memory for the text.
    }
}

void CThread::sleep(int milliseconds) {
    if (milliseconds > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    }
}

void threadYield(bool isLongWait) {
    if (isLongWait) {
        CThread::sleep(1);
    } else {
        std::this_thread::yield();
    }
}

}  // namespace zet
