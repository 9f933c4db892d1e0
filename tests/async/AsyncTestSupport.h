/// \file
/// Shared by the tests of the asynchronous managers.
#pragma once

#include "tests/async/TestEngine.h"
#include "tests/net/NetRequestTestSupport.h"
#include "vexil/async/AsyncNetRequestManager.h"

#include <chrono>
#include <string>

namespace vexil_test {

/// Its transfer ends in its first step, with CURLE_UNSUPPORTED_PROTOCOL.
inline constexpr const char* endsAtOnce = "nosuch://host/";

/// A complete response, after which the connection is kept.
inline std::string answerOf(const std::string& statusLine, const std::string& body) {
    return statusLine + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

inline P<OpenRequest> makeRequest(const std::string& url) {
    P<OpenRequest> request = new OpenRequest;
    request->setProxy("");
    request->setURL(url.c_str());
    return request;
}

/// A manager with all members accessible.
class OpenManager : public TestManager {
public:
    using CAsyncNetRequestManager::handleFinishedRequests;
    using CAsyncNetRequestManager::removeRequest;
};

/// Waits and handles events until no request runs, and returns how many have ended.
inline int driveToEnd(vexil::CAsyncNetRequestManager& manager,
                      vexil::TArray<P<CNetRequest>>* finished = nullptr) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    int count = 0;
    while (manager.getRequestCount() > 0) {
        if (std::chrono::steady_clock::now() > limit) {
            ADD_FAILURE() << manager.getRequestCount() << " requests do not end";
            manager.removeAllRequests();
            break;
        }
        manager.waitForEvents(-1);
        count += manager.handleEvents(finished);
    }
    return count;
}

/// The same until `isReached()`, for a state that must not be waited for.
template <class Condition>
bool driveUntil(vexil::CAsyncNetRequestManager& manager, Condition isReached) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (!isReached()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        manager.waitForEvents(10);
        manager.handleEvents(nullptr);
    }
    return true;
}

/// Milliseconds that a call takes.
template <class Call>
double millisecondsOf(Call call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace vexil_test
