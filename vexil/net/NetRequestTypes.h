/// \file
/// The enumerations of CNetRequest's setters.
#pragma once

#include <curl/curl.h>

namespace vexil {

/// Which data the verbose log shows as text. The number of bytes is always shown.
enum VerboseLogData : unsigned int {
    VerboseLogNone = 0,
    VerboseLogSent = 1,
    VerboseLogReceived = 2,
    VerboseLogBoth = 3,
    /// For body data only: the next transfer or reset() changes it to VerboseLogReceived for an upload and to
    /// VerboseLogBoth otherwise.
    VerboseLogAutomatic = 4,
};

/// A version of TLS (RFC 2246, RFC 4346, RFC 5246, RFC 8446).
enum TLSVersion : int {
    TLSVersionDefault = 0,  ///< the choice of libcurl and its TLS library
    TLSVersion1_0 = 10,
    TLSVersion1_1 = 11,
    TLSVersion1_2 = 12,
    TLSVersion1_3 = 13,
};

}  // namespace vexil
