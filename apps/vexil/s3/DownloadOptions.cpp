#include "apps/vexil/s3/DownloadOptions.h"

#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/transfer/SessionQueue.h"

namespace vexil::app {

CDownloadOptions::CDownloadOptions() : m_jobs(CSessionQueue::defaultCount) {}

void CDownloadOptions::define(CCommandSyntax& syntax, const char* jobsHelp) {
    syntax
        .number("--part-size", "MIB", m_partSize, 1, 1024,
                "Read a larger object in parts of this many MiB (default: an object above 64 MiB in parts of "
                "8 MiB)")
        .number("--jobs", "N", m_jobs, 1, CSessionQueue::maxCount, jobsHelp);
}

int64 CDownloadOptions::getLimit() const {
    return m_partSize > 0 ? getPartSize() : defaultLimit;
}

int64 CDownloadOptions::getPartSize() const {
    return int64{m_partSize} << 20;
}

}  // namespace vexil::app
