#include "tests/async/MultiCalls.h"

#include <cstdarg>
#include <dlfcn.h>
#include <unistd.h>

namespace vexil_test {

namespace {

template <class Function>
Function* original(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// The servers of the tests have threads of their own.
bool isFirstThread() {
    return gettid() == getpid();
}

}  // namespace

MultiCalls& multiCalls() {
    static auto* const calls = new MultiCalls;
    return *calls;
}

}  // namespace vexil_test

using vexil_test::isFirstThread;
using vexil_test::multiCalls;
using vexil_test::original;

extern "C" {

CURLcode curl_global_init(long flags) {
    static auto* const real = original<CURLcode(long)>("curl_global_init");
    multiCalls().names.emplace_back("global_init");
    return real(flags);
}

CURLM* curl_multi_init() {
    static auto* const real = original<CURLM*()>("curl_multi_init");
    multiCalls().names.emplace_back("init");
    return multiCalls().onInit ? multiCalls().onInit() : real();
}

CURLMcode curl_multi_cleanup(CURLM* multi) {
    static auto* const real = original<CURLMcode(CURLM*)>("curl_multi_cleanup");
    multiCalls().names.emplace_back("cleanup");
    return real(multi);
}

CURLMcode curl_multi_add_handle(CURLM* multi, CURL* handle) {
    static auto* const real = original<CURLMcode(CURLM*, CURL*)>("curl_multi_add_handle");
    multiCalls().names.emplace_back("add_handle");
    multiCalls().added.push_back(handle);
    return multiCalls().onAdd ? multiCalls().onAdd(handle) : real(multi, handle);
}

CURLMcode curl_multi_remove_handle(CURLM* multi, CURL* handle) {
    static auto* const real = original<CURLMcode(CURLM*, CURL*)>("curl_multi_remove_handle");
    multiCalls().names.emplace_back("remove_handle");
    multiCalls().removed.push_back(handle);
    const CURLMcode code = multiCalls().onRemove ? multiCalls().onRemove(handle) : CURLM_OK;
    return code == CURLM_OK ? real(multi, handle) : code;
}

CURLMcode curl_multi_perform(CURLM* multi, int* running) {
    static auto* const real = original<CURLMcode(CURLM*, int*)>("curl_multi_perform");
    multiCalls().names.emplace_back("perform");
    return multiCalls().onPerform ? multiCalls().onPerform(running) : real(multi, running);
}

CURLMsg* curl_multi_info_read(CURLM* multi, int* left) {
    static auto* const real = original<CURLMsg*(CURLM*, int*)>("curl_multi_info_read");
    multiCalls().names.emplace_back("info_read");
    return multiCalls().onInfoRead ? multiCalls().onInfoRead() : real(multi, left);
}

CURLMcode curl_multi_fdset(CURLM* multi, fd_set* read, fd_set* write, fd_set* error, int* highest) {
    static auto* const real =
        original<CURLMcode(CURLM*, fd_set*, fd_set*, fd_set*, int*)>("curl_multi_fdset");
    multiCalls().names.emplace_back("fdset");
    return multiCalls().onFdset ? multiCalls().onFdset(read, write, error, highest)
                                : real(multi, read, write, error, highest);
}

CURLMcode curl_multi_timeout(CURLM* multi, long* milliseconds) {
    static auto* const real = original<CURLMcode(CURLM*, long*)>("curl_multi_timeout");
    multiCalls().names.emplace_back("timeout");
    return multiCalls().onTimeout ? multiCalls().onTimeout(milliseconds) : real(multi, milliseconds);
}

CURLMcode curl_multi_poll(CURLM* multi, curl_waitfd* extra, unsigned int extraCount, int milliseconds,
                          int* ready) {
    static auto* const real =
        original<CURLMcode(CURLM*, curl_waitfd*, unsigned int, int, int*)>("curl_multi_poll");
    multiCalls().names.emplace_back("poll");
    return multiCalls().onPoll ? multiCalls().onPoll(extra, extraCount, milliseconds, ready)
                               : real(multi, extra, extraCount, milliseconds, ready);
}

int select(int count, fd_set* read, fd_set* write, fd_set* error, timeval* time) {
    static auto* const real = original<int(int, fd_set*, fd_set*, fd_set*, timeval*)>("select");
    multiCalls().names.emplace_back("select");
    return multiCalls().onSelect ? multiCalls().onSelect(count, read, write, error, time)
                                 : real(count, read, write, error, time);
}

CURLMcode curl_multi_socket_all(CURLM* multi, int* running) {
    static auto* const real = original<CURLMcode(CURLM*, int*)>("curl_multi_socket_all");
    multiCalls().names.emplace_back("socket_all");
    return multiCalls().onSocketAll ? multiCalls().onSocketAll(running) : real(multi, running);
}

// A macro of libcurl has its name.
#undef curl_multi_setopt
CURLMcode curl_multi_setopt(CURLM* multi, CURLMoption option, ...) {
    static auto* const real = original<CURLMcode(CURLM*, CURLMoption, ...)>("curl_multi_setopt");
    va_list arguments;
    va_start(arguments, option);
    const CURLMcode code = [&] {
        if (option < CURLOPTTYPE_OBJECTPOINT) {
            return real(multi, option, va_arg(arguments, long));
        }
        void* const value = va_arg(arguments, void*);
        if (option == CURLMOPT_SOCKETFUNCTION) {
            multiCalls().socketFunction = reinterpret_cast<curl_socket_callback>(value);
        } else if (option == CURLMOPT_SOCKETDATA) {
            multiCalls().socketData = value;
        }
        return real(multi, option, value);
    }();
    va_end(arguments);
    return code;
}

int epoll_create1(int flags) noexcept {
    static auto* const real = original<int(int)>("epoll_create1");
    return isFirstThread() && multiCalls().onEpollCreate ? multiCalls().onEpollCreate() : real(flags);
}

int epoll_wait(int descriptor, epoll_event* events, int count, int milliseconds) {
    static auto* const real = original<int(int, epoll_event*, int, int)>("epoll_wait");
    if (!isFirstThread()) {
        return real(descriptor, events, count, milliseconds);
    }
    multiCalls().names.emplace_back("epoll_wait");
    return multiCalls().onEpollWait ? multiCalls().onEpollWait(milliseconds)
                                    : real(descriptor, events, count, milliseconds);
}

}  // extern "C"
