#pragma once

#include <curl/curl.h>

namespace vexil_test {

/// True if libcurl sends "Expect: 100-continue" before the body of every PUT. From version 8.7 on it does so
/// only for bodies of more than 1 MiB or of unknown size.
inline bool doSmallPutsAskFirst() {
    return curl_version_info(CURLVERSION_NOW)->version_num < 0x080700;
}

/// The header line of a PUT of few bytes; "" if there is none.
inline const char* expectLineOfSmallPuts() {
    return doSmallPutsAskFirst() ? "Expect: 100-continue\r\n" : "";
}

/// True if an FTP upload fails because its source has more bytes than the declared size. From version 8.7 on
/// libcurl sends the declared size, which is a success.
inline bool doLongFTPUploadsFail() {
    return curl_version_info(CURLVERSION_NOW)->version_num < 0x080700;
}

/// True if TLS sessions belong to whatever drives the requests. Before version 8.12 each request has its own.
inline bool doRequestsShareTLSSessions() {
    return curl_version_info(CURLVERSION_NOW)->version_num >= 0x080c00;
}

}  // namespace vexil_test
