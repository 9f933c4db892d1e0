#pragma once

#include "vexil/BaseTypes.h"

#include <filesystem>

namespace vexil::app {

/// What a later run of the program needs to resume the upload of a file: a small file in the folder for the
/// state of programs. That is "vexil/uploads" in XDG_STATE_HOME, otherwise in LOCALAPPDATA (Windows),
/// otherwise in ~/.local/state. It contains no secrets.
class CUploadState {
public:
    /// \param identity  names server, bucket, key, file and options: each upload has its own state
    /// \throws CError if no variable of the environment names such a folder
    explicit CUploadState(const std::string& identity);

    /// Whether there is such a folder, or it can be made.
    static bool isPossible();

    /// The resume token of the last upload; "" if no token was kept, or if it cannot be read.
    String find() const;
    /// \throws CError if it cannot be stored
    void store(const String& resumeToken) const;
    /// Forgets the upload.
    void remove() const noexcept;

private:
    std::filesystem::path m_file;
};

}  // namespace vexil::app
