#include "apps/vexil/ftp/FTPSession.h"

#include "apps/vexil/base/ErrorDiagnosis.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/ftp/FTPReplies.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/transfer/Retry.h"
#include "vexil/net/CURLError.h"

#include <algorithm>

namespace vexil::app {

namespace {

constexpr int removalMilliseconds = 10000;
constexpr int replyLoggedIn = 230;

TArray<String> select(const TArray<String>& paths, const TArray<bool>& areWanted) {
    TArray<String> selection;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (areWanted[i]) {
            selection.push_back(paths[i]);
        }
    }
    return selection;
}

/// Sets what the policy needs in addition to the other options.
class CFTPRequestSetup : public virtual CBase, public INetRequestSetup {
public:
    CFTPRequestSetup(INetRequestSetup& setup, CFTPTransferPolicy& policy)
        : m_setup(&setup), m_policy(policy) {}

    void setUp(CNetRequest& request) override {
        m_setup->setUp(request);
        m_policy.setUp(request);
        if (request.getURL().startsWith("ftps://")) {
            // Otherwise files are sent without encryption if the server refuses it.
            request.setFTPUseSSL(CURLUSESSL_ALL);
        }
    }

private:
    const P<INetRequestSetup> m_setup;
    CFTPTransferPolicy& m_policy;
};

}  // namespace

CFTPSession::CFTPSession(const CFTPClient& client, INetRequestSetup& setup, CNetRequest& request,
                         const std::shared_ptr<CRetryPolicy>& patience)
    : m_client(client), m_request(request), m_policy(patience) {
    m_policy.setOwnRequest(request);
    m_client.setRequestSetup(new CFTPRequestSetup(setup, m_policy));
}

void CFTPSession::perform(const String& path, const Preparation& prepare, bool isListing) {
    try {
        performPlainly(prepare, isListing);
    } catch (const CError& error) {
        explainRefusal(error, path);
        throw;
    }
}

void CFTPSession::performPlainly(const Preparation& prepare, bool isListing, const Judgement& judge) {
    runWithRetries(
        [&] {
            prepare(m_client, m_request);
            performOnce(isListing, judge);
        },
        [this](const CError& error, CRetryPolicy::Failures& failures) {
            return m_policy.decideRetry(m_request, error, failures);
        });
}

void CFTPSession::performOnce(bool isListing, const Judgement& judge) {
    try {
        m_policy.perform(m_request);
        if (isListing) {
            checkListed();
        }
    } catch (const CError& error) {
        if (const P<CError> cause = judge ? judge(error) : nullptr) {
            cause->throwClone();
        }
        throw;
    }
}

void CFTPSession::checkListed() {
    try {
        CFTPClient::checkListed(m_request);
    } catch (const CCURLError& error) {
        CFTPTransferPolicy::throwWithReply(error, m_request);
    }
}

void CFTPSession::explainRefusal(const CError& error, const String& path) {
    if (!isRefusedFile(error)) {
        return;
    }
    const auto& refusal = dynamic_cast<const CCURLError&>(error);
    bool isMissing = false;
    try {
        performPlainly([&path](CFTPClient& client, CNetRequest& request) {
            client.prepareVerifyExistsRequest(request, path);
        });
        m_hasMLSTWorked = true;
    } catch (const CError& secondRefusal) {
        if (!isRefusedFile(secondRefusal)) {
            return;
        }
        isMissing = !findListed(path);
    }
    if (isMissing) {
        throw CMissingError("There is no '" + path + "' on the server", "ftp", refusal.getResponseCode(),
                            error.getProps());
    }
    throw CError("The server refuses this for '" + path + "'", "ftp", refusal.getResponseCode(),
                 error.getProps());
}

P<CFTPListDirResult> CFTPSession::listDir(const String& path) {
    const auto prepare = [&path](CFTPClient& client, CNetRequest& request) {
        client.prepareListDirRequest(request, path);
    };
    perform(path, prepare, true);
    return new CFTPListDirResult(CFTPListDirResult::parseLeniently(*m_request.getDefaultReceiveBuffer()));
}

