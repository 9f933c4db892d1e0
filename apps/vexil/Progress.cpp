#include "apps/vexil/Progress.h"

#include "apps/vexil/Console.h"
#include "apps/vexil/Text.h"

#include <utility>

namespace vexil::app {

namespace {

constexpr std::chrono::milliseconds timeBetweenLines(10000);
constexpr std::chrono::milliseconds timeBetweenUpdates(100);

}  // namespace

CProgress::CProgress(CConsole& console, Clock clock)
    : m_console(console), m_clock(std::move(clock)), m_start(m_clock()),
      m_nextShow(m_start + (console.isTerminal() ? timeBetweenUpdates : timeBetweenLines)) {}

CProgress::~CProgress() {
    m_console.showProgressLine("");
}

void CProgress::beginFile(const String& name) {
    m_fileName = name;
    m_bytesOfFile = 0;
    show();
}

void CProgress::update(int64 bytesOfFile) {
    m_bytesOfFile = bytesOfFile;
    show();
}

void CProgress::endFile(int64 bytes) {
    ++m_files;
    m_bytes += bytes;
    dropFile();
}

void CProgress::dropFile() {
    m_bytesOfFile = 0;
    m_fileName.clear();
    show();
}

double CProgress::getSeconds() const {
    return std::chrono::duration<double>(m_clock() - m_start).count();
}

void CProgress::show() {
    const auto now = m_clock();
    if (now < m_nextShow || !m_console.shows(Verbosity::Warning)) {
        return;
    }
    m_nextShow = now + (m_console.isTerminal() ? timeBetweenUpdates : timeBetweenLines);
    const int64 bytes = m_bytes + m_bytesOfFile;
    const String line = formatNumberOf(m_files, "file") + ", " + formatBytes(bytes) + ", " +
                        formatRate(bytes, getSeconds()) + (m_fileName.isEmpty() ? "" : "  ") + m_fileName;
    if (m_console.isTerminal()) {
        m_console.showProgressLine(line);
    } else {
        m_console.message(Verbosity::Warning, line);
    }
}

}  // namespace vexil::app
