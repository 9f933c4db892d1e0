#include "apps/vexil/ftp/RemoteParts.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "zet/Log.h"

namespace vexil::app {

namespace {

constexpr const char* begunUpload = "what an upload has begun, or replaced,";
constexpr const char* replacedFile = "a file that an upload was to replace";

}  // namespace

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
