#include "apps/vexil/console/LogFile.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/Event.h"

#include <chrono>

namespace vexil::app {

namespace {

const char* getName(Verbosity level) {
    switch (level) {
    case Verbosity::Quiet:
        return "summary";
    case Verbosity::Error:
        return "error";
    case Verbosity::Warning:
        return "warning";
    case Verbosity::Info:
        return "info";
    case Verbosity::Debug:
        return "debug";
    }
    return "";
}

/// The facts of an error stand in further lines, which begin with spaces.
std::string joinLines(const std::string& text) {
    std::string line;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\n') {
            line += text[i];
            continue;
        }
        line += ";";
        while (i + 2 < text.size() && text[i + 1] == ' ' && text[i + 2] == ' ') {
            ++i;
        }
    }
    return line;
}

}  // namespace

CLogFile::CLogFile(const std::filesystem::path& path)
    : m_path(path), m_file(path, std::ios::binary | std::ios::app) {
    if (!m_file) {
        throw CInvalidArgError("CLogFile", "cannot write to the log file '" + describe(path) + "'");
    }
}

void CLogFile::add(Verbosity level, const String& line) noexcept {
    try {
        m_file << formatMoment(std::chrono::system_clock::now()) + " " + getName(level) + " " +
                      joinLines(line.toUTF8()) + "\n"
               << std::flush;
    } catch (const std::exception&) {
        m_file.setstate(std::ios::badbit);
    }
}

void CLogFile::finish() {
    m_file.close();
    if (!m_file) {
        throw CError("Cannot write to the log file '" + describe(m_path) + "'");
    }
}

}  // namespace vexil::app
