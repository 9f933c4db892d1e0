/// \file
/// Runs transfers with each driver.
#pragma once

#include "tests/async/AsyncTestSupport.h"
#include "vexil/async/AsyncNetRequestThread.h"

#include <string>

namespace vexil_test {

/// The kinds of drivers.
enum class Driver { Perform, Manager, Worker };

constexpr Driver allDrivers[] = {Driver::Perform, Driver::Manager, Driver::Worker};

inline std::string nameOfDriver(const testing::TestParamInfo<Driver>& info) {
    return info.param == Driver::Perform ? "Perform" : info.param == Driver::Manager ? "Manager" : "Worker";
}

/// Runs a transfer to its end and throws its error.
inline void drive(Driver driver, CNetRequest& request) {
    if (driver == Driver::Perform) {
        request.perform();
        return;
    }
    if (driver == Driver::Manager) {
        TestManager manager;
        manager.addRequest(&request);
        driveToEnd(manager);
    } else {
        const P<vexil::CAsyncNetRequestThread> worker = makeWorker();
        worker->start();
        worker->addRequest(&request);
        EXPECT_TRUE(request.waitAsyncDone(120000));
        worker->removeRequest(&request);
    }
    request.checkAsyncResult();
}

}  // namespace vexil_test
