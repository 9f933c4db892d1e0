#include "apps/vexil/files/FolderWalker.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/files/PartName.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/platform/Platform.h"

#include <algorithm>
#include <iterator>
#include <system_error>
#include <utility>

namespace vexil::app {

namespace fs = std::filesystem;
using Verdict = CEntryFilter::Verdict;

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

CFolderWalker::CFolderWalker(const fs::path& folder, const CEntryFilter& filter)
    : CFolderWalker(folder, std::vector<std::string>()) {
    m_filter = filter;
    if (filter.isOneFileSystem()) {
        m_fileSystem = getFileSystem(folder);
    }
}

/// One walk.
class CFolderWalker::CWalk {
public:
    CWalk(const CFolderWalker& walker, IFolderVisitor& visitor) : m_walker(walker), m_visitor(visitor) {}

    void walkFolder(const fs::path& relativePath, Verdict verdict) {
        std::error_code failure;
        std::vector<fs::path> names = listFolder(m_walker.m_folder / relativePath, failure);
        if (failure) {
            tellFolders();
            m_visitor.onProblem(relativePath.empty() ? fs::path(".") : relativePath,
                                "the folder cannot be read: " + describeFailure(failure));
        } else if (names.empty() && !relativePath.empty() && m_untold.empty()) {
            m_visitor.onEmptyFolder(relativePath);
        }
        std::sort(names.begin(), names.end(),
                  [](const fs::path& left, const fs::path& right) { return left.native() < right.native(); });
        for (const fs::path& name : names) {
            visit(relativePath / name, verdict);
        }
    }

private:
    void visit(const fs::path& relativePath, Verdict ofFolder) {
        CInterrupt::throwIfRequested();
        if (m_walker.isExcluded(relativePath)) {
            return;
        }
        std::error_code failure;
        const fs::path path = m_walker.m_folder / relativePath;
        const fs::file_status status = getEntryStatus(path, failure);
        const bool isFolder = fs::is_directory(status);
        const Verdict verdict = m_walker.m_filter.decide(relativePath, isFolder, ofFolder);
        const bool isTaken = m_walker.m_filter.takes(verdict);
        if (isFolder) {
            if (verdict != Verdict::LeftOut) {
                visitFolder(relativePath, verdict, isTaken);
            }
            return;
        }
        if (!isTaken || (fs::is_regular_file(status) && !m_walker.m_filter.takesFile(path))) {
            return;
        }
        tellFolders();
        if (!fs::status_known(status) || !fs::exists(status)) {
            m_visitor.onProblem(relativePath, describeFailure(failure));
        } else if (fs::is_regular_file(status) && isPartName(relativePath.filename())) {
            m_visitor.onPart(relativePath);
        } else if (fs::is_regular_file(status)) {
            m_visitor.onFile(relativePath);
        } else {
            m_visitor.onSkipped(relativePath, nameType(status.type()));
        }
    }

    /// A folder that is not taken itself is told with the first entry in it that is.
    void visitFolder(const fs::path& relativePath, Verdict verdict, bool isTaken) {
        const std::size_t untold = m_untold.size();
        m_untold.push_back(relativePath);
        if (isTaken) {
            tellFolders();
        }
        if (!m_walker.isOutside(relativePath)) {
            walkFolder(relativePath, verdict);
        }
        m_untold.resize(std::min(untold, m_untold.size()));
    }

    void tellFolders() {
        for (const fs::path& folder : std::exchange(m_untold, {})) {
            m_visitor.onFolder(folder);
        }
    }

    const CFolderWalker& m_walker;
    IFolderVisitor& m_visitor;
    std::vector<fs::path> m_untold;  // folders that the visitor does not know yet, each within the one before
};

void CFolderWalker::walk(IFolderVisitor& visitor) const {
    CWalk(*this, visitor).walkFolder(fs::path(), Verdict::Undecided);
}

fs::file_type CFolderWalker::findType(const fs::path& relativePath) const {
    fs::path path;
    fs::file_type type = fs::file_type::directory;
    Verdict verdict = Verdict::Undecided;
    for (const fs::path& name : relativePath) {
        if (type != fs::file_type::directory || isOutside(path)) {
            return fs::file_type::none;
        }
        path /= name;
        std::error_code failure;
        type = getEntryStatus(m_folder / path, failure).type();
        verdict = m_filter.decide(path, type == fs::file_type::directory, verdict);
        if (isExcluded(path) || verdict == Verdict::LeftOut) {
            return fs::file_type::none;
        }
    }
    if (type == fs::file_type::regular) {
        return m_filter.takes(verdict) && m_filter.takesFile(m_folder / path) ? type : fs::file_type::none;
    }
    return type == fs::file_type::directory ? type : fs::file_type::none;
}

bool CFolderWalker::leavesOut(const fs::path& relativePath) const {
    fs::path path;
    Verdict verdict = Verdict::Undecided;
    for (auto name = relativePath.begin(); name != relativePath.end(); ++name) {
        if (isOutside(path)) {
            return true;
        }
        path /= *name;
        verdict = m_filter.decide(path, std::next(name) != relativePath.end(), verdict);
        if (isExcluded(path) || verdict == Verdict::LeftOut) {
            return true;
        }
    }
    return !m_filter.takes(verdict);
}

bool CFolderWalker::isOutside(const fs::path& relativePath) const {
    return m_fileSystem && getFileSystem(m_folder / relativePath) != m_fileSystem;
}

bool CFolderWalker::isExcluded(const fs::path& relativePath) const {
    return std::find(m_excluded.begin(), m_excluded.end(), relativePath) != m_excluded.end();
}

}  // namespace vexil::app
