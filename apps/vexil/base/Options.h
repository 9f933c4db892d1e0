#pragma once

#include <optional>
#include <string>

namespace vexil::app {

/// How much the program reports on standard error. Each level includes the levels above it.
enum class Verbosity {
    Quiet,    ///< nothing
    Error,    ///< failures
    Warning,  ///< progress, and facts that the user should check
    Info,     ///< retries and continued downloads
    Debug,    ///< every message on the wire, without the credentials
};

/// How a connection to an FTP server is protected.
enum class FTPSecurity {
    None,      ///< no encryption: everything, also the password, can be read on the way
    Explicit,  ///< begins without TLS and continues with TLS before the login (RFC 4217)
    Implicit,  ///< TLS from the first byte
};

/// The newest version of TLS that connections to an FTP server may use.
enum class FTPMaxTLS {
    TLS12,
    TLS13,
};

/// The options of all commands. Texts are UTF-8 (on Linux: bytes as given).
struct COptions {
    std::string endpoint;  ///< "" for the environment's or the library's default
    bool verify = true;
    std::string caBundle;   ///< "" for the default, see CTrustedCertificates
    bool nativeCA = false;  ///< trust the certificates that the operating system trusts
    /// see CProxyChoice; nullopt for the proxies that libcurl reads from the environment
    std::optional<std::string> proxy;
    bool redirectToHTTP = false;            ///< follow redirects from https to http
    double timeoutSeconds = 0;              ///< of one whole request; 0 for no limit
    long long bytesPerSecond = 0;           ///< of all transfers together, in each direction; 0 for no limit
    std::optional<int> retries;             ///< of one operation; nullopt for as many as the patience allows
    std::optional<double> patienceSeconds;  ///< see vexil::CRetryPolicy; nullopt for its defaults
    Verbosity verbosity = Verbosity::Warning;
    bool isQuiet = false;            ///< print errors only
    bool isVerbose = false;          ///< name the files in transfer, too
    bool hasEvents = false;          ///< print JSON lines
    std::string logFile;             ///< file for all messages; "" for none
    std::string verboseLog;          ///< file for all messages on the wire; "" for no log
    std::string credentialsFile;     ///< "" for the environment's credentials
    std::string credentialsCommand;  ///< prints such a file; "" for none

    /// Whether the credentials do not come from the environment.
    bool hasCredentialsSource() const { return !credentialsFile.empty() || !credentialsCommand.empty(); }

    bool verifyETag = true;       ///< of S3 objects, if it is an MD5
    int s3Signature = 4;          ///< version of the signature, 2 or 4
    std::string s3Region;         ///< "" for the environment's or the library's default
    bool s3VirtualHosts = false;  ///< buckets are in host names
    std::string s3Profile;        ///< of Amazon's credentials file; "" for other credentials

    std::string ftpServer;  ///< host, optionally with a port; "" for the environment's
    FTPSecurity ftpSecurity = FTPSecurity::Explicit;
    /// Over TLS 1.3, servers that demand resumed sessions refuse most of libcurl's data connections.
    FTPMaxTLS ftpMaxTLS = FTPMaxTLS::TLS12;
};

}  // namespace vexil::app
