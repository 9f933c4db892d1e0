#pragma once

#include "apps/vexil/base/Options.h"
#include "vexil/BaseTypes.h"

#include <filesystem>
#include <fstream>

namespace vexil::app {

/// The file of `--log-file`: a line for each message, with its time and its level. Lines are appended, so
/// that several runs can use one file. One thread at a time.
class CLogFile {
public:
    /// \throws CInvalidArgError if the file cannot be opened for writing
    explicit CLogFile(const std::filesystem::path& path);

    /// Appends a message. When this returns, the system has it. A failure is kept for finish().
    void add(Verbosity level, const String& line) noexcept;
    /// \throws CError that names the file if a message was not written
    void finish();

private:
    std::filesystem::path m_path;
    std::ofstream m_file;
};

}  // namespace vexil::app
