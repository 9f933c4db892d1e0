#include "apps/vexil/FTPRestoreSource.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/ErrorReport.h"
#include "apps/vexil/FTPDownload.h"
#include "apps/vexil/FTPPath.h"
#include "apps/vexil/Interrupt.h"
#include "apps/vexil/Text.h"

namespace vexil::app {

namespace {

// Links that a server follows may lead in a circle.
constexpr std::size_t maxLevels = 1000;

}  // namespace

class CFTPRestoreSource::CFile : public IStoredFile {
public:
    CFile(CContext& context, const String& path, const String& relativeName, int64 size,
          const P<CError>& problem)
        : m_context(context), m_path(path), m_relativeName(relativeName), m_size(size), m_problem(problem) {}

    String getName() const override { return m_path; }
    String getRelativeName() const override { return m_relativeName; }
    std::filesystem::path getRelativePath() const override {
        if (m_problem) {
            m_problem->throwClone();
        }
        return toPath(m_relativeName);
    }
    int64 getSize() const override { return m_size; }
    std::unique_ptr<IDownload> makeDownload(const P<zet::IOutStream>& out) const override {
        return std::make_unique<CFTPDownload>(m_context, m_path, out);
    }

private:
    CContext& m_context;
    String m_path;
    String m_relativeName;
    int64 m_size;
    P<CError> m_problem;  // null for a file that can be had
};

CFTPRestoreSource::CFTPRestoreSource(CContext& context, const String& directory)
    : m_context(context), m_directory(directory) {}

ITransferPolicy& CFTPRestoreSource::getPolicy() {
    return m_context.getFTP().getPolicy();
}

std::unique_ptr<IStoredFile> CFTPRestoreSource::findNext() {
    if (!m_hasBegun) {
        m_hasBegun = true;
        enter("");
    }
    while (!m_open.empty()) {
        CDirectory& directory = m_open.back();
        if (directory.next == directory.listing->getEntries().size()) {
            m_open.pop_back();
            continue;
        }
        const P<CFTPDirEntry> entry = directory.listing->getEntries()[directory.next++];
        if (std::unique_ptr<IStoredFile> file = visit(directory.relativeName, *entry)) {
            return file;
        }
    }
    return nullptr;
}

void CFTPRestoreSource::enter(const String& relativeName) {
    if (m_open.size() >= maxLevels) {
        throw CError("it lies more than " + formatCount(maxLevels) + " levels deep");
    }
    const String path = relativeName.isEmpty() ? m_directory : joinServerPath(m_directory, relativeName);
    m_open.push_back({relativeName, m_context.getFTP().listDir(path)});
}

std::unique_ptr<IStoredFile> CFTPRestoreSource::visit(const String& parent, const CFTPDirEntry& entry) {
    const String name = entry.getName();
    const String relativeName = parent.isEmpty() ? name : joinServerPath(parent, name);
    const String path = joinServerPath(m_directory, relativeName);
    if (entry.getType() == zet::IFileInfoBase::TypeUnknown) {
        // The directory itself and its parent are such entries, too.
        if (!(name == ".") && !(name == "..") && name.find(L'/') == String::npos) {
            m_context.getConsole().message(Verbosity::Warning,
                                           "skipped " + printable(path) + ": neither a file nor a directory");
        }
        return nullptr;
    }
    if (const String problem = findEntryNameProblem(name); !problem.isEmpty()) {
        return std::make_unique<CFile>(m_context, path, relativeName, entry.getSize(),
                                       CError("'" + printable(name) + "' as a name " + problem).clone());
    }
    if (entry.getType() == zet::IFileInfoBase::TypeDirectory) {
        return tryToEnter(relativeName);
    }
    return std::make_unique<CFile>(m_context, path, relativeName, entry.getSize(), nullptr);
}

std::unique_ptr<IStoredFile> CFTPRestoreSource::tryToEnter(const String& relativeName) {
    try {
        enter(relativeName);
        return nullptr;
    } catch (const CError& error) {
        CInterrupt::throwIfRequested();
        if (CErrorReport(error).isHopeless()) {
            throw;
        }
        return std::make_unique<CFile>(m_context, joinServerPath(m_directory, relativeName), relativeName, 0,
                                       error.clone());
    }
}

}  // namespace vexil::app
