#pragma once

#include "apps/vexil/base/Options.h"
#include "vexil/BaseTypes.h"

#include <filesystem>
#include <string>

namespace vexil::app {

/// Where a backup is kept, as a URL names it: "s3://bucket/prefix", "ftp://host:port/directory",
/// "ftps://host/directory" or "file:///folder". Characters may be percent-encoded; "%", "?" and "#" must be.
struct CDestination {
    enum class Kind { S3, FTP, Folder };

    Kind kind = Kind::Folder;
    String bucket;                                 ///< of S3
    String prefix;                                 ///< of S3: the folder within the bucket, "" for all of it
    String server;                                 ///< of FTP: host, optionally with a port
    FTPSecurity security = FTPSecurity::Explicit;  ///< of FTP
    std::string directory;                         ///< of FTP: begins with "/"
    std::filesystem::path folder;                  ///< of this computer: begins with "/", or with a drive

    /// \param ftpSecurity  of "ftp://"; "ftps://" is always TLS from the first byte
    /// \throws CInvalidArgError that names the part of the URL that is wrong
    static CDestination parse(const std::string& url, FTPSecurity ftpSecurity);
};

}  // namespace vexil::app
