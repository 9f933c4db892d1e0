/// \file
/// Owners of libcurl's objects.
#pragma once

#include <curl/curl.h>

#include <memory>

namespace vexil {

/// Frees libcurl's objects.
struct CCurlDeleter {
    /// @{

    /// Frees the object with libcurl's function for its kind. It must not be in use.
    void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
    void operator()(char* text) const noexcept { curl_free(text); }
    void operator()(CURLU* url) const noexcept { curl_url_cleanup(url); }
    /// @}
};

/// Frees a multi handle, which in libcurl has the same type as an easy handle.
struct CCurlMultiDeleter {
    /// Frees the handle. It must not contain an easy handle.
    void operator()(CURLM* handle) const noexcept { curl_multi_cleanup(handle); }
};

/// Frees a share handle, which in libcurl has the same type as an easy handle.
struct CCurlShareDeleter {
    /// Frees the handle and its connections. No easy handle may use it.
    void operator()(CURLSH* handle) const noexcept { curl_share_cleanup(handle); }
};

/// Owner of an easy handle.
using CurlEasyHandle = std::unique_ptr<CURL, CCurlDeleter>;
/// Owner of a multi handle.
using CurlMultiHandle = std::unique_ptr<CURLM, CCurlMultiDeleter>;
/// Owner of a share handle.
using CurlShareHandle = std::unique_ptr<CURLSH, CCurlShareDeleter>;
/// Owner of a whole list, through its first node.
using CurlStringList = std::unique_ptr<curl_slist, CCurlDeleter>;
/// Owner of a text that libcurl has allocated.
using CurlString = std::unique_ptr<char, CCurlDeleter>;
/// Owner of a URL that libcurl takes apart.
using CurlURL = std::unique_ptr<CURLU, CCurlDeleter>;

}  // namespace vexil
