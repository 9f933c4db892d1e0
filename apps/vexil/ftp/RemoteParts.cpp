#include "apps/vexil/ftp/RemoteParts.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/files/PartName.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPPath.h"
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

String getOwnerDigits() {
    return makeDigitsFor(String::fromUTF8Lossy(describeOwner())).substr(0, ownerDigits);
}

constexpr const char* begunUpload = "what an upload has begun, or replaced,";
constexpr const char* replacedFile = "a file that an upload was to replace";

String makeServerPartDigits() {
    char process[processDigits + 1] = {};
    std::snprintf(process, sizeof process, "%06x", static_cast<unsigned>(getProcessID() % processLimit));
    return getOwnerDigits() + process + makeRandomDigits(randomDigits);
}

}  // namespace

String makePartPath(const String& path) {
    const String part = makeServerName(makePartName(toPath(getServerName(path)), makeServerPartDigits()));
    return joinServerPath(getServerDirectory(path), part);
}

bool isLeftServerPart(const String& digits) {
    if (!(digits.substr(0, ownerDigits) == getOwnerDigits())) {
        return false;
    }
    const std::string process = digits.substr(ownerDigits, processDigits).toUTF8();
    const int64 id = std::strtoll(process.c_str(), nullptr, 16);
    return id == getProcessID() % processLimit || !isProcessRunning(id);
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

}  // namespace vexil::app
