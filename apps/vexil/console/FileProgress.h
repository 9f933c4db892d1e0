#pragma once

#include "apps/vexil/console/Progress.h"

namespace vexil::app {

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
