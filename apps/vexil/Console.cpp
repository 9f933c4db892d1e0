#include "apps/vexil/Console.h"

#include "apps/vexil/Text.h"

#include <cerrno>

namespace vexil::app {

namespace {

constexpr std::size_t maxProgressColumns = 79;

}  // namespace

CConsole::CConsole(std::ostream& output, std::ostream& errors, bool isTerminal)
    : m_output(output), m_errors(errors), m_isTerminal(isTerminal) {}

void CConsole::print(const String& line) {
    const std::scoped_lock lock(m_mutex);
    eraseProgressLine();
    m_output << line.toUTF8() << '\n';
}

void CConsole::printBytes(const void* data, int length) {
    {
        const std::scoped_lock lock(m_mutex);
        eraseProgressLine();
        errno = 0;
        m_output.write(static_cast<const char*>(data), length);
    }
    checkOutput();
}

void CConsole::checkOutput() {
    const std::scoped_lock lock(m_mutex);
    if (!m_output.flush()) {
        throw CError("Cannot write to standard output: " + describeSystemError(errno), "system", errno);
    }
}

void CConsole::message(Verbosity level, const String& line) {
    if (shows(level)) {
        const std::scoped_lock lock(m_mutex);
        eraseProgressLine();
        m_errors << line.toUTF8() << '\n' << std::flush;
    }
}

void CConsole::showProgressLine(const String& line) {
    const std::scoped_lock lock(m_mutex);
    eraseProgressLine();
    if (m_isTerminal && !line.isEmpty()) {
        m_errors << line.substr(0, maxProgressColumns).toUTF8() << std::flush;
        m_hasProgressLine = true;
    }
}

void CConsole::eraseProgressLine() {
    if (m_hasProgressLine) {
        m_errors << '\r' << std::string(maxProgressColumns, ' ') << '\r' << std::flush;
        m_hasProgressLine = false;
    }
}

}  // namespace vexil::app