// Some servers refuse MLST for everything, also for entries that they list.
std::optional<CFTPDirEntry> CFTPSession::findListed(const String& path) {
    if (m_hasMLSTWorked) {
        return std::nullopt;
    }
    const String directory = getServerDirectory(path);
    try {
        performPlainly(
            [&directory](CFTPClient& client, CNetRequest& request) {
                client.prepareListDirRequest(request, directory);
            },
            true);
    } catch (const CError&) {
        CInterrupt::throwIfRequested();
        return std::nullopt;
    }
    const auto listing = CFTPListDirResult::parseLeniently(*m_request.getDefaultReceiveBuffer());
    for (const P<CFTPDirEntry>& entry : listing.getEntries()) {
        if (entry->getName() == getServerName(path)) {
            return *entry;
        }
    }
    return std::nullopt;
}

CFTPDirEntry CFTPSession::getInfo(const String& path) {
    try {
        performPlainly([&path](CFTPClient& client, CNetRequest& request) {
            client.prepareGetInfoRequest(request, path);
        });
    } catch (const CError& error) {
        const auto* const refusal = dynamic_cast<const CCURLError*>(&error);
        if (!refusal || !isRefusedFile(error)) {
            throw;
        }
        if (const auto entry = findListed(path)) {
            return *entry;
        }
        throw CMissingError("There is no '" + path + "' on the server", "ftp", refusal->getResponseCode(),
                            error.getProps());
    }
    const TArray<CFTPDirEntry> infos = findInfos(m_request);
    if (infos.empty()) {
        throw CError("The server's reply about '" + path + "' contains no entry.");
    }
    m_hasMLSTWorked = true;
    return infos.back();
}

String CFTPSession::findUniqueID(const String& path) {
    performTolerantly("MLST " + path);
    const TArray<CFTPDirEntry> infos = findInfos(m_request);
    m_hasMLSTWorked = m_hasMLSTWorked || !infos.empty();
    return infos.empty() ? String() : infos.back().getUniqueID();
}

// The server refuses an existing directory, which would end the connection. With the "*" libcurl continues
// after a refusal (CURLOPT_PREQUOTE). The last replies decide.
void CFTPSession::makeDirs(const String& path) {
    const Preparation prepare = [this, &path](CFTPClient& client, CNetRequest& request) {
        client.prepareGetInfoRequest(request, path);
        const P<CNetStringList> commands = new CNetStringList;
        for (const String& directory : getDirsDownTo(path)) {
            commands->add("*MKD " + directory);
        }
        // A server changes only into a directory.
        commands->add((m_knowsMLST ? "MLST " : "CWD ") + path);
        request.setFTPCustomPreCommands(commands);
    };
    try {
        performPlainly(prepare, false, [this](const CError& error) {
            return isRefusedFile(error) ? findTransientRefusal() : nullptr;
        });
    } catch (const CError& error) {
        const auto* const refusal = dynamic_cast<const CCURLError*>(&error);
        if (m_knowsMLST && refusal && isUnknownCommand(refusal->getResponseCode())) {
            m_knowsMLST = false;
            makeDirs(path);
            return;
        }
        if (!isRefusedFile(error)) {
            throw;
        }
        const P<CError> failure = makeDirFailure(path);
        if (!m_knowsMLST || !isDirectory(path)) {
            failure->throwClone();
        }
        return;
    }
    if (!m_knowsMLST) {
        return;
    }
    const TArray<CFTPDirEntry> infos = findInfos(m_request);
    if (infos.empty() || infos.back().getType() != zet::IFileInfoBase::TypeDirectory) {
        throw CError("There is no directory '" + path + "' on the server, but another entry of this name.",
                     "ftp");
    }
}

/// A directory that does not exist, because it could not be made before.
P<CError> CFTPSession::findTransientRefusal() const {
    for (const CNetReply& refusal : findRefusals(m_request)) {
        if (isTransient(refusal.getCode())) {
            return makeRefusal(m_request, refusal).clone();
        }
    }
    return nullptr;
}

void CFTPSession::makeDir(const String& path) {
    perform(path, [&path](CFTPClient& client, CNetRequest& request) {
        client.prepareCreateDirRequest(request, path, false);
    });
    checkMadeNames({path});
}

// The reply to PWD has the same code; it comes after the login.
void CFTPSession::checkMadeNames(const TArray<String>& directories) const {
    bool isAfterLogin = false;
    for (const CNetReply& reply : m_request.getReplies()) {
        const auto made = findMadePath(reply);
        const auto hasName = [&made](const String& path) {
            return getServerName(path) == getServerName(*made);
        };
        if (made && !isAfterLogin && std::none_of(directories.begin(), directories.end(), hasName)) {
            throwRefusal("The server has made the directory under another name: '" + *made + "'",
                         makeRefusal(m_request, reply));
        }
        isAfterLogin = reply.getCode() == replyLoggedIn || (isAfterLogin && !made);
    }
}

