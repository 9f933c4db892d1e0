#include "apps/vexil/ftp/FTPLeftParts.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/files/PartName.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPDiagnosis.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/ftp/RemoteParts.h"
#include "apps/vexil/platform/Interrupt.h"

namespace vexil::app {

namespace {

// Links that a server follows may form a circle.
constexpr int maxLevels = 100;

}  // namespace

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
