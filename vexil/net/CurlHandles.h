/// \file
/// Owners of libcurl's objects.
#pragma once

#include <curl/curl.h>

#include <memory>

namespace vexil {

/// Gives libcurl's objects back to it.
struct CCurlDeleter {
    /// @{

    /// Frees the object by the function that libcurl has for its kind. It must not be in use.
    void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
    void operator()(char* text) const noexcept { curl_free(text); }
    /// @}
};

/// Gives a multi handle back to libcurl, to which it is of the same type as an easy handle.
struct CCurlMultiDeleter {
    /// Frees the handle; no easy handle may be on it.
    void operator()(CURLM* handle) const noexcept { curl_multi_cleanup(handle); }
};

/// Gives a share handle back to libcurl, to which it is of the same type as an easy handle.
struct CCurlShareDeleter {
    /// Frees the handle, with the connections that it keeps; no easy handle may use it.
    void operator()(CURLSH* handle) const noexcept { curl_share_cleanup(handle); }
};

/// Owner of an easy handle.
using CurlEasyHandle = std::unique_ptr<CURL, CCurlDeleter>;
/// Owner of a multi handle.
using CurlMultiHandle = std::unique_ptr<CURLM, CCurlMultiDeleter>;
/// Owner of a share handle.
using CurlShareHandle = std::unique_ptr<CURLSH, CCurlShareDeleter>;
/// Owner of a list, from its head on.
using CurlStringList = std::unique_ptr<curl_slist, CCurlDeleter>;
/// Owner of a text that libcurl has allocated.
using CurlString = std::unique_ptr<char, CCurlDeleter>;

}  // namespace vexil
