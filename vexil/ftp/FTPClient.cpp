#include "vexil/ftp/FTPClient.h"

#include "vexil/net/LineEnd.h"
#include "vexil/net/RequestSetupCall.h"
#include "vexil/net/ServerAddress.h"
#include "vexil/net/UploadArguments.h"
#include "zet/ASCII.h"
#include "zet/MTRand.h"
#include "zet/MemoryInStream.h"
#include "zet/StreamRange.h"
#include "zet/URI.h"

#include <algorithm>
#include <initializer_list>
#include <set>
#include <string>

namespace vexil {

namespace {

constexpr int maxLevels = 1000;
constexpr int replyGoodbye = 221;
constexpr int replyFileBusy = 450;
constexpr char placeFromURL[] = "CFTPClient::fromURL";

void check(bool isWrong, const char* place, const char* what) {
    if (isWrong) {
        throw CInvalidArgError(place, String(what) + " must not contain CR, LF or NUL");
    }
}

void setCommands(CNetRequest& request, std::initializer_list<String> commands) {
    const P<CNetStringList> list = new CNetStringList;
    for (const String& command : commands) {
        list->add(command);
    }
    request.setFTPCustomPreCommands(list);
}

/// True if the server has carried out the last command. A 221 is ignored: it belongs to another connection
/// that ended.
bool isDone(const CNetRequest& request) {
    TArray<CNetReply> replies = request.getReplies();
    std::erase_if(replies, [](const CNetReply& reply) { return reply.getCode() == replyGoodbye; });
    return !replies.empty() && replies.back().getCode() / 100 == 2;
}

void setEmptyUpload(CNetRequest& request) {
    request.setUpload(true);
    request.setSendDataStream(new zet::CMemoryInStream(nullptr, 0));
}

String makeDummyPath(const String& directory) {
    const zet::CMutexLock lock(zet::CMTRand::getGlobalInstanceMutex());
    return directory + "/__dummy" + String(std::to_wstring(zet::CMTRand::getGlobal()->rand64()));
}

/// True if a name changes its meaning, or is invalid, as URL text.
bool isChangedByURL(const String& name) {
    if (name.view().find_first_of(L" \t#?") != std::wstring_view::npos ||
        name.find(";type=") != String::npos) {
        return true;
    }
    for (std::size_t i = name.find(L'%'); i != String::npos; i = name.find(L'%', i + 1)) {
        // Reading past the end gives a NUL.
        if (zet::isHexDigit(name[i + 1]) && zet::isHexDigit(name[i + 2])) {
            return true;
        }
    }
    return false;
}

}  // namespace

CFTPClient::CFTPClient(const String& host, const String& userName, const String& password,
                       ConnectType connectType)
    : m_host(host), m_userName(userName), m_password(password), m_connectType(connectType) {}

CFTPClient::~CFTPClient() = default;

CFTPClient CFTPClient::fromURL(const String& url, const String& userName, const String& password) {
    const CServerAddress address = parseServerURL(placeFromURL, url, "ftp", "ftps");
    return CFTPClient(joinHostAndPort(address), userName, password,
                      address.scheme == "ftps" ? ConnectImplicitTLS : ConnectExplicitTLS);
}

CFTPClient CFTPClient::fromURL(const String& url, const String& userName, const String& password,
                               ConnectType connectType) {
    const CServerAddress address = parseServerURL(placeFromURL, url, "ftp", "ftps");
    if ((address.scheme == "ftps") != (connectType == ConnectImplicitTLS)) {
        throw CInvalidArgError(placeFromURL, "ftps:// means ConnectImplicitTLS, and ftp:// does not");
    }
    return CFTPClient(joinHostAndPort(address), userName, password, connectType);
}

CFTPClient CFTPClient::fromHost(const String& host, int port, const String& userName, const String& password,
                                ConnectType connectType) {
    static constexpr char place[] = "CFTPClient::fromHost";
    const CServerAddress address{String(), checkHost(place, host), checkPort(place, port)};
    return CFTPClient(joinHostAndPort(address), userName, password, connectType);
}

String CFTPClient::cwdTypeToString(CWDType type) {
    switch (type) {
    case CWDInvalid:
        return "CWDInvalid";
    case CWDSteps:
        return "CWDSteps";
    case CWDDirect:
        return "CWDDirect";
    case CWDNone:
        return "CWDNone";
    }
    throw CError("Unknown CWDType: " + String::fromInt(type));
}

bool CFTPClient::isRootPath(const String& path) {
    int level = 0;
    std::wstring_view rest = path.view();
    while (!rest.empty()) {
        const std::wstring_view name = rest.substr(0, rest.find(L'/'));
        rest.remove_prefix(std::min(name.size() + 1, rest.size()));
        if (name == L"..") {
            level = std::max(0, level - 1);
        } else if (!name.empty() && name != L".") {
            ++level;
        }
    }
    return level == 0;
}

// ---- beginning of a preparation --------------------------------------------------------------------------

void CFTPClient::checkLogin(const char* place) const {
    check(hasLineEnd(m_host), place, "host");
    check(hasLineEnd(m_userName), place, "user name");
    check(hasLineEnd(m_password), place, "password");
}

void CFTPClient::checkPath(const char* place, const String& path) const {
    check(hasLineEnd(path), place, "path");
    if (m_pathEncoding == PathPercentEncode && !path.startsWith("/")) {
        throw CInvalidArgError(place, "path must begin with '/'");
    }
    checkLogin(place);
}

String CFTPClient::toURLPath(const String& path) const {
    // The first "/" only ends the host (RFC 1738, 3.2.2): an absolute path needs a second one.
    return m_pathEncoding == PathPercentEncode ? "/" + zet::CURI::escape(path, true, "/") : path;
}

void CFTPClient::beginPrepareRequest(CNetRequest& request, const String& path, bool createMissingDirs) {
    request.reset();
    request.setURL((m_connectType == ConnectImplicitTLS ? "ftps://" : "ftp://") + m_host + path);
    request.setUserName(m_userName);
    request.setUserPassword(m_password);
    if (m_connectType == ConnectExplicitTLS) {
        request.setFTPUseSSL(CURLUSESSL_ALL);
    }
    if (m_maxTLSVersion != TLSVersionDefault) {
        request.setMaxTLSVersion(m_maxTLSVersion);
    }
    if (!m_verifiesCertificate) {
        request.setVerifyCertificate(false);
    }
    const CWDType byNeed = createMissingDirs ? CWDSteps : CWDNone;
    switch (m_overrideCWDType == CWDInvalid ? byNeed : m_overrideCWDType) {
    case CWDSteps:
        request.setFTPFileMethod(CURLFTPMETHOD_MULTICWD);
        break;
    case CWDDirect:
        request.setFTPFileMethod(CURLFTPMETHOD_SINGLECWD);
        break;
    case CWDNone:
        request.setFTPFileMethod(CURLFTPMETHOD_NOCWD);
        break;
    default:
        break;  // keep libcurl's default
    }
    request.setFTPCreateMissingDirs(createMissingDirs ? CURLFTP_CREATE_DIR_RETRY : CURLFTP_CREATE_DIR_NONE);
    if (m_pathEncoding == PathPercentEncode) {
        // Keep "." and ".." in URLs, as in commands.
        request.setOptionInt(CURLOPT_PATH_AS_IS, 1);
    }
    request.setOptionInt(CURLOPT_HTTPPROXYTUNNEL, 1);
    callRequestSetup(m_requestSetup, request, "CFTPClient::setRequestSetup");
}

void CFTPClient::prepareCommand(const char* place, CNetRequest& request, const char* command,
                                const String& path) {
    checkPath(place, path);
    beginPrepareRequest(request, "", false);
    setCommands(request, {command + path});
    request.setOptionInt(CURLOPT_NOBODY, 1);
}

// ---- files -----------------------------------------------------------------------------------------------

void CFTPClient::prepareDownloadRequest(CNetRequest& request, const String& path, int64 offset,
                                        int64 length) {
    static constexpr char place[] = "CFTPClient::prepareDownloadRequest";
    checkPath(place, path);
    if (m_pathEncoding == PathPercentEncode && path.endsWith("/")) {
        // libcurl would return the listing of the directory as the content of a file.
        throw CInvalidArgError(place, "path must not end with '/': it means a directory");
    }
    beginPrepareRequest(request, toURLPath(path), false);
    if (length < 1 && length != -1) {
        // libcurl opens the data connection, sends no command and keeps the control connection. Some servers
        // send 226 when the data connection closes. The next operation would read it as the reply to its
        // first command.
        request.setOptionInt(CURLOPT_FORBID_REUSE, 1);
    }
    if (offset != 0 || length != -1) {
        request.setRange(offset, length);
    }
}

void CFTPClient::prepareUpload(const char* place, CNetRequest& request, const String& path,
                               bool createMissingDirs) {
    checkPath(place, path);
    beginPrepareRequest(request, toURLPath(path), createMissingDirs);
    request.setUpload(true);
}

void CFTPClient::prepareUploadRequest(CNetRequest& request, const String& path, const void* data, int size,
                                      bool createMissingDirs) {
    static constexpr char place[] = "CFTPClient::prepareUploadRequest";
    checkUploadMemory(place, data, size);
    prepareUpload(place, request, path, createMissingDirs);
    request.setSendDataStream(new zet::CMemoryInStream(data, size));
    request.setSendDataSize(size);
}

void CFTPClient::prepareUploadRequest(CNetRequest& request, const String& path, zet::IInStream* data,
                                      int64 size, bool createMissingDirs) {
    static constexpr char place[] = "CFTPClient::prepareUploadRequest";
    const P<zet::IInStream> held = data;
    checkUploadStream(place, data, size);
    const P<zet::CStreamRange> rest = new zet::CStreamRange(data);
    prepareUpload(place, request, path, createMissingDirs);
    request.setSendDataStream(rest);
    request.setSendDataSize(size);
}

void CFTPClient::checkMemorySize(bool isInRange) {
    if (!isInRange) {
        throw CInvalidArgError("CFTPClient::prepareUploadRequest",
                               "size must be 0 to 2147483647 bytes; upload more from a stream");
    }
}

void CFTPClient::prepareDeleteFileRequest(CNetRequest& request, const String& path) {
    prepareCommand("CFTPClient::prepareDeleteFileRequest", request, "DELE ", path);
}

void CFTPClient::deleteFile(CNetRequest& request, const String& path) {
    prepareDeleteFileRequest(request, path);
    request.perform();
}

void CFTPClient::prepareMove(CNetRequest& request, const String& from, const String& to) {
    beginPrepareRequest(request, "", false);
    setCommands(request, {"RNFR " + from, "RNTO " + to});
    request.setOptionInt(CURLOPT_NOBODY, 1);
}

void CFTPClient::prepareMoveFileRequest(CNetRequest& request, const String& from, const String& to,
                                        bool createMissingDirs) {
    checkPath("CFTPClient::prepareMoveFileRequest", from);
    checkPath("CFTPClient::prepareMoveFileRequest", to);
    if (!createMissingDirs) {
        prepareMove(request, from, to);
        return;
    }
    // libcurl creates directories only for uploads. This upload appends nothing to the file that was just
    // moved.
    beginPrepareRequest(request, toURLPath(to), true);
    setCommands(request, {"RNFR " + from, "RNTO " + to});
    setEmptyUpload(request);
    request.setOptionInt(CURLOPT_APPEND, 1);
}

void CFTPClient::prepareMoveDirRequest(CNetRequest& request, const String& from, const String& to,
                                       bool createMissingDirs) {
    checkPath("CFTPClient::prepareMoveDirRequest", from);
    checkPath("CFTPClient::prepareMoveDirRequest", to);
    if (!createMissingDirs) {
        prepareMove(request, from, to);
        return;
    }
    // A directory cannot be uploaded, so upload a file into it.
    const String dummyPath = makeDummyPath(to);
    beginPrepareRequest(request, toURLPath(dummyPath), true);
    setCommands(request, {"RNFR " + from, "RNTO " + to});
    setEmptyUpload(request);
    const P<CNetStringList> postCommands = new CNetStringList;
    postCommands->add("DELE " + dummyPath);
    request.setFTPCustomPostCommands(postCommands);
}

// ---- directories -----------------------------------------------------------------------------------------

void CFTPClient::prepareListDirRequest(CNetRequest& request, const String& path) {
    checkPath("CFTPClient::prepareListDirRequest", path);
    // A "/" at the end tells libcurl that it is a directory.
    beginPrepareRequest(request, toURLPath(path.endsWith("/") ? path : path + "/"), false);
    request.setFTPListOverrideCommand("MLSD");
}

P<CFTPListDirResult> CFTPClient::listDir(CNetRequest& request, const String& path) {
    prepareListDirRequest(request, path);
    request.perform();
    return new CFTPListDirResult(*request.getDefaultReceiveBuffer());
}

// Searches all replies: libcurl's response code is that of the last reply, which may belong to the QUIT of
// another connection that was closed meanwhile.
void CFTPClient::checkListed(CNetRequest& request) {
    const TArray<CNetReply> replies = request.getReplies();
    const bool isBusy = std::any_of(replies.begin(), replies.end(),
                                    [](const CNetReply& reply) { return reply.getCode() == replyFileBusy; });
    if (isBusy) {
        request.throwError(CURLE_FTP_COULDNT_RETR_FILE, "ftp", replyFileBusy, "");
    }
}

void CFTPClient::prepareGetInfoRequest(CNetRequest& request, const String& path) {
    prepareCommand("CFTPClient::prepareGetInfoRequest", request, "MLST ", path);
}

void CFTPClient::prepareVerifyExistsRequest(CNetRequest& request, const String& path) {
    prepareCommand("CFTPClient::prepareVerifyExistsRequest", request, "MLST ", path);
}

void CFTPClient::prepareCreateDirRequest(CNetRequest& request, const String& path, bool createParents) {
    static constexpr char place[] = "CFTPClient::prepareCreateDirRequest";
    if (!createParents) {
        prepareCommand(place, request, "MKD ", path);
        return;
    }
    checkPath(place, path);
    beginPrepareRequest(request, toURLPath(path.endsWith("/") ? path : path + "/"), true);
    setCommands(request, {"MKD " + path});
}

void CFTPClient::createDir(CNetRequest& request, const String& path, bool createParents) {
    prepareCreateDirRequest(request, path, createParents);
    request.perform();
}

void CFTPClient::prepareRemoveDirRequest(CNetRequest& request, const String& path) {
    prepareCommand("CFTPClient::prepareRemoveDirRequest", request, "RMD ", path);
}

void CFTPClient::removeDir(CNetRequest& request, const String& path) {
    prepareRemoveDirRequest(request, path);
    request.perform();
}

/// One recursive deletion.
struct CFTPClient::CDeletion {
    CNetRequest& request;
    const bool isGuarded;
    std::set<String> open;  // unique identifiers of the current directory and of those that contain it

