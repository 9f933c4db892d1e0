#pragma once

#include "vexil/BaseTypes.h"

#include <chrono>
#include <functional>

namespace vexil::app {

class CConsole;

/// Counts what is transferred and shows it while it runs: on a terminal in one line that is written over,
/// elsewhere in a plain line now and then.
class CProgress {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    /// The console must outlive it.
    explicit CProgress(CConsole& console, Clock clock = std::chrono::steady_clock::now);
    ~CProgress();
    CProgress(const CProgress&) = delete;
    CProgress& operator=(const CProgress&) = delete;

    void beginFile(const String& name);
    /// How much of the current file has been transferred so far, in bytes.
    void update(int64 bytesOfFile);
    /// The current file is complete.
    void endFile(int64 bytes);
    /// The current file has failed: it does not count.
    void dropFile();

    int64 getFileCount() const noexcept { return m_files; }
    int64 getByteCount() const noexcept { return m_bytes; }
    /// Since construction.
    double getSeconds() const;

private:
    void show();

    CConsole& m_console;
    Clock m_clock;
    std::chrono::steady_clock::time_point m_start;
    std::chrono::steady_clock::time_point m_nextShow;
    String m_fileName;
    int64 m_files = 0;
    int64 m_bytes = 0;
    int64 m_bytesOfFile = 0;
};

}  // namespace vexil::app
