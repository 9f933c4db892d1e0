#pragma once

#include "apps/vexil/base/ExitCode.h"
#include "apps/vexil/console/Progress.h"
#include "apps/vexil/files/LeftParts.h"
#include "apps/vexil/mirror/RestoreSource.h"
#include "vexil/BaseTypes.h"

#include <filesystem>
#include <memory>
#include <set>

namespace vexil::app {

class CContext;
class CTransferQueue;

/// Makes files of all that was stored. Each gets its name when it is complete, in place of a file that
/// has it. What cannot be stored is reported and does not hinder the rest; a server that will refuse
/// everything ends it.
class CRestore {
public:
    /// Context and source must outlive it.
    /// \param folder  made when it is not there
    CRestore(CContext& context, IRestoreSource& source, const std::filesystem::path& folder);

    /// Does it, and prints what was done, also where it throws.
    /// \param jobs  how many files are fetched at once, at most
    ExitCode run(int jobs);

private:
    class CFileJob;

    void restoreAll(int jobs);
    std::unique_ptr<IStoredFile> findNext(CTransferQueue& queue);
    void restore(CTransferQueue& queue, std::unique_ptr<IStoredFile> file);
    void printReport();
    bool isInTheWayOf(const String& name) const;
    void makeFolders(const std::filesystem::path& relativePath);
    void reportFailure(const String& name, const CError& error);

    CContext& m_context;
    IRestoreSource& m_source;
    std::filesystem::path m_folder;
    CProgress m_progress;
    CLeftParts m_leftParts;
    std::set<String> m_namesUnderWay;
    int64 m_continuations = 0;
    int64 m_failures = 0;
};

}  // namespace vexil::app
