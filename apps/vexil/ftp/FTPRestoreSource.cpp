#include "apps/vexil/ftp/FTPRestoreSource.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/files/PartName.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPDiagnosis.h"
#include "apps/vexil/ftp/FTPDownload.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/ftp/FTPUnreadableEntry.h"
#include "apps/vexil/platform/Interrupt.h"

namespace vexil::app {

namespace {

// Links that a server follows may form a circle.
constexpr std::size_t maxLevels = 1000;

}  // namespace

class CFTPRestoreSource::CFile : public IStoredFile {
public:
    CFile(CFTPAccess& access, const String& path, const String& relativeName, int64 size,
          const P<CError>& problem)
        : m_access(access), m_path(path), m_relativeName(relativeName), m_size(size), m_problem(problem) {}

    String getName() const override { return m_path; }
    String getRelativeName() const override { return m_relativeName; }
    std::filesystem::path getRelativePath() const override {
        if (m_problem) {
            m_problem->throwClone();
        }
        return toPath(m_relativeName);
    }
    int64 getSize() const override { return m_size; }
    std::unique_ptr<IDownload> makeDownload(const P<CFileOutStream>& out) const override {
        return std::make_unique<CFTPDownload>(m_access, m_path, out.get());
    }

private:
    CFTPAccess& m_access;
    String m_path;
    String m_relativeName;
    int64 m_size;
    P<CError> m_problem;  // null for a file that can be fetched
};

CFTPRestoreSource::CFTPRestoreSource(CFTPAccess& access, const String& directory)
    : m_access(access), m_directory(directory) {}

ITransferPolicy& CFTPRestoreSource::getPolicy() {
    return m_access.getFTP().getPolicy();
}

std::unique_ptr<IStoredFile> CFTPRestoreSource::findNext() {
    if (!m_hasBegun) {
        m_hasBegun = true;
        enter("", m_access.getFTP().findUniqueID(m_directory));
    }
    while (!m_open.empty()) {
        CDirectory& directory = m_open.back();
        const std::size_t count =
            directory.listing->getEntries().size() + directory.listing->getUnreadableLines().size();
        if (directory.next == count) {
            m_open.pop_back();
        } else if (std::unique_ptr<IStoredFile> file = visitNext(directory)) {
            return file;
        }
    }
    return nullptr;
}

// First the entries, then the lines that cannot be read.
std::unique_ptr<IStoredFile> CFTPRestoreSource::visitNext(CDirectory& directory) {
    const std::size_t number = directory.next++;
    const TArray<P<CFTPDirEntry>>& entries = directory.listing->getEntries();
    // Copies, because entering a directory moves all of them.
    const String parent = directory.relativeName;
    if (number < entries.size()) {
        const P<CFTPDirEntry> entry = entries[number];
        return visit(parent, *entry);
    }
    const FTPUnreadableEntry entry(directory.listing->getUnreadableLines()[number - entries.size()]);
    const String relativeName = parent.isEmpty() ? entry.name : joinServerPath(parent, entry.name);
    return std::make_unique<CFile>(m_access, getPath(relativeName), relativeName, 0,
                                   CError(entry.problem).clone());
}

String CFTPRestoreSource::getPath(const String& relativeName) const {
    return relativeName.isEmpty() ? m_directory : joinServerPath(m_directory, relativeName);
}

void CFTPRestoreSource::enter(const String& relativeName, const String& uniqueID) {
    if (m_open.size() >= maxLevels) {
        throw CError("it lies more than " + formatCount(maxLevels) + " levels deep");
    }
    m_open.push_back({relativeName, uniqueID, m_access.getFTP().listDir(getPath(relativeName))});
}

std::unique_ptr<IStoredFile> CFTPRestoreSource::visit(const String& parent, const CFTPDirEntry& entry) {
    const String name = entry.getName();
    const String relativeName = parent.isEmpty() ? name : joinServerPath(parent, name);
    const String path = getPath(relativeName);
    if (entry.getType() == zet::IFileInfoBase::TypeUnknown) {
        // The directory itself and its parent are also such entries.
        if (!(name == ".") && !(name == "..") && name.find(L'/') == String::npos) {
            m_access.getConsole().message(Verbosity::Warning,
                                          "skipped " + printable(path) + ": neither a file nor a directory");
        }
        return nullptr;
    }
    if (const String problem = findEntryNameProblem(name); !problem.isEmpty()) {
        return std::make_unique<CFile>(m_access, path, relativeName, entry.getSize(),
                                       CError("'" + printable(name) + "' as a name " + problem).clone());
    }
    if (entry.getType() != zet::IFileInfoBase::TypeDirectory && findPartName(name)) {
        return std::make_unique<CFile>(m_access, path, relativeName, entry.getSize(),
                                       CError(leftPartReason).clone());
    }
    if (entry.getType() == zet::IFileInfoBase::TypeDirectory) {
        return leadsBack(relativeName, entry.getUniqueID()) ? nullptr
                                                            : tryToEnter(relativeName, entry.getUniqueID());
    }
    return std::make_unique<CFile>(m_access, path, relativeName, entry.getSize(), nullptr);
}

bool CFTPRestoreSource::leadsBack(const String& relativeName, const String& uniqueID) const {
    for (const CDirectory& directory : m_open) {
        if (!uniqueID.isEmpty() && directory.uniqueID == uniqueID) {
            m_access.getConsole().message(
                Verbosity::Warning, "skipped " + printable(getPath(relativeName)) + ": it leads back to '" +
                                        printable(getPath(directory.relativeName)) + "'");
            return true;
        }
    }
    return false;
}

std::unique_ptr<IStoredFile> CFTPRestoreSource::tryToEnter(const String& relativeName,
                                                           const String& uniqueID) {
    try {
        enter(relativeName, uniqueID);
        return nullptr;
    } catch (const CError& error) {
        CInterrupt::throwIfRequested();
        if (diagnoseFTP(error).isHopeless()) {
            throw;
        }
        return std::make_unique<CFile>(m_access, getPath(relativeName), relativeName, 0, error.clone());
    }
}

}  // namespace vexil::app
