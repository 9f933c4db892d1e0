#include "apps/vexil/ftp/FTPTreeRemoval.h"

#include "apps/vexil/base/MissingError.h"
#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPDiagnosis.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/ftp/FTPUnreadableEntry.h"
#include "apps/vexil/platform/Interrupt.h"

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

}  // namespace

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

}  // namespace vexil::app
