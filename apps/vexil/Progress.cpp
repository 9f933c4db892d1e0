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

int CProgress::beginFile(const String& name) {
    const std::scoped_lock lock(m_mutex);
    const int file = m_nextFile++;
    m_filesUnderWay[file].name = name;
    show();
    return file;
}

void CProgress::update(int file, int64 bytes) {
    const std::scoped_lock lock(m_mutex);
    if (const auto found = m_filesUnderWay.find(file); found != m_filesUnderWay.end()) {
        // Less than before when a transfer has begun again.
        m_bytesUnderWay += bytes - std::exchange(found->second.bytes, bytes);
        show();
    }
}

void CProgress::endFile(int file, int64 bytes) {
    const std::scoped_lock lock(m_mutex);
    if (remove(file)) {
        ++m_files;
        m_bytes += bytes;
        show();
    }
}

void CProgress::dropFile(int file) {
    const std::scoped_lock lock(m_mutex);
    if (remove(file)) {
        show();
    }
}

bool CProgress::remove(int file) {
    const auto found = m_filesUnderWay.find(file);
    if (found == m_filesUnderWay.end()) {
        return false;
    }
    m_bytesUnderWay -= found->second.bytes;
    m_filesUnderWay.erase(found);
    return true;
}

int64 CProgress::getFileCount() const {
    const std::scoped_lock lock(m_mutex);
    return m_files;
}

int64 CProgress::getByteCount() const {
    const std::scoped_lock lock(m_mutex);
    return m_bytes;
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
    const int64 bytes = m_bytes + m_bytesUnderWay;
    const String line = formatNumberOf(m_files, "file") + ", " + formatBytes(bytes) + ", " +
                        formatRate(bytes, getSeconds()) + describeFiles();
    if (m_console.isTerminal()) {
        m_console.showProgressLine(line);
    } else {
        m_console.message(Verbosity::Warning, line);
    }
}

// The one that has taken longest.
String CProgress::describeFiles() const {
    if (m_filesUnderWay.empty() || m_filesUnderWay.begin()->second.name.isEmpty()) {
        return String();
    }
    return "  " + m_filesUnderWay.begin()->second.name;
}

}  // namespace vexil::app
