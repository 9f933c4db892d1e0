/// \file
/// Owners of libcurl's objects.
#pragma once

#include <curl/curl.h>

#include <memory>

namespace vexil {

struct CCurlDeleter {
    void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
    void operator()(char* text) const noexcept { curl_free(text); }
};

using CurlEasyHandle = std::unique_ptr<CURL, CCurlDeleter>;
using CurlStringList = std::unique_ptr<curl_slist, CCurlDeleter>;
using CurlString = std::unique_ptr<char, CCurlDeleter>;

}  // namespace vexil
