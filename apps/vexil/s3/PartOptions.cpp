#include "apps/vexil/s3/PartOptions.h"

#include "apps/vexil/command/CommandSyntax.h"
#include "apps/vexil/transfer/SessionQueue.h"

namespace vexil::app {

namespace {

constexpr int64 defaultLimit = int64{64} << 20;

}  // namespace

CPartOptions::CPartOptions() : m_jobs(CSessionQueue::defaultCount) {}

void CPartOptions::define(CCommandSyntax& syntax, int minSize, int maxSize, const char* sizeHelp,
                          const char* jobsHelp) {
    syntax.number("--part-size", "MIB", m_size, minSize, maxSize, sizeHelp)
        .number("--jobs", "N", m_jobs, 1, CSessionQueue::maxCount, jobsHelp);
}

int64 CPartOptions::getLimit() const {
    return m_size > 0 ? getSize() : defaultLimit;
}

int64 CPartOptions::getSize() const {
    return int64{m_size} << 20;
}

}  // namespace vexil::app
