#pragma once

#include "apps/vexil/console/Progress.h"

namespace vexil::app {

/// One file's share in the progress: under way as long as this lives.
class CFileProgress {
public:
    /// The progress must outlive it.
    CFileProgress(CProgress& progress, const String& name)
        : m_progress(progress), m_file(progress.beginFile(name)) {}
    ~CFileProgress() { m_progress.dropFile(m_file); }
    CFileProgress(const CFileProgress&) = delete;
    CFileProgress& operator=(const CFileProgress&) = delete;

    /// How much of the file has been moved, of how much in all; 0 for unknown. Any thread.
    void update(int64 bytes, int64 total) { m_progress.update(m_file, bytes, total); }
    /// The file is done and counts, with so many bytes. To be called once, as the last thing.
    void complete(int64 bytes) { m_progress.endFile(m_file, bytes); }

private:
    CProgress& m_progress;
    const int m_file;
};

}  // namespace vexil::app
