#include "apps/vexil/files/MakeFolders.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Platform.h"
#include "vexil/BaseTypes.h"

#include <system_error>

namespace vexil::app {

namespace fs = std::filesystem;

// One folder at a time: a link on the way could lead elsewhere.
void makeFoldersBelow(const fs::path& folder, const fs::path& relativePath,
                      const std::function<void(const fs::path& file)>& replaceFile) {
    fs::path path = folder;
    for (const fs::path& name : relativePath) {
        path /= name;
        std::error_code failure;
        const fs::file_status status = getEntryStatus(path, failure);
        if (fs::is_directory(status)) {
            continue;
        }
        if (fs::is_regular_file(status) && replaceFile) {
            replaceFile(path);
        } else if (fs::exists(status)) {
            throw CError("Cannot make the folder '" + describe(path) + "': there is " +
                             (fs::is_symlink(status) ? "a link" : "a file") + " of this name",
                         "system");
        } else if (!fs::create_directory(path, failure)) {
            throw CError("Cannot make the folder '" + describe(path) +
                             "': " + String::fromUTF8Lossy(failure.message()),
                         "system", failure.value());
        }
    }
}

}  // namespace vexil::app
