#include "apps/vexil/ftp/FTPStore.h"

#include "apps/vexil/base/ErrorDiagnosis.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/files/PartName.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPDiagnosis.h"
#include "apps/vexil/ftp/FTPDownload.h"
#include "apps/vexil/ftp/FTPEntryText.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/ftp/FTPReplies.h"
#include "apps/vexil/ftp/FTPUpload.h"
#include "apps/vexil/ftp/RemoteParts.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/transfer/SingleTransfer.h"
#include "vexil/ftp/FTPListDirResult.h"

#include <algorithm>
#include <vector>

namespace vexil::app {

namespace {

// Links that a server follows may form a circle.
constexpr std::size_t maxLevels = 1000;

void checkIsWithin(const String& relativeName) {
    for (std::size_t start = 0; start <= relativeName.length();) {
        const std::size_t end = std::min(relativeName.find(L'/', start), relativeName.length());
        if (leadsElsewhere(relativeName.substr(start, end - start))) {
            throw CInvalidArgError("CFTPStore::remove",
                                   "'" + printable(relativeName) + "' is not a name within the store");
        }
        start = end + 1;
    }
}

}  // namespace

class CFTPStore::CFile : public IStoredFile {
public:
    CFile(CFTPAccess& access, const String& path, const String& relativeName, const CFTPDirEntry& entry,
          const P<CError>& problem)
        : m_access(access), m_path(path), m_relativeName(relativeName), m_size(entry.getSize()),
          m_mark(makeFileMark(entry)), m_problem(problem) {}

    String getName() const override { return m_path; }
    String getRelativeName() const override { return m_relativeName; }
    std::filesystem::path getRelativePath() const override {
        if (m_problem) {
            m_problem->throwClone();
        }
        return toPath(m_relativeName);
    }
    int64 getSize() const override { return m_size; }
    String getMark() const override { return m_mark; }
    std::unique_ptr<IDownload> makeDownload(const P<CPartStream>& out) const override {
        return std::make_unique<CFTPDownload>(m_access, m_path, out.get());
    }

private:
    CFTPAccess& m_access;
    String m_path;
    String m_relativeName;
    int64 m_size;
    String m_mark;
    P<CError> m_problem;  // null for a file that can be fetched
};

/// The files below the directory.
class CFTPStore::CListing : public IStoreListing {
public:
    CListing(CFTPAccess& access, const String& directory) : m_access(access), m_directory(directory) {}

    std::unique_ptr<IStoredFile> findNext() override;

private:
    struct CDirectory {
        String relativeName;  // "" for the first directory
        String uniqueID;
        P<CFTPListDirResult> listing;
        std::size_t next = 0;
    };

    void enter(const String& relativeName, const String& uniqueID);
    std::unique_ptr<IStoredFile> visitNext(CDirectory& directory);
    std::unique_ptr<IStoredFile> visit(const String& parent, const CFTPDirEntry& entry);
    std::unique_ptr<IStoredFile> tryToEnter(const String& relativeName, const String& uniqueID);
    String getPath(const String& relativeName) const;
    bool leadsBack(const String& relativeName, const String& uniqueID) const;

