#pragma once

#include "vexil/BaseTypes.h"

namespace vexil::app {

class CCommandSyntax;

/// The options of transfers in parts: how large a part is, and how many are transferred at once.
class CPartOptions {
public:
    CPartOptions();

    /// Adds --part-size and --jobs.
    /// \param minSize  of a part, in MiB
    /// \param maxSize  the same
    void define(CCommandSyntax& syntax, int minSize, int maxSize, const char* sizeHelp, const char* jobsHelp);

    /// The largest object that is transferred by one request, in bytes. By default as many parts of the
    /// default size as are transferred at once.
    int64 getLimit() const;
    /// Of a part, in bytes; 0 for the default of the library.
    int64 getSize() const;
    int getJobs() const { return m_jobs; }

private:
    int m_size = 0;  // MiB; 0 if it is not given
    int m_jobs;
};

}  // namespace vexil::app
