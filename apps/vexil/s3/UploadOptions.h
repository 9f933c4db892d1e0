#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3SigningOptions.h"

#include <optional>
#include <string>

namespace vexil::app {

class CCommandSyntax;
class CS3Access;

/// The options of the commands that store files: what is sent in parts, and when the content is checked.
class CUploadOptions {
public:
    /// A larger file is sent in parts: as many of the default size as are sent at once by default.
    static constexpr int64 defaultLimit = int64{64} << 20;

    CUploadOptions();

    /// Adds --part-size, --jobs and --upload-check.
    void define(CCommandSyntax& syntax, const char* jobsHelp);

    bool isSentInParts(int64 size) const;
    /// In bytes; 0 for the default of the library.
    int64 getPartSize() const;
    int getJobs() const { return m_jobs; }
    /// Nullopt for the default of the library: over https a part is read once. If its ETag is wrong, it is
    /// sent again before the object is made.
    std::optional<S3UploadCheck> getCheckOfParts() const;
    /// For objects that are stored by one request. By default they are read before they are sent: the server
    /// refuses a wrong content, and the second reading finds the file in the memory of the system.
    S3UploadCheck getCheckOfObjects(CS3Access& access) const;

private:
    int m_partSize = 0;  // MiB; 0 if it is not given
    int m_jobs;
    std::string m_check;  // "" if it is not given
};

}  // namespace vexil::app