    void enter(const String& path, const CFTPDirEntry& directory) {
        const String uniqueID = directory.getUniqueID();
        if (isGuarded && !uniqueID.isEmpty() && !open.insert(uniqueID).second) {
            throw CError("The FTP directory '" + path + "' leads back to one that it lies in.");
        }
    }
    void leave(const CFTPDirEntry& directory) { open.erase(directory.getUniqueID()); }
};

void CFTPClient::deleteDirWithAllContents(CNetRequest& request, const String& path) {
    static constexpr char place[] = "CFTPClient::deleteDirWithAllContents";
    // An empty path would mean the root. An encoded path is checked when it is listed.
    if (path.isEmpty() && m_pathEncoding == PathVerbatim) {
        throw CInvalidArgError(place, "path must not be empty");
    }
    if (m_isDeletionGuarded && isRootPath(path)) {
        throw CInvalidArgError(place, "path must not be the root directory");
    }
    CDeletion deletion{request, m_isDeletionGuarded, {}};
    deleteDir(deletion, path, 1);
}

void CFTPClient::deleteDir(CDeletion& deletion, const String& path, int level) {
    if (level > maxLevels) {
        throw CError("The FTP directory '" + path + "' lies more than " + String::fromInt(maxLevels) +
                     " levels deep.");
    }
    const P<CFTPListDirResult> listing = listDir(deletion.request, path);
    if (m_isDeletionGuarded) {
        checkListed(deletion.request);
    }
    for (const P<CFTPDirEntry>& entry : listing->getEntries()) {
        if (level == 1 && entry->getName() == ".") {
            deletion.enter(path, *entry);
        }
        deleteEntry(deletion, path, *entry, level);
    }
    removeDir(deletion.request, path);
}

void CFTPClient::deleteEntry(CDeletion& deletion, const String& directory, const CFTPDirEntry& entry,
                             int level) {
    // Skip the directory itself and its parent, whose types are different.
    if (entry.getType() != zet::IFileInfoBase::TypeFile &&
        entry.getType() != zet::IFileInfoBase::TypeDirectory) {
        return;
    }
    checkName(directory, entry);
    const String path = directory + "/" + entry.getName();
    if (entry.getType() == zet::IFileInfoBase::TypeFile) {
        deleteFile(deletion.request, path);
    } else if (!m_isDeletionGuarded || !removeUnseen(deletion.request, path)) {
        deletion.enter(path, entry);
        deleteDir(deletion, path, level + 1);
        deletion.leave(entry);
    }
}

// Neither command follows a link. With "*", libcurl ignores a refusal of the command (CURLOPT_PREQUOTE).
bool CFTPClient::removeUnseen(CNetRequest& request, const String& path) {
    for (const char* command : {"*RMD ", "*DELE "}) {
        prepareCommand("CFTPClient::deleteDirWithAllContents", request, command, path);
        request.perform();
        if (isDone(request)) {
            return true;
        }
    }
    return false;
}

// Otherwise a server, or anyone who can create files on it, could make the walk delete something else.
void CFTPClient::checkName(const String& directory, const CFTPDirEntry& entry) const {
    const String name = entry.getName();
    const bool isMisleading =
        name.isEmpty() || name == "." || name == ".." || name.find(L'/') != String::npos || hasLineEnd(name);
    const bool goesIntoURL =
        m_pathEncoding == PathVerbatim && entry.getType() == zet::IFileInfoBase::TypeDirectory;
    if (isMisleading || (goesIntoURL && isChangedByURL(name))) {
        throw CError("Invalid name in FTP directory '" + directory + "': '" + name + "'");
    }
}

}  // namespace vexil
