#pragma once

#include "apps/vexil/base/FileTime.h"
#include "vexil/BaseTypes.h"

#include <filesystem>
#include <optional>
#include <system_error>

namespace vexil::app {

/// What a file system keeps beside the content of an entry.
struct CFileFacts {
    int64 size = 0;              ///< of a file, in bytes
    CFileTime time;              ///< when it was changed last
    std::optional<int> mode;     ///< the lowest 12 bits of the mode of POSIX; nullopt on Windows
    int64 readAt = 0;            ///< when these facts were read: seconds since 1970-01-01 00:00 UTC
    bool hasOtherNames = false;  ///< a file to which other hard links lead, too
};

/// Reads the facts of an entry. A link is not followed.
/// \param failure  set if they cannot be read, cleared otherwise
CFileFacts readFileFacts(const std::filesystem::path& path, std::error_code& failure);

/// Sets the facts of an entry that are given. A link is not followed, and its mode is not set.
/// \param mode     ignored on Windows
/// \param failure  set if one of them cannot be set, cleared otherwise
void setFileFacts(const std::filesystem::path& path, const std::optional<CFileTime>& time,
                  const std::optional<int>& mode, std::error_code& failure);

}  // namespace vexil::app
