#pragma once

namespace vexil {

/// How a manager finds the transfers that can continue.
enum class AsyncEngine {
    /// select() for up to 400 requests (32 on Windows): the cost of each step grows with their number. As
    /// Sockets for more, and where select() does not support a descriptor.
    Automatic,
    /// epoll on Linux, WSAPoll on Windows, with curl_multi_socket_action(): the cost of a step grows with the
    /// number of transfers that can continue, not with those that wait. libcurl calls progress callbacks of a
    /// transfer that waits about once a second, with many transfers less often, instead of in each step.
    Sockets,
};

}  // namespace vexil