    CFTPAccess& m_access;
    String m_directory;
    bool m_hasBegun = false;
    std::vector<CDirectory> m_open;  // from the first directory down to the current one
};

std::unique_ptr<IStoredFile> CFTPStore::CListing::findNext() {
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
std::unique_ptr<IStoredFile> CFTPStore::CListing::visitNext(CDirectory& directory) {
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
    return std::make_unique<CFile>(m_access, getPath(relativeName), relativeName, CFTPDirEntry(),
                                   CError(entry.problem).clone());
}

String CFTPStore::CListing::getPath(const String& relativeName) const {
    return relativeName.isEmpty() ? m_directory : joinServerPath(m_directory, relativeName);
}

void CFTPStore::CListing::enter(const String& relativeName, const String& uniqueID) {
    if (m_open.size() >= maxLevels) {
        throw CError("it lies more than " + formatCount(maxLevels) + " levels deep");
    }
    m_open.push_back({relativeName, uniqueID, m_access.getFTP().listDir(getPath(relativeName))});
}

std::unique_ptr<IStoredFile> CFTPStore::CListing::visit(const String& parent, const CFTPDirEntry& entry) {
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
        return std::make_unique<CFile>(m_access, path, relativeName, entry,
                                       CError("'" + printable(name) + "' as a name " + problem).clone());
    }
    if (entry.getType() != zet::IFileInfoBase::TypeDirectory && findPartName(name)) {
        return std::make_unique<CFile>(m_access, path, relativeName, entry, CError(leftPartReason).clone());
    }
    if (entry.getType() == zet::IFileInfoBase::TypeDirectory) {
        return leadsBack(relativeName, entry.getUniqueID()) ? nullptr
                                                            : tryToEnter(relativeName, entry.getUniqueID());
    }
    return std::make_unique<CFile>(m_access, path, relativeName, entry, nullptr);
}

bool CFTPStore::CListing::leadsBack(const String& relativeName, const String& uniqueID) const {
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

std::unique_ptr<IStoredFile> CFTPStore::CListing::tryToEnter(const String& relativeName,
                                                             const String& uniqueID) {
    try {
        enter(relativeName, uniqueID);
        return nullptr;
    } catch (const CError& error) {
        CInterrupt::throwIfRequested();
        if (diagnoseFTP(error).isHopeless()) {
            throw;
        }
        return std::make_unique<CFile>(m_access, getPath(relativeName), relativeName, CFTPDirEntry(),
                                       error.clone());
    }
}

CFTPStore::CFTPStore(CFTPAccess& access, const String& directory)
    : m_access(access), m_directory(directory), m_parts(access) {}

IServerPolicy& CFTPStore::getPolicy() {
    return m_access.getFTP().getPolicy();
}

std::unique_ptr<IStoreListing> CFTPStore::list() {
    return std::make_unique<CListing>(m_access, m_directory);
}

void CFTPStore::beginUploads() {
    m_access.getFTP().makeDirs(m_directory);
    m_directories[m_directory] = nullptr;
    if (!m_access.getFTP().knowsMLST()) {
        m_access.getConsole().message(
            Verbosity::Warning,
            "vexil: warning: the server knows neither MLSD nor MLST (RFC 3659). It can store the backup, but "
            "'vexil ftp restore' cannot fetch it; 'vexil ftp get' fetches single files.");
        return;
    }
    CFTPLeftParts(m_access).clear(m_directory);
}

std::unique_ptr<IUpload> CFTPStore::makeUpload(const P<CFileInStream>& file,
                                               const std::filesystem::path& relativePath,
                                               const std::optional<CFileTime>& time) {
    const String path = joinServerPath(m_directory, makeServerName(relativePath));
    makeDirsOf(getServerDirectory(path));
    return std::make_unique<CFTPUpload>(m_access, m_parts, file, path, false, time);
}

bool CFTPStore::replace(CSession& session, const std::filesystem::path& file,
                        const std::filesystem::path& relativePath, const std::optional<String>& mark) {
    std::optional<String> found;
    try {
        found = makeFileMark(
            m_access.getFTP().getInfo(joinServerPath(m_directory, makeServerName(relativePath))));
    } catch (const CMissingError&) {
        session.setFailedRequest(nullptr);
    }
    if (found != mark) {
        return false;
    }
    const auto upload = makeUpload(new CInterruptibleFile(file), relativePath, std::nullopt);
    runQuietTransfer(session, getPolicy(), *upload);
    return true;
}

bool CFTPStore::hasContent(const String& mark, const std::filesystem::path&, const std::filesystem::path&,
                           const std::optional<CFileFacts>& facts) {
    return facts && !mark.isEmpty() && makeTimeValue(facts->time) == mark;
}

// Here and not in each upload: two uploads at once would make the same directory.
void CFTPStore::makeDirsOf(const String& path) {
    const auto found = m_directories.find(path);
    if (found == m_directories.end()) {
        try {
            makeDirs(path);
            m_directories[path] = nullptr;
        } catch (const CError& error) {
            m_directories[path] = error.clone();
            throw;
        }
    } else if (found->second) {
        found->second->throwClone();
    }
}

void CFTPStore::makeDirs(const String& path) {
    try {
        m_access.getFTP().makeDirs(path);
    } catch (const CError&) {
        if (!replaceFileOnTheWay(path)) {
            throw;
        }
        m_access.getFTP().makeDirs(path);
    }
}

bool CFTPStore::replaceFileOnTheWay(const String& path) {
    for (const String& directory : getDirsDownTo(path)) {
        if (directory.length() <= m_directory.length() || !isFile(directory)) {
            continue;
        }
        const String oldFile = makePartPath(directory) + "-old";
        m_parts.addReplaced(oldFile, directory);
        const bool isDeleted = m_access.getFTP().replaceByDir(directory, oldFile);
        m_parts.removeReplaced(oldFile);
        if (!isDeleted) {
            m_parts.add(oldFile);
        }
        m_access.getConsole().message(Verbosity::Warning, "replaced: the file '" + printable(directory) +
                                                              "' on the server, which is a folder now");
        return true;
    }
    return false;
}

bool CFTPStore::isFile(const String& path) {
    try {
        return m_access.getFTP().getInfo(path).getType() == zet::IFileInfoBase::TypeFile;
    } catch (const CError&) {
        CInterrupt::throwIfRequested();
        return false;
    }
}

void CFTPStore::remove(const String& relativeName) {
    checkIsWithin(relativeName);
    try {
        m_access.getFTP().removeFile(joinServerPath(m_directory, relativeName));
    } catch (const CMissingError&) {
        return;
    }
}

void CFTPStore::removeEmptyFolder(const std::filesystem::path& relativePath) {
    const String path = joinServerPath(m_directory, makeServerName(relativePath));
    try {
        m_access.getFTP().removeDir(path);
        m_directories.erase(path);
    } catch (const CError& error) {
        CInterrupt::throwIfRequested();
        if (diagnoseFTP(error).isHopeless()) {
            throw;
        }
    }
}

}  // namespace vexil::app
