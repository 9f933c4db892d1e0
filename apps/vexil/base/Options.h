#pragma once

#include <optional>
#include <string>

namespace vexil::app {

/// How much the program says on standard error. Each level includes the ones above it.
enum class Verbosity {
    Quiet,    ///< nothing
    Error,    ///< what has failed
    Warning,  ///< progress, and what the user should look at
    Info,     ///< retries and continued downloads
    Debug,    ///< every message on the wire, without the credentials
};

/// How a connection to an FTP server is protected.
enum class FTPSecurity {
    None,      ///< not at all: everything, the password included, can be read on the way
    Explicit,  ///< begins in plain, goes on under TLS before the login (RFC 4217)
    Implicit,  ///< TLS from the first byte
};

/// The newest version of TLS that connections to an FTP server may use.
enum class FTPMaxTLS {
    TLS12,
    TLS13,
};

/// The options that every command knows. Texts are UTF-8 (on Linux: bytes as given).
struct COptions {
    std::string endpoint;  ///< "" for the environment's or the library's default
    bool verify = true;
    std::string caBundle;              ///< "" for the default, see CTrustedCertificates
    bool nativeCA = false;             ///< trust whom the operating system trusts
    std::optional<std::string> proxy;  ///< see CProxyChoice; none for what libcurl reads in the environment
    bool redirectToHTTP = false;       ///< follow redirects from https to http
    double timeoutSeconds = 0;         ///< of one whole request; 0 for none
    std::optional<int> retries;        ///< of one operation; none for as many as the patience allows
    std::optional<double> patienceSeconds;  ///< see CPatience; none for its defaults
    Verbosity verbosity = Verbosity::Warning;
    std::string verboseLog;       ///< file for all messages on the wire; "" for none
    std::string credentialsFile;  ///< "" for the environment's credentials

    bool verifyETag = true;  ///< of S3 objects, where it is an MD5

    std::string ftpServer;  ///< host, perhaps with a port; "" for the environment's
    FTPSecurity ftpSecurity = FTPSecurity::Explicit;
    /// Over TLS 1.3, servers that demand resumed sessions refuse most data connections of libcurl.
    FTPMaxTLS ftpMaxTLS = FTPMaxTLS::TLS12;
};

}  // namespace vexil::app
