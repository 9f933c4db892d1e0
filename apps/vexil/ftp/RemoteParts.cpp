#include "apps/vexil/ftp/RemoteParts.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/files/PartName.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPDiagnosis.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/platform/Platform.h"
#include "zet/Log.h"

#include <cstdio>
#include <cstdlib>

namespace vexil::app {

namespace {

constexpr std::size_t ownerDigits = 6;
constexpr std::size_t processDigits = 6;
constexpr int randomDigits = 4;
constexpr int64 processLimit = 0x1000000;
// Links that a server follows may form a circle.
constexpr int maxLevels = 100;
constexpr const char* begunUpload = "what an upload has begun, or replaced,";
constexpr const char* replacedFile = "a file that an upload was to replace";

String getOwnerDigits() {
    return makeDigitsFor(String::fromUTF8Lossy(describeOwner())).substr(0, ownerDigits);
}

String makeServerPartDigits() {
    char process[processDigits + 1] = {};
    std::snprintf(process, sizeof process, "%06x", static_cast<unsigned>(getProcessID() % processLimit));
    return getOwnerDigits() + process + makeRandomDigits(randomDigits);
}

/// Whether a part with these digits was made by this user on this computer, in a process that has ended. True
/// also for the ID of this process: an earlier process may have had it.
bool isLeftServerPart(const String& digits) {
    if (!(digits.substr(0, ownerDigits) == getOwnerDigits())) {
        return false;
    }
    const std::string process = digits.substr(ownerDigits, processDigits).toUTF8();
    const int64 id = std::strtoll(process.c_str(), nullptr, 16);
    return id == getProcessID() % processLimit || !isProcessRunning(id);
}

}  // namespace

String makePartPath(const String& path) {
    const String part = makeServerName(makePartName(toPath(getServerName(path)), makeServerPartDigits()));
    return joinServerPath(getServerDirectory(path), part);
}

CRemoteParts::~CRemoteParts() {
    if (m_paths.empty() && m_replaced.empty()) {
        return;
    }
    try {
        restoreReplaced();
        removeParts();
    } catch (const std::exception& error) {
        zet::onExceptionInDestructorIgnored("vexil::app::CRemoteParts", &error);
    }
}

void CRemoteParts::restoreReplaced() const {
    if (m_replaced.empty()) {
        return;
    }
    TArray<CFTPSession::CMovedFile> files;
    for (const auto& [oldFile, path] : m_replaced) {
        files.push_back({oldFile, path});
    }
    try {
        for (const String& oldFile : m_access.getFTP().restoreNames(files)) {
            tell(replacedFile, oldFile, "it was called '" + m_replaced.at(oldFile) + "'");
        }
    } catch (const CError& error) {
        for (const auto& [oldFile, path] : m_replaced) {
            tell(replacedFile, oldFile, "it was called '" + path + "'; " + error.getMessage());
        }
    }
}

void CRemoteParts::removeParts() const {
    if (m_paths.empty()) {
        return;
    }
    const TArray<String> paths(m_paths.begin(), m_paths.end());
    try {
        for (const String& path : m_access.getFTP().removeFiles(paths)) {
            tell(begunUpload, path, "the server has not deleted it");
        }
    } catch (const CError& error) {
        for (const String& path : paths) {
            tell(begunUpload, path, error.getMessage());
        }
    }
}

void CRemoteParts::tell(const char* what, const String& path, const String& reason) const {
    m_access.getConsole().message(Verbosity::Warning, String("vexil: ") + what +
                                                          " may be left on the server: '" + printable(path) +
                                                          "' (" + printable(reason) + ")");
}

void CFTPLeftParts::clear(const String& directory) {
    clearBelow(directory, "", 0);
}

void CFTPLeftParts::clearBelow(const String& directory, const String& uniqueID, int level) {
    if (level > maxLevels || (!uniqueID.isEmpty() && !m_seen.insert(uniqueID).second)) {
        return;
    }
    P<CFTPListDirResult> listing;
    try {
        listing = m_access.getFTP().listDir(directory);
        clearIn(directory, *listing);
    } catch (const CError& error) {
        CInterrupt::throwIfRequested();
        if (diagnoseFTP(error).isHopeless()) {
            throw;
        }
        tell("vexil: warning: '" + printable(directory) +
             "' cannot be searched for parts that an earlier run has left: " + CErrorReport(error).getLine());
        return;
    }
    for (const P<CFTPDirEntry>& entry : listing->getEntries()) {
        if (entry->getType() == zet::IFileInfoBase::TypeDirectory && !leadsElsewhere(entry->getName())) {
            clearBelow(joinServerPath(directory, entry->getName()), entry->getUniqueID(), level + 1);
        }
    }
}

void CFTPLeftParts::clearIn(const String& directory, const CFTPListDirResult& listing) {
    std::set<String> names;
    for (const P<CFTPDirEntry>& entry : listing.getEntries()) {
        names.insert(entry->getName());
    }
    TArray<String> parts;
    for (const String& name : names) {
        const auto part = findPartName(name);
        if (!part || leadsElsewhere(name) || !isLeftServerPart(part->digits)) {
            continue;
        }
        const String path = joinServerPath(directory, name);
        if (!part->isOld || names.contains(part->name)) {
            parts.push_back(path);
        } else if (part->name.isEmpty()) {
            tell("vexil: warning: '" + printable(path) +
                 "' on the server is a file that an earlier run was to replace. Give it its name back, or "
                 "delete it");
        } else {
            restore(path, joinServerPath(directory, part->name));
        }
    }
    remove(parts);
}

void CFTPLeftParts::remove(const TArray<String>& paths) {
    if (paths.empty()) {
        return;
    }
    const TArray<String> kept = m_access.getFTP().removeFiles(paths);
    const std::set<String> stay(kept.begin(), kept.end());
    for (const String& path : paths) {
        tell(stay.contains(path)
                 ? "vexil: warning: '" + printable(path) +
                       "' on the server is a part that an earlier run has left, and cannot be deleted"
                 : "deleted " + printable(path) + " on the server: a part that an earlier run has left");
    }
}

void CFTPLeftParts::restore(const String& part, const String& path) {
    const bool isRestored = m_access.getFTP().restoreNames({{part, path}}).empty();
    tell(isRestored
             ? "'" + printable(path) + "' on the server has its name again, which an earlier run had changed"
             : "vexil: warning: '" + printable(part) + "' on the server cannot get its name '" +
                   printable(path) + "' back");
}

void CFTPLeftParts::tell(const String& text) const {
    m_access.getConsole().message(Verbosity::Warning, text);
}

}  // namespace vexil::app
