#include "apps/vexil/console/Console.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/Event.h"
#include "apps/vexil/console/LogFile.h"

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
    show(level, line);
    if (level == Verbosity::Error || level == Verbosity::Warning) {
        tell(CEvent(level == Verbosity::Error ? "error" : "warning").text("message", line));
    }
}

void CConsole::entryMessage(Verbosity level, const String& what, const String& name, const String& reason,
                            const std::string& path) {
    show(level, what + name + ": " + reason);
    CEvent event(level == Verbosity::Error ? "error" : "warning");
    tell(event.bytes("path", path.empty() ? name.toUTF8() : path).text("message", reason));
}

void CConsole::show(Verbosity level, const String& line) {
    const zet::CMutexLock lock(m_mutex);
    if (shows(level)) {
        writeToErrors(takeEraser() + line.toUTF8() + '\n');
    }
    if (m_logFile && level <= std::max(m_verbosity, Verbosity::Info)) {
        m_logFile->add(level, line);
    }
}

void CConsole::progressMessage(const String& line) {
    if (shows(Verbosity::Warning)) {
        const zet::CMutexLock lock(m_mutex);
        writeToErrors(takeEraser() + line.toUTF8() + '\n');
    }
}

void CConsole::printSummary(const String& line) {
    if (m_printsSummaries && !m_hasEvents) {
        print(line);
    }
    const zet::CMutexLock lock(m_mutex);
    if (m_logFile) {
        m_logFile->add(Verbosity::Quiet, line);
    }
}

void CConsole::tellPlan(const char* action, const std::filesystem::path& relativePath) {
    if (m_hasEvents) {
        tell(CEvent("planned").text("action", action).bytes("path", toBytes(relativePath)));
    } else {
        print(String("would ") + action + " " + describe(relativePath));
    }
}

void CConsole::tell(const CEvent& event) {
    if (m_hasEvents) {
        const zet::CMutexLock lock(m_mutex);
        writeToErrors(takeEraser());
        errno = 0;
        m_output << event.toLine() + '\n' << std::flush;
        noteOutputFailure();
    }
}

void CConsole::setLogFile(CLogFile* file) {
    const zet::CMutexLock lock(m_mutex);
    m_logFile = file;
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
