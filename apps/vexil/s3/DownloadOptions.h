#pragma once

#include "vexil/BaseTypes.h"

namespace vexil::app {

class CCommandSyntax;

/// The options of the commands that fetch objects: what is read in parts.
class CDownloadOptions {
public:
    /// A larger object is read in parts: as many of the default size as are read at once by default.
    static constexpr int64 defaultLimit = int64{64} << 20;

    CDownloadOptions();

    /// Adds --part-size and --jobs.
    void define(CCommandSyntax& syntax, const char* jobsHelp);

    /// The largest object that is read by one request, in bytes.
    int64 getLimit() const;
    /// In bytes; 0 for the default of the library.
    int64 getPartSize() const;
    int getJobs() const { return m_jobs; }

private:
    int m_partSize = 0;  // MiB; 0 if it is not given
    int m_jobs;
};

}  // namespace vexil::app
