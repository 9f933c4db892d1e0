#pragma once

#include "vexil/BaseTypes.h"

#include <optional>

namespace vexil::app {

/// What a backup with an index does beside storing files.
struct CBackupOptions {
    /// Delete files in the store that the folder does not have any more. Files that the walk leaves out stay.
    bool deletes = false;
    /// If more files than this had to be deleted, none is deleted. By default 1,000, and not more than half
    /// of the files in the store.
    std::optional<int64> maxDeletions = {};
};

}  // namespace vexil::app
