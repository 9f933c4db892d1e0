#pragma once

#include "vexil/net/NetRequest.h"

namespace vexil {

/// Releases a request's streams at the end of an operation: they may be objects on the caller's stack.
class CS3StreamRelease {
public:
    explicit CS3StreamRelease(CNetRequest& request) : m_request(request) {}
    ~CS3StreamRelease() {
        m_request.setSendDataSource(nullptr);
        m_request.setDefaultReceiveDataStream();
    }
    CS3StreamRelease(const CS3StreamRelease&) = delete;
    CS3StreamRelease& operator=(const CS3StreamRelease&) = delete;

private:
    CNetRequest& m_request;
};

}  // namespace vexil
