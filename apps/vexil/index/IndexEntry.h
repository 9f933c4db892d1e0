#pragma once

#include "apps/vexil/base/FileTime.h"
#include "vexil/BaseTypes.h"

#include <optional>
#include <string>

namespace vexil::app {

/// The kinds of entries that an index keeps.
enum class EntryKind { File, Folder, Link };

/// The user and the group of an entry, as numbers of the computer that made the backup.
struct CEntryOwner {
    int64 user = 0;
    int64 group = 0;

    bool operator==(const CEntryOwner&) const = default;
};

/// What a restore needs of an entry beside the content, and what tells whether the content has changed.
struct CEntryFacts {
    EntryKind kind = EntryKind::File;
    /// Whether the file was changed so shortly before it was stored that size and time do not tell a further
    /// change.
    bool isUnsettled = false;
    int64 size = 0;                    ///< in bytes; 0 for everything but files
    std::optional<CFileTime> time;     ///< of the last change; nullopt if it is unknown
    std::optional<int> mode;           ///< the lowest 12 bits of the mode of POSIX; nullopt if it is unknown
    std::optional<CEntryOwner> owner;  ///< nullopt if it is not kept
    std::string eTag;                  ///< what the server said of the stored content; "" for nothing

    bool operator==(const CEntryFacts&) const = default;
};

/// One entry of a backup.
struct CIndexEntry : CEntryFacts {
    /// Relative to the folder of the backup, with "/" between the names: UTF-8, on Linux any bytes.
    std::string path;
    std::string target;  ///< of a link, as it stands in the link: any bytes

    bool operator==(const CIndexEntry&) const = default;
};

}  // namespace vexil::app
