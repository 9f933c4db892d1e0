/// \file
/// Linux: a program that has MultiCalls.cpp and exports its symbols defines libcurl's multi interface and
/// select() and epoll itself. It sees every call of the library, and may replace it.
#pragma once

#include <curl/curl.h>

#include <functional>
#include <string>
#include <sys/epoll.h>
#include <sys/select.h>
#include <vector>

namespace vexil_test {

/// The calls of this process. For one thread.
struct MultiCalls {
    /// Their names without "curl_" and "multi_", in order.
    std::vector<std::string> names;
    /// The handles of "add_handle" and "remove_handle".
    std::vector<CURL*> added;
    std::vector<CURL*> removed;
    /// What libcurl was told to call for its sockets, of the last manager with an engine.
    curl_socket_callback socketFunction = nullptr;
    void* socketData = nullptr;

    /// @{

    /// Replaces a call; an empty one leaves it to the original.
    std::function<CURLM*()> onInit;
    std::function<CURLMcode(CURL*)> onAdd;
    std::function<CURLMcode(CURL*)> onRemove;
    std::function<CURLMcode(int* running)> onPerform;
    std::function<CURLMsg*()> onInfoRead;
    std::function<CURLMcode(fd_set* read, fd_set* write, fd_set* error, int* highest)> onFdset;
    std::function<CURLMcode(long* milliseconds)> onTimeout;
    std::function<CURLMcode(curl_waitfd* extra, unsigned int extraCount, int milliseconds, int* ready)>
        onPoll;
    std::function<int(int count, fd_set* read, fd_set* write, fd_set* error, timeval* time)> onSelect;
    std::function<CURLMcode(int* running)> onSocketAll;
    /// Only for calls on the first thread.
    std::function<int()> onEpollCreate;
    std::function<int(int milliseconds)> onEpollWait;
    /// @}
};

/// Exists before any static of the program.
MultiCalls& multiCalls();

}  // namespace vexil_test
