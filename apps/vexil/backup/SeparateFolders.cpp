#include "apps/vexil/backup/SeparateFolders.h"

#include "apps/vexil/backup/Destination.h"
#include "apps/vexil/base/Text.h"

#include <algorithm>
#include <system_error>

namespace vexil::app {

namespace fs = std::filesystem;

namespace {

/// Without links, as far as the path exists.
fs::path resolve(const fs::path& path) {
    std::error_code failure;
    fs::path resolved = fs::weakly_canonical(path, failure);
    if (failure) {
        resolved = fs::absolute(path).lexically_normal();
    }
    return resolved.has_filename() ? resolved : resolved.parent_path();
}

bool isWithin(const fs::path& path, const fs::path& folder) {
    return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first == folder.end();
}

}  // namespace

void checkSeparate(const CDestination& destination, const fs::path& folder) {
    if (destination.kind != CDestination::Kind::Folder) {
        return;
    }
    const fs::path first = resolve(destination.folder);
    const fs::path second = resolve(folder);
    if (isWithin(first, second) || isWithin(second, first)) {
        throw CInvalidArgError("checkSeparate",
                               "the folders '" + describe(destination.folder) + "' and '" + describe(folder) +
                                   "' must not be the same, and neither may lie in the other");
    }
}

}  // namespace vexil::app
