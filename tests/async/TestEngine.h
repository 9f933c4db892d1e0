/// \file
/// Test programs of the asynchronous managers run once with each engine.
#pragma once

#include "vexil/async/AsyncNetRequestManager.h"
#include "vexil/async/AsyncNetRequestThread.h"

#include <cstdlib>
#include <string_view>

namespace vexil_test {

using zet::P;

/// The engine of this run: VEXIL_TEST_ENGINE is "sockets", or the default counts.
inline vexil::AsyncEngine engineOfRun() {
    const char* const name = std::getenv("VEXIL_TEST_ENGINE");
    const bool isSockets = name && std::string_view(name) == "sockets";
    return isSockets ? vexil::AsyncEngine::Sockets : vexil::AsyncEngine::Automatic;
}

/// A manager with the engine of this run.
class TestManager : public vexil::CAsyncNetRequestManager {
public:
    TestManager() { setEngine(engineOfRun()); }
};

/// A worker with the engine of this run, not started yet.
inline P<vexil::CAsyncNetRequestThread>
makeWorker(vexil::CAsyncNetRequestThread::IProgressHandler* handler = nullptr) {
    P<vexil::CAsyncNetRequestThread> worker = new vexil::CAsyncNetRequestThread(handler);
    worker->setEngine(engineOfRun());
    return worker;
}

/// A worker with the engine of this run, for derived classes, which stop it in their destructors.
class TestWorker : public vexil::CAsyncNetRequestThread {
protected:
    explicit TestWorker(IProgressHandler* handler) : CAsyncNetRequestThread(handler) {
        setEngine(engineOfRun());
    }
};

}  // namespace vexil_test
