#pragma once

#include "apps/vexil/base/ExitCode.h"
#include "apps/vexil/console/Progress.h"
#include "apps/vexil/files/LeftParts.h"
#include "apps/vexil/mirror/Store.h"
#include "vexil/BaseTypes.h"

#include <deque>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace vexil::app {

class CRestoredFacts;
class CSession;
class CSessionQueue;

/// Downloads all stored files. Each gets its name when it is complete, and replaces a file of that name.
/// Reports files that cannot be written, and continues with the others. Ends if the server will refuse
/// everything.
class CRestore {
public:
    /// Session and store must outlive it.
    /// \param folder     created if it does not exist
    /// \param usesIndex  whether times, modes, links and empty folders of the store's index are restored
    CRestore(CSession& session, IStore& store, const std::filesystem::path& folder, bool usesIndex = false);
    ~CRestore();

    /// Runs the restore, and prints a summary, also before it throws.
    /// \param jobs  how many files are fetched at once, at most
    ExitCode run(int jobs);

private:
    class CFetchJob;

    void restoreAll(int jobs);
    std::unique_ptr<IStoredFile> findNext(CSessionQueue& queue, IStoreListing& listing);
    void restoreListed(CSessionQueue& queue);
    void restore(CSessionQueue& queue, std::unique_ptr<IStoredFile> file);
    void fetchAlone(const IStoredFile& file);
    std::filesystem::path preparePath(const IStoredFile& file);
    bool takeIndex(std::unique_ptr<IStoredFile>& file);
    void applyIndex();
    void noteFetched(const IStoredFile& file);
    void onFailure(const IStoredFile& file, const CError& error);
    void onProblem(const String& name, const String& reason, const std::string& path);
    void tellBegin(const IStoredFile& file);
    void printReport(bool isComplete);
    bool isInTheWayOf(const String& name) const;

    CSession& m_session;
    IStore& m_store;
    std::filesystem::path m_folder;
    CProgress m_progress;
    CLeftParts m_leftParts;
    std::set<String> m_namesUnderWay;
    std::deque<std::unique_ptr<IStoredFile>> m_files;        // to fetch, once all are listed
    std::vector<std::unique_ptr<IStoredFile>> m_filesAlone;  // they follow after the others
    std::unique_ptr<CRestoredFacts> m_facts;                 // null if no index is used
    std::unique_ptr<IStoredFile> m_indexFile;                // null if the store has none
    int64 m_continuations = 0;
    int64 m_failures = 0;
};

}  // namespace vexil::app
