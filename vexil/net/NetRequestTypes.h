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

/// Whether a connection that begins without TLS switches to it: AUTH TLS of FTP (RFC 4217), STARTTLS of SMTP
/// (RFC 3207).
enum class TLSUpgrade : int {
    Never = CURLUSESSL_NONE,
    IfOffered = CURLUSESSL_TRY,              ///< continues without TLS if the server refuses
    ControlConnection = CURLUSESSL_CONTROL,  ///< FTP: fails without TLS, but data may travel without it
    Required = CURLUSESSL_ALL,               ///< fails without TLS
};

/// How an FTP transfer goes to the directory of its file.
enum class FTPFileMethod : int {
    Default = CURLFTPMETHOD_DEFAULT,       ///< libcurl's: MultipleCWD
    MultipleCWD = CURLFTPMETHOD_MULTICWD,  ///< one CWD for each directory of the path (RFC 1738)
    NoCWD = CURLFTPMETHOD_NOCWD,           ///< no CWD: commands take the whole path
    SingleCWD = CURLFTPMETHOD_SINGLECWD,   ///< one CWD with the path of the directory
};

/// What an FTP transfer does if a directory of its path does not exist.
enum class FTPMissingDirs : int {
    Fail = CURLFTP_CREATE_DIR_NONE,
    Create = CURLFTP_CREATE_DIR,  ///< MKD, then CWD
    CreateAndRetry =
        CURLFTP_CREATE_DIR_RETRY,  ///< CWD once more even if MKD fails: another client may have made it
};

}  // namespace vexil
