#pragma once

#include <curl/curl.h>

namespace vexil_test {

/// Whether libcurl asks with "Expect: 100-continue" before it sends the body of any PUT. From version 8.7 on it does so
/// only for bodies of more than 1 MiB or of unknown size.
inline bool doSmallPutsAskFirst() {
    return curl_version_info(CURLVERSION_NOW)->version_num < 0x080700;
}

/// The header line of a PUT of few bytes, or nothing.
inline const char* expectLineOfSmallPuts() {
    return doSmallPutsAskFirst() ? "Expect: 100-continue\r\n" : "";
}

/// Whether a source that holds more than its declared size makes an FTP upload fail. From version 8.7 on libcurl sends
/// the declared size and is content.
inline bool doLongFTPUploadsFail() {
    return curl_version_info(CURLVERSION_NOW)->version_num < 0x080700;
}

/// Whether TLS sessions belong to what drives the requests. Before version 8.12 each request has its own.
inline bool doRequestsShareTLSSessions() {
    return curl_version_info(CURLVERSION_NOW)->version_num >= 0x080c00;
}

}  // namespace vexil_test
