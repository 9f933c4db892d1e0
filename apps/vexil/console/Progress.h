#pragma once

#include "vexil/BaseTypes.h"

#include <chrono>
#include <functional>
#include <map>
#include <mutex>

namespace vexil::app {

class CConsole;

/// Counts what is transferred and shows it while it runs: on a terminal in one line that is written over, elsewhere in a
/// plain line now and then. Any number of files may be under way at once.
///
/// The terminal's line has a bar and the time left for a file without a name, as of a command that moves one file only,
/// and the share that is done of a file that has one, once their sizes are known. Any thread.
class CProgress {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    /// The console must outlive it.
    explicit CProgress(CConsole& console, Clock clock = std::chrono::steady_clock::now);
    ~CProgress();
    CProgress(const CProgress&) = delete;
    CProgress& operator=(const CProgress&) = delete;

    /// A file is under way from now on.
    /// \return its number for the other calls, which do nothing when the file is no more under way
    int beginFile(const String& name);
    /// How much of a file has been transferred so far, in bytes.
    /// \param total  of the whole file; 0 for unknown
    void update(int file, int64 bytes, int64 total = 0);
    /// A file is complete.
    void endFile(int file, int64 bytes);
    /// A file has failed: it does not count.
    void dropFile(int file);

    int64 getFileCount() const;
    int64 getByteCount() const;
    /// Since construction.
    double getSeconds() const;

private:
    struct CFileUnderWay {
        String name;
        int64 bytes = 0;
        int64 total = 0;
    };

    bool remove(int file);
    void show();
    String makePlainLine() const;
    String makeTerminalLine() const;
    String makeBarLine(const CFileUnderWay& file) const;
    String describeFiles(bool showsShare) const;

    CConsole& m_console;
    Clock m_clock;
    std::chrono::steady_clock::time_point m_start;
    mutable std::mutex m_mutex;  // guards all below
    std::chrono::steady_clock::time_point m_nextShow;
    std::map<int, CFileUnderWay> m_filesUnderWay;
    int m_nextFile = 0;
    int64 m_files = 0;
    int64 m_bytes = 0;
    int64 m_bytesUnderWay = 0;
};

}  // namespace vexil::app
