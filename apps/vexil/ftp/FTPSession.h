#pragma once

#include "apps/vexil/ftp/FTPTransferPolicy.h"
#include "vexil/ftp/FTPClient.h"

#include <functional>
#include <optional>

namespace vexil::app {

/// An FTP server as the commands use it, one operation after another over one request: each is tried again as the
/// policy wants it, and its failure carries what the server has said. Paths are plain and begin with "/".
///
/// Where the server refuses something by a reply that may mean all kinds of reasons (550 and the like), it is asked
/// whether the entry is there. If not, the failure is a CMissingError; if so, a CError of the domain "ftp".
class CFTPSession {
public:
    using Preparation = std::function<void(CFTPClient& client, CNetRequest& request)>;

    /// The request must outlive it.
    /// \param client  knows the server; paths are percent-encoded
    /// \param setup   is called for each request
    CFTPSession(const CFTPClient& client, INetRequestSetup& setup, CNetRequest& request,
                const std::shared_ptr<CPatience>& patience);
    CFTPSession(const CFTPSession&) = delete;
    CFTPSession& operator=(const CFTPSession&) = delete;

    CFTPClient& getClient() noexcept { return m_client; }
    CFTPTransferPolicy& getPolicy() noexcept { return m_policy; }

    /// Runs one request.
    /// \param path  the entry that it is about
    /// \param isListing  whether it lists a directory
    void perform(const String& path, const Preparation& prepare, bool isListing = false);

    /// Lists a directory leniently, see CFTPListDirResult::parseLeniently().
    P<CFTPListDirResult> listDir(const String& path);
    /// What the server tells of one entry (MLST; otherwise the listing of its directory).
    CFTPDirEntry getInfo(const String& path);
    /// What tells this entry from all others, see CFTPDirEntry::getUniqueID(); "" if the server does not tell it.
    String findUniqueID(const String& path);
    /// Makes a directory.
    /// \throws CError also when the server has made it under another name
    void makeDir(const String& path);
    /// Makes a directory, and those above it, where they are not there yet.
    void makeDirs(const String& path);
    /// Makes a directory in the place of a file, which is moved away and then deleted.
    /// \returns whether it was deleted
    /// \throws CError when the directory could not be made; the file may have been moved away then
    bool replaceByDir(const String& path, const String& oldFile);
    /// False when makeDirs() has found that the server does not know MLST, and so no MLSD either (RFC 3659).
    bool knowsMLST() const noexcept { return m_knowsMLST; }
    void removeFile(const String& path);
    void removeDir(const String& path);
    /// Removes an entry that was listed as a directory without a look into it: an empty directory, or a link that only
    /// looks like a directory. False if the server refuses it.
    bool removeUnseen(const String& path);

    /// A file that was moved away for another one.
    struct CMovedFile {
        String path;
        String name;  ///< the path that it had before
    };
    /// Gives files that were moved away their names back where nothing has these. For after a failure: neither is this
    /// tried again, nor does an interrupt end it, but each of its two requests takes 10 s at most.
    /// \returns the paths of those that are still where they were moved to
    TArray<String> restoreNames(const TArray<CMovedFile>& files);
    /// Deletes those of the files that are there; all are tried. For after a failure, as above.
    /// \returns those that are still there
    TArray<String> removeFiles(const TArray<String>& paths);

private:
    /// Tells which error counts instead of one that a request has failed with; null for that one.
    using Judgement = std::function<P<CError>(const CError& error)>;

    void performPlainly(const Preparation& prepare, bool isListing = false, const Judgement& judge = nullptr);
    void performTolerantly(const String& command);
    void checkListed();
    void explainRefusal(const CError& error, const String& path);
    /// Runs commands, and tells for each of the paths whether a file is there then.
    TArray<bool> performCleanUp(const CNetStringList& commands, const TArray<String>& paths);
    P<CError> findTransientRefusal() const;
    P<CError> makeDirFailure(const String& path) const;
    void checkMadeNames(const TArray<String>& directories) const;
    bool isDirectory(const String& path);
    bool isDone() const;
    std::optional<CFTPDirEntry> findListed(const String& path);

    CFTPClient m_client;
    CNetRequest& m_request;
    CFTPTransferPolicy m_policy;
    bool m_knowsMLST = true;
    bool m_hasMLSTWorked = false;  // for any path
};

}  // namespace vexil::app
