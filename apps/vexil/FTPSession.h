#pragma once

#include "apps/vexil/FTPTransferPolicy.h"
#include "vexil/ftp/FTPClient.h"

#include <functional>

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
    CFTPSession(const CFTPClient& client, CNetRequest& request, int maxRetries);
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
    /// What the server tells of one entry (MLST).
    CFTPDirEntry getInfo(const String& path);
    /// What tells this entry from all others, see CFTPDirEntry::getUniqueID(); "" if the server does not tell it.
    String findUniqueID(const String& path);
    /// Makes a directory, and those above it, where they are not there yet.
    void makeDirs(const String& path);
    void removeFile(const String& path);
    void removeDir(const String& path);
    /// Removes an entry that was listed as a directory without a look into it: an empty directory, or a link that only
    /// looks like a directory. False if the server refuses it.
    bool removeUnseen(const String& path);
    /// Deletes those of the files that are there; all are tried. For after a failure: neither is this tried again, nor
    /// does an interrupt end it, but it takes 10 s at most.
    void removeFiles(const TArray<String>& paths);

private:
    void performPlainly(const Preparation& prepare, bool isListing = false);
    void performTolerantly(const String& command);
    void checkListed();
    void explainRefusal(const CError& error, const String& path);
    void throwDirFailure(const String& path);

    CFTPClient m_client;
    CNetRequest& m_request;
    CFTPTransferPolicy m_policy;
};

}  // namespace vexil::app
