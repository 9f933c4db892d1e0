#include "apps/vexil/console/Console.h"

#include "apps/vexil/base/Text.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace vexil::app {

namespace {

constexpr int usualColumns = 80;
// The last column stays free, because some terminals go to the next line there. Also leave room for the "^C"
// of an interrupt.
constexpr int freeColumns = 3;

}  // namespace

CConsole::CConsole(std::ostream& output, std::ostream& errors, bool isTerminal, Columns columns)
    : m_output(output), m_errors(errors), m_isTerminal(isTerminal), m_columns(std::move(columns)) {}

void CConsole::print(const String& line) {
    const zet::CMutexLock lock(m_mutex);
    writeToErrors(takeEraser());
    errno = 0;
    m_output << line.toUTF8() << '\n';
    noteOutputFailure();
}

void CConsole::printBytes(const void* data, int length) {
    {
        const zet::CMutexLock lock(m_mutex);
        writeToErrors(takeEraser());
        errno = 0;
        m_output.write(static_cast<const char*>(data), length);
        noteOutputFailure();
    }
    checkOutput();
}

void CConsole::checkOutput() {
    const zet::CMutexLock lock(m_mutex);
    errno = 0;
    m_output.flush();
    noteOutputFailure();
    if (!m_output) {
        failOutput(m_outputFailure);
    }
}

void CConsole::failOutput(int systemError) {
    throw CError("Cannot write to standard output: " + describeSystemError(systemError), "system",
                 systemError);
}

void CConsole::noteOutputFailure() noexcept {
    if (!m_output && m_outputFailure == 0) {
        m_outputFailure = errno;
    }
}

void CConsole::message(Verbosity level, const String& line) {
    if (shows(level)) {
        const zet::CMutexLock lock(m_mutex);
        writeToErrors(takeEraser() + line.toUTF8() + '\n');
    }
}

void CConsole::showProgressLine(const String& line) {
    const zet::CMutexLock lock(m_mutex);
    std::string text = takeEraser();
    if (m_isTerminal && !line.isEmpty()) {
        text += cutToColumns(line, getProgressColumns()).toUTF8();
        m_hasProgressLine = true;
    }
    writeToErrors(text);
}

int CConsole::getProgressColumns() const {
    return std::max(0, getColumns() - freeColumns);
}

int CConsole::getColumns() const {
    const int columns = m_columns();
    return columns > 0 ? columns : usualColumns;
}

std::string CConsole::takeEraser() {
    if (!std::exchange(m_hasProgressLine, false)) {
        return "";
    }
    return '\r' + std::string(static_cast<std::size_t>(getColumns() - 1), ' ') + '\r';
}

void CConsole::writeToErrors(const std::string& text) {
    if (!text.empty()) {
        m_errors << text << std::flush;
    }
}

}  // namespace vexil::app
