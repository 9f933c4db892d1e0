#include "apps/vexil/base/ErrorDiagnosis.h"
#include "apps/vexil/base/ExitCode.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/ftp/Commands.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPDiagnosis.h"
#include "apps/vexil/ftp/FTPEntryText.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/platform/Interrupt.h"
#include "vexil/ftp/FTPListDirResult.h"

#include <functional>
#include <string>
#include <vector>

namespace vexil::app {

namespace {

// Links that a server follows may form a circle.
constexpr std::size_t maxLevels = 1000;

/// Whether an entry is the directory itself or its parent.
bool isDirItself(const CFTPDirEntry& entry) {
    const String name = entry.getName();
    return entry.getType() == zet::IFileInfoBase::TypeUnknown &&
           (name == "." || name == ".." || name.find(L'/') != String::npos);
}

/// Deletes a directory of an FTP server with everything below it. Names entries that cannot be deleted and
/// continues with the others. Deletes links and does not follow them, also if the server shows them as
/// directories.
class CFTPTreeRemoval {
public:
    /// The access must outlive it.
    explicit CFTPTreeRemoval(CFTPAccess& access) : m_access(access) {}

    /// \throws CInvalidArgError for the root, before anything is sent
    /// \throws CError for a path that is missing or not a directory
    ExitCode run(const String& path);

private:
    struct CDirectory {
        String path;
        String uniqueID;
    };

    bool removeDir(const String& path, const String& uniqueID);
    bool removeContent(const String& path, const CFTPListDirResult& listing);
    bool removeEntry(const String& directory, const CFTPDirEntry& entry);
    bool attempt(const String& path, const std::function<bool()>& remove);
    void checkWalk(const String& uniqueID) const;
    void reportFailure(const String& path, const String& reason);

    CFTPAccess& m_access;
    std::vector<CDirectory> m_open;  // from the first one down to where the walk is
    int64 m_failures = 0;
};

ExitCode CFTPTreeRemoval::run(const String& path) {
    if (CFTPClient::isRootPath(path)) {
        throw CInvalidArgError("CFTPTreeRemoval", "the path '" + printable(path) +
                                                      "' means the whole server. Name a directory on it");
    }
    const CFTPDirEntry entry = m_access.getFTP().getInfo(path);
    if (entry.getType() != zet::IFileInfoBase::TypeDirectory) {
        throw CError("'" + printable(path) + "' is not a directory", "ftp");
    }
    removeDir(path, entry.getUniqueID());
    if (m_failures == 0) {
        return ExitCode::Done;
    }
    m_access.getConsole().print("FAILED: " + formatNumberOf(m_failures, "entry") + ", named above");
    return ExitCode::Failed;
}

bool CFTPTreeRemoval::removeDir(const String& path, const String& uniqueID) {
    return attempt(path, [&] {
        if (m_access.getFTP().removeUnseen(path)) {
            return true;
        }
        checkWalk(uniqueID);
        const P<CFTPListDirResult> listing = m_access.getFTP().listDir(path);
        m_open.push_back({path, uniqueID});
        const bool isEmpty = removeContent(path, *listing);
        m_open.pop_back();
        if (isEmpty) {
            m_access.getFTP().removeDir(path);
        }
        return isEmpty;
    });
}

bool CFTPTreeRemoval::removeContent(const String& path, const CFTPListDirResult& listing) {
    bool isEmpty = listing.getUnreadableLines().empty();
    for (const std::string& line : listing.getUnreadableLines()) {
        const FTPUnreadableEntry entry(line);
        reportFailure(joinServerPath(path, entry.name), entry.problem);
    }
    for (const P<CFTPDirEntry>& entry : listing.getEntries()) {
        if (!isDirItself(*entry) && !removeEntry(path, *entry)) {
            isEmpty = false;
        }
    }
    return isEmpty;
}

bool CFTPTreeRemoval::removeEntry(const String& directory, const CFTPDirEntry& entry) {
    const String path = joinServerPath(directory, entry.getName());
    if (leadsElsewhere(entry.getName())) {
        reportFailure(path, "its name could lead to another place");
        return false;
    }
    if (entry.getType() == zet::IFileInfoBase::TypeDirectory) {
        return removeDir(path, entry.getUniqueID());
    }
    return attempt(path, [&] {
        m_access.getFTP().removeFile(path);
        return true;
    });
}

bool CFTPTreeRemoval::attempt(const String& path, const std::function<bool()>& remove) {
    const int64 retries = m_access.getFTP().getPolicy().getRetryCount();
    try {
        return remove();
    } catch (const CError& error) {
        CInterrupt::throwIfRequested();
        if (dynamic_cast<const CMissingError*>(&error) &&
            m_access.getFTP().getPolicy().getRetryCount() > retries) {
            // An earlier try has removed it, and the reply was lost.
            return true;
        }
        if (diagnoseFTP(error).isHopeless()) {
            throw;
        }
        reportFailure(path, CErrorReport(error).getLine());
        return false;
    }
}

void CFTPTreeRemoval::checkWalk(const String& uniqueID) const {
    if (m_open.size() >= maxLevels) {
        throw CError("it lies more than " + formatCount(maxLevels) + " levels deep");
    }
    for (const CDirectory& directory : m_open) {
        if (!uniqueID.isEmpty() && directory.uniqueID == uniqueID) {
            throw CError("it leads back to '" + printable(directory.path) + "'");
        }
    }
}

void CFTPTreeRemoval::reportFailure(const String& path, const String& reason) {
    ++m_failures;
    m_access.getConsole().message(Verbosity::Error, "NOT deleted: " + printable(path) + ": " + reason);
}

class CFTPRmtreeCommand : public CCommand {
public:
    void define(CCommandSyntax& syntax) override;
    ExitCode run(CSession& session) override;

private:
    std::string m_path;
};

void CFTPRmtreeCommand::define(CCommandSyntax& syntax) {
    syntax.command("rmtree", "Delete a directory with everything below it")
        .argument("DIRECTORY", m_path, "Directory on the server")
        .footer(R"(Example:
  vexil ftp rmtree /backups/documents

The command does not ask, and deleted files are lost. Entries that cannot be deleted are listed; the rest is
deleted and the exit code is 1. A link is deleted, but not its target. The root (/) is refused.)");
}

ExitCode CFTPRmtreeCommand::run(CSession& session) {
    const String path = makeServerPath(m_path);
    CFTPAccess access(session);
    return CFTPTreeRemoval(access).run(path);
}

}  // namespace

std::unique_ptr<CCommand> makeFTPRmtree() {
    return std::make_unique<CFTPRmtreeCommand>();
}

}  // namespace vexil::app
