#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3Checksum.h"

#include <filesystem>

namespace vexil {

/// What another process needs to resume the upload of a file. It has no secrets.
struct CS3ResumeToken {
    String bucket;
    String key;
    String uploadId;
    int64 partSize = 0;
    int64 size = 0;                          ///< of the file
    int64 modified = 0;                      ///< see getFileTime()
    S3Checksum checksum = S3Checksum::None;  ///< of the parts

    /// One line of ASCII.
    String toText() const;
    /// \param place  for the error
    /// \throws CInvalidArgError for any text that toText() does not make
    static CS3ResumeToken parse(const char* place, const String& text);
};

/// The time of a file's last change in units and from an epoch of the system; 0 if it is unknown.
int64 getFileTime(const std::filesystem::path& path) noexcept;

}  // namespace vexil
