#include "apps/vexil/files/TemporaryFolder.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/files/PartName.h"

#include <system_error>

namespace vexil::app {

namespace fs = std::filesystem;

CTemporaryFolder::CTemporaryFolder() {
    std::error_code failure;
    const fs::path parent = fs::temp_directory_path(failure);
    const fs::path path = parent / toPath("vexil-" + makeRandomDigits());
    // False without a failure: somebody else has made it.
    if (failure || !fs::create_directory(path, failure)) {
        throw CError("Cannot make the folder '" + describe(path) +
                         "' for temporary files: " + String::fromUTF8Lossy(failure.message()),
                     "system", failure.value());
    }
    m_path = path;
    fs::permissions(m_path, fs::perms::owner_all, failure);
}

CTemporaryFolder::~CTemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

}  // namespace vexil::app
