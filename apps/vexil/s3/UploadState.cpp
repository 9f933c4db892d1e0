#include "apps/vexil/s3/UploadState.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Platform.h"
#include "sigil/Digest.h"
#include "sigil/Hex.h"
#include "zet/FileInStream.h"
#include "zet/FileOutStream.h"

#include <string>
#include <system_error>

namespace vexil::app {

namespace {

constexpr int64 maxSize = 64 * 1024;

struct CStateVariable {
    const char* name;
    const char* below;
};

constexpr CStateVariable stateVariables[] = {
    {"XDG_STATE_HOME", ""}, {"LOCALAPPDATA", ""}, {"HOME", ".local/state"}};

/// Empty if the user has none.
std::filesystem::path findStateFolder() {
    for (const CStateVariable& variable : stateVariables) {
        const std::filesystem::path folder = toPath(getEnvironmentVariable(variable.name).value_or(""));
        // A relative path would be another folder in each run.
        if (folder.has_root_directory()) {
            return folder / variable.below / "vexil" / "uploads";
        }
    }
    return {};
}

std::filesystem::path getStateFolder() {
    std::filesystem::path folder = findStateFolder();
    if (folder.empty()) {
        throw CError("--resume needs a folder for its state: set XDG_STATE_HOME to an absolute path.");
    }
    return folder;
}

String calcName(const std::string& identity) {
    const P<sigil::IDigest> digest = sigil::CDigestType_SHA256().createDigest();
    digest->update(identity.data(), static_cast<int>(identity.size()));
    TBuffer<unsigned char> hash;
    digest->finish(hash);
    return sigil::hexEncode(hash);
}

}  // namespace

CUploadState::CUploadState(const std::string& identity)
    : m_file(getStateFolder() / toPath(calcName(identity))) {}

bool CUploadState::isPossible() {
    const std::filesystem::path folder = findStateFolder();
    std::error_code failure;
    if (!folder.empty()) {
        std::filesystem::create_directories(folder, failure);
    }
    return !folder.empty() && std::filesystem::is_directory(folder, failure);
}

String CUploadState::find() const {
    try {
        const P<zet::CFileInStream> file = make<zet::CFileInStream>(m_file);
        if (file->getSize() > maxSize) {
            return String();
        }
        std::string text(static_cast<std::size_t>(file->getSize()), '\0');
        const int length = file->read(text.data(), static_cast<int>(text.size()));
        return String::fromUTF8(text.substr(0, static_cast<std::size_t>(length)));
    } catch (const CError&) {
        return String();
    }
}

void CUploadState::store(const String& resumeToken) const {
    std::error_code failure;
    std::filesystem::create_directories(m_file.parent_path(), failure);
    // The old state stays until the new one is complete.
    std::filesystem::path newFile = m_file;
    newFile += ".new";
    const std::string text = resumeToken.toUTF8();
    const P<zet::CFileOutStream> file = make<zet::CFileOutStream>(newFile);
    file->write(text.data(), static_cast<int>(text.size()));
    file->close();
    std::filesystem::rename(newFile, m_file, failure);
    if (failure) {
        throw CError("The state of the upload cannot be stored as '" + describe(m_file) +
                         "': " + String::fromUTF8Lossy(failure.message()),
                     "system", failure.value());
    }
}

void CUploadState::remove() const noexcept {
    std::error_code failure;
    std::filesystem::remove(m_file, failure);
}

}  // namespace vexil::app
