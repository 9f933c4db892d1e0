#pragma once

#include "apps/vexil/ftp/FTPTransferPolicy.h"
#include "vexil/ftp/FTPClient.h"

#include <functional>
#include <optional>

namespace vexil::app {

/// An FTP server for the commands: one operation after another over one request. Each is tried again by the
/// policy, and its error contains the server's reply. Paths are plain and begin with "/".
///
/// If the server refuses something by a reply with many possible reasons (such as 550), the session asks
/// whether the entry exists. If it does not, the failure is a CMissingError; if it does, a CError of the
/// domain "ftp".
class CFTPSession {
public:
    using Preparation = std::function<void(CFTPClient& client, CNetRequest& request)>;

    /// The request must outlive it.
    /// \param client  for the server; paths are percent-encoded
    /// \param setup   called for each request
    CFTPSession(const CFTPClient& client, INetRequestSetup& setup, CNetRequest& request,
                const std::shared_ptr<CRetryPolicy>& patience);
    CFTPSession(const CFTPSession&) = delete;
    CFTPSession& operator=(const CFTPSession&) = delete;

    CFTPClient& getClient() noexcept { return m_client; }
    CFTPTransferPolicy& getPolicy() noexcept { return m_policy; }

    /// Runs one request.
    /// \param path  the entry of the request
    /// \param isListing  whether it lists a directory
    void perform(const String& path, const Preparation& prepare, bool isListing = false);

    /// Lists a directory leniently, see CFTPListDirResult::parseLeniently().
    P<CFTPListDirResult> listDir(const String& path);
    /// The facts of one entry (MLST; otherwise from the listing of its directory).
    CFTPDirEntry getInfo(const String& path);
    /// Identifies this entry, see CFTPDirEntry::getUniqueID(); "" if the server does not send it.
    String findUniqueID(const String& path);
    /// Makes a directory.
    /// \throws CError also if the server has made it under another name
    void makeDir(const String& path);
    /// Makes a directory and the missing directories above it.
    void makeDirs(const String& path);
    /// Makes a directory instead of a file, which is first moved away and then deleted.
    /// \returns whether it was deleted
    /// \throws CError if the directory could not be made; the file may have been moved away then
    bool replaceByDir(const String& path, const String& oldFile);
    /// False if makeDirs() has found that the server does not know MLST, and therefore not MLSD (RFC 3659).
    bool knowsMLST() const noexcept { return m_knowsMLST; }
    /// False after noteUnknownMFMT(): the server cannot set times.
    bool knowsMFMT() const noexcept { return m_knowsMFMT; }
    void noteUnknownMFMT() noexcept { m_knowsMFMT = false; }
    void removeFile(const String& path);
    void removeDir(const String& path);
    /// Removes an entry that was listed as a directory without listing it: an empty directory, or a link that
    /// looks like a directory. False if the server refuses it.
    bool removeUnseen(const String& path);

    /// A file that was moved away to be replaced.
    struct CMovedFile {
        String path;
        String name;  ///< its path before
    };
    /// Gives moved files their names back if the names are free. For the time after a failure: it does not
    /// try again, an interrupt does not end it, and each of its two requests takes at most 10 s.
    /// \returns the paths of files that still have the other name
    TArray<String> restoreNames(const TArray<CMovedFile>& files);
    /// Deletes those of the files that exist; tries all of them. For the time after a failure, as above.
    /// \returns the paths of files that still exist
    TArray<String> removeFiles(const TArray<String>& paths);

private:
    /// Chooses the error to report instead of the error of a request; null for the latter.
    using Judgement = std::function<P<CError>(const CError& error)>;

    void performPlainly(const Preparation& prepare, bool isListing = false, const Judgement& judge = nullptr);
    void performOnce(bool isListing, const Judgement& judge);
    void performTolerantly(const String& command);
    void checkListed();
    void explainRefusal(const CError& error, const String& path);
    /// Runs commands, and returns for each path whether a file exists then.
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
    bool m_knowsMFMT = true;
    bool m_hasMLSTWorked = false;  // for any path
};

}  // namespace vexil::app