bool CFTPSession::isDirectory(const String& path) {
    performTolerantly("CWD " + path);
    return isDone();
}

bool CFTPSession::isDone() const {
    return getReplyFromEnd(m_request, 1).getCode() / 100 == 2;
}

P<CError> CFTPSession::makeDirFailure(const String& path) const {
    try {
        checkMadeNames(getDirsDownTo(path));
    } catch (const CError& error) {
        return error.clone();
    }
    const TArray<CNetReply> refusals = findRefusals(m_request);
    // The last reply shows whether the directory exists.
    CProps props;
    if (refusals.size() > 1) {
        props.add("serverMessage", describeReply(refusals[refusals.size() - 2]));
    }
    return CError("The directory '" + path + "' cannot be made", "ftp", -1, props).clone();
}

bool CFTPSession::replaceByDir(const String& path, const String& oldFile) {
    performPlainly([&](CFTPClient& client, CNetRequest& request) {
        client.prepareGetInfoRequest(request, path);
        const P<CNetStringList> commands = new CNetStringList;
        for (const String& command : {"RNFR " + path, "RNTO " + oldFile, "MKD " + path, "*DELE " + oldFile}) {
            commands->add(command);
        }
        request.setFTPCustomPreCommands(commands);
    });
    const int code = getReplyFromEnd(m_request, 1).getCode();
    return code >= 200 && code <= 299;
}

void CFTPSession::removeFile(const String& path) {
    perform(path, [&path](CFTPClient& client, CNetRequest& request) {
        client.prepareDeleteFileRequest(request, path);
    });
}

void CFTPSession::removeDir(const String& path) {
    perform(path, [&path](CFTPClient& client, CNetRequest& request) {
        client.prepareRemoveDirRequest(request, path);
    });
}

// Neither command follows a link.
bool CFTPSession::removeUnseen(const String& path) {
    for (const char* command : {"RMD ", "DELE "}) {
        performTolerantly(command + path);
        if (isDone()) {
            return true;
        }
    }
    return false;
}

// With the "*" libcurl continues if the server refuses it (CURLOPT_PREQUOTE).
void CFTPSession::performTolerantly(const String& command) {
    performPlainly([&command](CFTPClient& client, CNetRequest& request) {
        client.prepareVerifyExistsRequest(request, "/");
        const P<CNetStringList> commands = new CNetStringList;
        commands->add("*" + command);
        request.setFTPCustomPreCommands(commands);
    });
}

TArray<bool> CFTPSession::performCleanUp(const CNetStringList& commands, const TArray<String>& paths) {
    m_client.prepareGetInfoRequest(m_request, "/");
    const P<CNetStringList> all = new CNetStringList(commands);
    // Some servers report sizes only in this mode.
    all->add("*TYPE I");
    for (const String& path : paths) {
        all->add("*SIZE " + path);
    }
    m_request.setFTPCustomPreCommands(all);
    m_request.setTransferProgress(nullptr);
    m_request.setFullRequestTimeout(zet::CTimeSpan::fromMilliseconds(removalMilliseconds));
    m_policy.perform(m_request);
    TArray<bool> areThere;
    for (auto position = static_cast<int>(paths.size()); position > 0; --position) {
        areThere.push_back(findSize(getReplyFromEnd(m_request, position)).has_value());
    }
    return areThere;
}

TArray<String> CFTPSession::restoreNames(const TArray<CMovedFile>& files) {
    TArray<String> names;
    TArray<String> oldNames;
    for (const CMovedFile& file : files) {
        names.push_back(file.name);
        oldNames.push_back(file.path);
    }
    const TArray<bool> areTaken = performCleanUp(CNetStringList(), names);
    CNetStringList commands;
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (!areTaken[i]) {
            commands.add("*RNFR " + files[i].path);
            commands.add("*RNTO " + files[i].name);
        }
    }
    return select(oldNames, performCleanUp(commands, oldNames));
}

TArray<String> CFTPSession::removeFiles(const TArray<String>& paths) {
    CNetStringList commands;
    for (const String& path : paths) {
        commands.add("*DELE " + path);
    }
    return select(paths, performCleanUp(commands, paths));
}

}  // namespace vexil::app
