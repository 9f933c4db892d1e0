#pragma once

#include "apps/vexil/Progress.h"
#include "vexil/BaseTypes.h"
#include "vexil/s3/S3ListObjectsElement.h"
#include "vexil/s3/S3ObjectEnum.h"

#include <filesystem>
#include <set>

namespace vexil::app {

class CContext;
class CTransferQueue;

/// Makes files of all objects below a prefix. Each gets its name when it is complete, in place of a file that
/// has it. What cannot be stored is reported and does not hinder the rest; a server that will refuse
/// everything ends it.
class CRestore {
public:
    /// The context must outlive it.
    /// \param folder  made when it is not there
    CRestore(CContext& context, const String& bucket, const String& prefix,
             const std::filesystem::path& folder);

    /// \param jobs  how many objects are fetched at once, at most
    void run(int jobs);

    /// Prints what was done.
    void printReport();
    int64 getFailureCount() const noexcept { return m_failures; }
    int64 getFileCount() const noexcept { return m_progress.getFileCount(); }

private:
    class CObjectJob;

    static bool hasNext(CTransferQueue& queue, CS3ObjectEnum& objects);
    void restore(CTransferQueue& queue, const CS3ListObjectsElement& element);
    bool isFolderMarker(const CS3ListObjectsElement& element) const;
    bool isInTheWayOf(const String& name) const;
    void makeFolders(const std::filesystem::path& relativePath);
    void reportFailure(const String& key, const CError& error);

    CContext& m_context;
    String m_bucket;
    String m_prefix;
    std::filesystem::path m_folder;
    CProgress m_progress;
    std::set<String> m_namesUnderWay;
    int64 m_continuations = 0;
    int64 m_failures = 0;
};

}  // namespace vexil::app
