#include "tests/async/WithheldLooks.h"

#include <curl/curl.h>

#include <dlfcn.h>
#include <limits>

namespace {

constexpr int allLooks = std::numeric_limits<int>::max();

/// How many libcurl still gets on this thread.
thread_local int g_looks = allLooks;

}  // namespace

extern "C" CURLMcode curl_multi_socket_all(CURLM* multi, int* running) {
    if (g_looks <= 0) {
        return curl_multi_socket_action(multi, CURL_SOCKET_TIMEOUT, 0, running);
    }
    g_looks -= g_looks == allLooks ? 0 : 1;
    using Function = CURLMcode(CURLM*, int*);
    const auto original = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "curl_multi_socket_all"));
    return original(multi, running);
}

namespace vexil_test {

WithheldLooks::WithheldLooks() {
    g_looks = 1;
}

WithheldLooks::~WithheldLooks() {
    g_looks = allLooks;
}

}  // namespace vexil_test
