#pragma once

#include "vexil/BaseTypes.h"
#include "zet/Time.h"

#include <chrono>

namespace vexil {

/// One try of an operation, see CTryLog. It has no URL and no secrets.
///
/// Thread safety: a plain value.
struct CTryRecord {
    int number = 0;                         ///< from 1
    bool hasFailed = false;                 ///< false for the try that succeeded
    zet::CTime start = zet::CTime();        ///< by the clock of the system
    std::chrono::microseconds duration{0};  ///< from the start to the result
    int64 uploadedBytes = 0;                ///< of bodies
    int64 downloadedBytes = 0;              ///< of bodies
    /// The CURLcode: 22 for a refusal of the server, 0 if the transfer itself succeeded.
    int curlCode = 0;
    int status = 0;       ///< the last response code of the server (HTTP, FTP, SMTP); 0 for none
    String message = {};  ///< of the server, otherwise of the error; one line of at most 500 characters
    std::chrono::milliseconds pause{0};  ///< before the next try; 0 for the last one
};

}  // namespace vexil
