#pragma once

#include "vexil/BaseTypes.h"
#include "zet/Mutex.h"

#include <chrono>
#include <functional>
#include <map>

namespace vexil::app {

class CConsole;

/// Counts transferred data and shows it: on a terminal in one line that is overwritten, otherwise sometimes
/// in a plain line. Any number of files may be in transfer at once.
///
/// For a file without a name, as in a command that moves one file only, the line on a terminal has a bar and
/// the time left. For a file with a name it has the finished share. Both need known sizes. Any thread.
class CProgress {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    /// The console must outlive it.
    explicit CProgress(CConsole& console, Clock clock = std::chrono::steady_clock::now);
    ~CProgress();
    CProgress(const CProgress&) = delete;
    CProgress& operator=(const CProgress&) = delete;

    /// A file begins.
    /// \return its number for the other calls, which have no effect after the end of the file
    int beginFile(const String& name);
    /// The number of bytes of a file that are transferred so far.
    /// \param total  of the whole file; 0 if unknown
    void update(int file, int64 bytes, int64 total = 0);
    /// A file is complete.
    void endFile(int file, int64 bytes);
    /// A file has failed; it is not counted.
    void dropFile(int file);

    /// Tells events, if the console has them: at most one a second. Call it before the first file.
    void tellEvents();
    /// More files to transfer, which are known before they begin. Without them no line shows a total.
    void expect(int64 files, int64 bytes);
    /// The totals are complete: lines and events have a time left from now on.
    void endCounting();

    int64 getFileCount() const;
    int64 getByteCount() const;
    /// Seconds since construction.
    double getSeconds() const;

private:
    struct CFileUnderWay {
        String name;
        int64 bytes = 0;
        int64 total = 0;
    };

    bool remove(int file) ZET_REQUIRES(m_mutex);
    void show() ZET_REQUIRES(m_mutex);
    void tellEvent() ZET_REQUIRES(m_mutex);
    std::chrono::milliseconds getPause() const ZET_REQUIRES(m_mutex);
    /// Less than 0 if it is unknown.
    double getSecondsLeft() const ZET_REQUIRES(m_mutex);
    String makePlainLine() const ZET_REQUIRES(m_mutex);
    String makeTerminalLine() const ZET_REQUIRES(m_mutex);
    String makeBarLine(const CFileUnderWay& file) const;
    String describeFiles(bool showsShare) const ZET_REQUIRES(m_mutex);

    CConsole& m_console;
    Clock m_clock;
    std::chrono::steady_clock::time_point m_start;
    mutable zet::CMutex m_mutex;
    std::chrono::steady_clock::time_point m_nextShow ZET_GUARDED_BY(m_mutex);
    std::map<int, CFileUnderWay> m_filesUnderWay ZET_GUARDED_BY(m_mutex);
    int m_nextFile ZET_GUARDED_BY(m_mutex) = 0;
    int64 m_files ZET_GUARDED_BY(m_mutex) = 0;
    int64 m_bytes ZET_GUARDED_BY(m_mutex) = 0;
    int64 m_bytesUnderWay ZET_GUARDED_BY(m_mutex) = 0;
    int64 m_expectedFiles ZET_GUARDED_BY(m_mutex) = 0;
    int64 m_expectedBytes ZET_GUARDED_BY(m_mutex) = 0;
    bool m_isCounted ZET_GUARDED_BY(m_mutex) = false;
    bool m_tellsEvents ZET_GUARDED_BY(m_mutex) = false;
};

/// The progress of one file, which is in transfer as long as this object lives.
class CFileProgress {
public:
    /// The progress must outlive it.
    CFileProgress(CProgress& progress, const String& name)
        : m_progress(progress), m_file(progress.beginFile(name)) {}
    ~CFileProgress() { m_progress.dropFile(m_file); }
    CFileProgress(const CFileProgress&) = delete;
    CFileProgress& operator=(const CFileProgress&) = delete;

    /// Transferred bytes, and the total; 0 if unknown. Any thread.
    void update(int64 bytes, int64 total) { m_progress.update(m_file, bytes, total); }
    /// The file is complete, with this many bytes. Must be called once, as the last function.
    void complete(int64 bytes) { m_progress.endFile(m_file, bytes); }

private:
    CProgress& m_progress;
    const int m_file;
};

}  // namespace vexil::app
