#include "apps/vexil/files/FolderWalker.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/files/PartName.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/platform/Platform.h"

#include <algorithm>
#include <system_error>

namespace vexil::app {

namespace fs = std::filesystem;

namespace {

String describeFailure(const std::error_code& failure) {
    return String::fromUTF8Lossy(failure.message());
}

const char* nameType(fs::file_type type) {
    switch (type) {
    case fs::file_type::symlink:
        return "a link";
    case fs::file_type::block:
    case fs::file_type::character:
        return "a device";
    case fs::file_type::fifo:
        return "a pipe";
    case fs::file_type::socket:
        return "a socket";
    default:
        return "not a regular file";
    }
}

// "./a/" and "a" are the same entry.
fs::path normalize(const std::string& path) {
    const fs::path normal = toPath(path).lexically_normal();
    return normal.has_filename() ? normal : normal.parent_path();
}

}  // namespace

IFolderVisitor::~IFolderVisitor() = default;

CFolderWalker::CFolderWalker(const fs::path& folder, const std::vector<std::string>& excluded)
    : m_folder(folder) {
    std::error_code failure;
    const fs::file_status status = fs::status(folder, failure);
    if (!fs::is_directory(status)) {
        throw CInvalidArgError("CFolderWalker", fs::exists(status)
                                                    ? "'" + describe(folder) + "' is not a folder"
                                                : failure && status.type() != fs::file_type::not_found
                                                    ? "cannot examine the folder '" + describe(folder) +
                                                          "': " + describeFailure(failure)
                                                    : "there is no folder '" + describe(folder) + "'");
    }
    std::transform(excluded.begin(), excluded.end(), std::back_inserter(m_excluded), normalize);
}

void CFolderWalker::walk(IFolderVisitor& visitor) const {
    walkFolder(visitor, fs::path());
}

void CFolderWalker::walkFolder(IFolderVisitor& visitor, const fs::path& relativePath) const {
    std::error_code failure;
    std::vector<fs::path> names = listFolder(m_folder / relativePath, failure);
    if (failure) {
        visitor.onProblem(relativePath.empty() ? fs::path(".") : relativePath,
                          "the folder cannot be read: " + describeFailure(failure));
    } else if (names.empty() && !relativePath.empty()) {
        visitor.onEmptyFolder(relativePath);
    }
    std::sort(names.begin(), names.end(),
              [](const fs::path& left, const fs::path& right) { return left.native() < right.native(); });
    for (const fs::path& name : names) {
        visit(visitor, relativePath / name);
    }
}

void CFolderWalker::visit(IFolderVisitor& visitor, const fs::path& relativePath) const {
    CInterrupt::throwIfRequested();
    if (isExcluded(relativePath)) {
        return;
    }
    std::error_code failure;
    const fs::file_status status = getEntryStatus(m_folder / relativePath, failure);
    if (!fs::status_known(status) || !fs::exists(status)) {
        visitor.onProblem(relativePath, describeFailure(failure));
    } else if (fs::is_directory(status)) {
        visitor.onFolder(relativePath);
        walkFolder(visitor, relativePath);
    } else if (fs::is_regular_file(status) && isPartName(relativePath.filename())) {
        visitor.onPart(relativePath);
    } else if (fs::is_regular_file(status)) {
        visitor.onFile(relativePath);
    } else {
        visitor.onSkipped(relativePath, nameType(status.type()));
    }
}

fs::file_type CFolderWalker::findType(const fs::path& relativePath) const {
    fs::path path;
    fs::file_type type = fs::file_type::directory;
    for (const fs::path& name : relativePath) {
        path /= name;
        if (type != fs::file_type::directory || isExcluded(path)) {
            return fs::file_type::none;
        }
        std::error_code failure;
        type = getEntryStatus(m_folder / path, failure).type();
    }
    return type == fs::file_type::directory || type == fs::file_type::regular ? type : fs::file_type::none;
}

bool CFolderWalker::isExcluded(const fs::path& relativePath) const {
    return std::find(m_excluded.begin(), m_excluded.end(), relativePath) != m_excluded.end();
}

}  // namespace vexil::app
