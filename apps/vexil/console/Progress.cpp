#include "apps/vexil/console/Progress.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/Console.h"
#include "apps/vexil/console/Event.h"

#include <algorithm>
#include <string>
#include <utility>

namespace vexil::app {

namespace {

constexpr std::chrono::milliseconds timeBetweenLines(10000);
constexpr std::chrono::milliseconds timeBetweenUpdates(100);
constexpr std::chrono::milliseconds timeBetweenEvents(1000);

constexpr int minBarColumns = 10;
constexpr int maxBarColumns = 40;
constexpr int barFrameColumns = 4;    // the brackets and the spaces after them
constexpr int usualTextColumns = 57;  // so that the length of the bar does not change all the time

// A file may grow during its transfer.
double getShare(int64 bytes, int64 total) {
    return std::clamp(static_cast<double>(bytes) / static_cast<double>(total), 0.0, 1.0);
}

String formatPercent(double share) {
    return String::fromInt(static_cast<int64>(share * 100)) + "%";
}

String padLeft(const String& text, std::size_t length) {
    return String(std::wstring(length - std::min(length, text.length()), L' ')) + text;
}

String makeBar(double share, int columns) {
    const auto width = static_cast<std::size_t>(columns);
    const auto done = static_cast<std::size_t>(share * columns);
    return "[" + String(std::wstring(done, L'#') + std::wstring(width - done, L'-')) + "]  ";
}

String formatTimeLeft(int64 bytes, int64 total, double seconds) {
    if (bytes <= 0) {
        return String();
    }
    const auto left = static_cast<double>(std::max<int64>(0, total - bytes));
    return "  " + formatWholeSeconds(seconds * left / static_cast<double>(bytes)) + " left";
}

}  // namespace

CProgress::CProgress(CConsole& console, Clock clock)
    : m_console(console), m_clock(std::move(clock)), m_start(m_clock()),
      m_nextShow(m_start + (console.isTerminal() ? timeBetweenUpdates : timeBetweenLines)) {}

CProgress::~CProgress() {
    m_console.showProgressLine("");
}

int CProgress::beginFile(const String& name) {
    const zet::CMutexLock lock(m_mutex);
    const int file = m_nextFile++;
    m_filesUnderWay[file].name = name;
    show();
    return file;
}

void CProgress::update(int file, int64 bytes, int64 total) {
    const zet::CMutexLock lock(m_mutex);
    if (const auto found = m_filesUnderWay.find(file); found != m_filesUnderWay.end()) {
        // It is less than before after a transfer has begun again.
        m_bytesUnderWay += bytes - std::exchange(found->second.bytes, bytes);
        found->second.total = total;
        show();
    }
}

void CProgress::endFile(int file, int64 bytes) {
    const zet::CMutexLock lock(m_mutex);
    if (remove(file)) {
        ++m_files;
        m_bytes += bytes;
        show();
    }
}

void CProgress::dropFile(int file) {
    const zet::CMutexLock lock(m_mutex);
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
    const zet::CMutexLock lock(m_mutex);
    return m_files;
}

int64 CProgress::getByteCount() const {
    const zet::CMutexLock lock(m_mutex);
    return m_bytes;
}

double CProgress::getSeconds() const {
    return std::chrono::duration<double>(m_clock() - m_start).count();
}

void CProgress::tellEvents() {
    const zet::CMutexLock lock(m_mutex);
    if (m_console.hasEvents()) {
        m_tellsEvents = true;
        m_nextShow = m_clock() + getPause();
    }
}

void CProgress::expect(int64 files, int64 bytes) {
    const zet::CMutexLock lock(m_mutex);
    m_expectedFiles += files;
    m_expectedBytes += bytes;
    show();
}

void CProgress::endCounting() {
    const zet::CMutexLock lock(m_mutex);
    m_isCounted = true;
}

std::chrono::milliseconds CProgress::getPause() const {
    return m_tellsEvents ? timeBetweenEvents : m_console.isTerminal() ? timeBetweenUpdates : timeBetweenLines;
}

double CProgress::getSecondsLeft() const {
    const int64 bytes = m_bytes + m_bytesUnderWay;
    if (!m_isCounted || bytes <= 0) {
        return -1;
    }
    const auto left = static_cast<double>(std::max<int64>(0, m_expectedBytes - bytes));
    return getSeconds() * left / static_cast<double>(bytes);
}

void CProgress::show() {
    const auto now = m_clock();
    if (now < m_nextShow) {
        return;
    }
    m_nextShow = now + getPause();
    if (m_tellsEvents) {
        tellEvent();
    } else if (m_console.hasEvents() || !m_console.shows(Verbosity::Warning)) {
        return;
    } else if (m_console.isTerminal()) {
        m_console.showProgressLine(makeTerminalLine());
    } else {
        m_console.progressMessage(makePlainLine() + describeFiles(false));
    }
}

void CProgress::tellEvent() {
    const int64 bytes = m_bytes + m_bytesUnderWay;
    const double seconds = getSeconds();
    CEvent event("progress");
    event.number("files", m_files).number("bytes", bytes).seconds("seconds", seconds);
    event.number("expected_files", m_expectedFiles).number("expected_bytes", m_expectedBytes);
    event.flag("counted", m_isCounted);
    event.number("bytes_per_second",
                 seconds > 0 ? static_cast<int64>(static_cast<double>(bytes) / seconds) : 0);
    if (const double left = getSecondsLeft(); left >= 0) {
        event.seconds("seconds_left", left);
    }
    m_console.tell(event);
}

String CProgress::makePlainLine() const {
    const int64 bytes = m_bytes + m_bytesUnderWay;
    const String rate = formatRate(bytes, getSeconds());
    if (m_expectedFiles == 0) {
        return formatNumberOf(m_files, "file") + ", " + formatBytes(bytes) + ", " + rate;
    }
    const double left = getSecondsLeft();
    return formatCount(m_files) + " of " + formatNumberOf(m_expectedFiles, "file") + ", " +
           formatBytes(bytes) + " of " + formatBytes(m_expectedBytes) + ", " + rate +
           (left < 0 ? String() : ", " + formatWholeSeconds(left) + " left");
}

String CProgress::makeTerminalLine() const {
    if (!m_filesUnderWay.empty()) {
        const CFileUnderWay& file = m_filesUnderWay.begin()->second;
        if (file.name.isEmpty() && file.total > 0) {
            return makeBarLine(file);
        }
    }
    return makePlainLine() + describeFiles(true);
}

String CProgress::makeBarLine(const CFileUnderWay& file) const {
    const double seconds = getSeconds();
    const double share = getShare(file.bytes, file.total);
    const String percent = padLeft(formatPercent(share), 4);
    const String amount = "  " + formatBytes(file.bytes) + " of " + formatBytes(file.total);
    const String time =
        "  " + formatRate(file.bytes, seconds) + formatTimeLeft(file.bytes, file.total, seconds);
    const int columns = m_console.getProgressColumns();
    const String line = percent + amount + time;
    const int textColumns = std::max(usualTextColumns, static_cast<int>(line.length()));
    const int barColumns = columns - barFrameColumns - textColumns;
    if (barColumns >= minBarColumns) {
        return makeBar(share, std::min(barColumns, maxBarColumns)) + line;
    }
    return static_cast<int>(line.length()) <= columns ? line : percent + time;
}

// The file in transfer for the longest time.
String CProgress::describeFiles(bool showsShare) const {
    if (m_filesUnderWay.empty() || m_filesUnderWay.begin()->second.name.isEmpty()) {
        return String();
    }
    const CFileUnderWay& file = m_filesUnderWay.begin()->second;
    return "  " +
           (showsShare && file.total > 0 ? formatPercent(getShare(file.bytes, file.total)) + " of "
                                         : String()) +
           file.name;
}

}  // namespace vexil::app
