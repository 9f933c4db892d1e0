#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/ftp/FTPListDirResult.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/NetRequestSetup.h"
#include "zet/InStream.h"

#include <concepts>
#include <utility>

namespace vexil {

/// Client for the files of an FTP server (RFC 959, RFC 3659), unencrypted or over TLS (RFC 4217).
///
/// Each `prepare...Request` only configures the caller's request; the other operations prepare and perform
/// it. Both begin with CNetRequest::reset(): make your own settings after a preparation or in the hook of
/// setRequestSetup(). The client has no connection of its own: the request keeps its connection for the next
/// operation.
///
/// Paths are server paths that begin with "/". By default they are pasted unchanged into URLs and commands.
/// In URLs (download, upload, listing, creation with parents, moves that create directories) they are then
/// relative to the login directory and are URL text, in which "%", "#", "?", ";type=" and spaces have a
/// special meaning. In commands they are absolute and plain. With setPathEncoding(PathPercentEncode) a plain
/// path means the same file everywhere.
///
/// Thread safety: a client may be shared between threads while no setter is called; a request may not. Copies
/// share only the hook.
///
/// Lifetime: after a preparation the request keeps a reference to the stream until it is reset. Memory to be
/// uploaded must not change until the transfer has ended.
///
/// Errors: CInvalidArgError for a path, host, user name or password with CR, LF or NUL, which would begin
/// another command; thrown before the request is changed, with the preparing member as its function name. All
/// other errors are those of CNetRequest::perform(): a CCURLError with the server's reply code (RFC 959,
/// 4.2). The connection may fail after the server has carried out a command and before it replies: after an
/// error the last step may be done or not.
///
/// A failed command also ends the connection; the next operation logs in again.
///
/// Uploads over TLS 1.3: libcurl 7.88 closes the data connection without reading what the server has sent on
/// it. A server that sends session tickets then sees a reset. If it has not read everything yet and takes the
/// reset for the end of the file, it confirms a truncated file (pyftpdlib does). Compare the size afterwards
/// (MLST), or call setMaxTLSVersion(TLSVersion1_2).
///
/// \code
/// CNetRequest request;
/// CFTPClient client("ftp.example.com", "user", "secret", CFTPClient::ConnectExplicitTLS);
/// client.setPathEncoding(CFTPClient::PathPercentEncode);
/// P<CFTPListDirResult> listing = client.listDir(request, "/reports");
/// client.prepareDownloadRequest(request, "/reports/2026 #1.pdf", 0, -1);
/// request.perform();
/// \endcode
class VEXIL_API CFTPClient : public virtual CBase {
public:
    /// Security of the connections. Any other value means ConnectPlain. With ConnectImplicitTLS files and
    /// listings are sent unencrypted if the server refuses to encrypt them (PROT): a set-up hook that calls
    /// setFTPUseSSL(CURLUSESSL_ALL) makes this an error.
    enum ConnectType : int {
        ConnectPlain = 0,  ///< no encryption: everyone on the way can read the password
        ConnectExplicitTLS =
            1,  ///< port 21, upgraded; fails if the server refuses the upgrade (CURLUSESSL_ALL)
        ConnectImplicitTLS = 2,  ///< "ftps://": TLS from the first byte, port 990
    };

    /// How libcurl reaches a directory (CURLOPT_FTP_FILEMETHOD).
    enum CWDType : int {
        CWDInvalid = -1,  ///< no override
        CWDSteps = 0,     ///< one CWD for each part of the path; the only method that can create directories
        CWDDirect = 1,    ///< one CWD to the directory
        CWDNone = 2,      ///< no CWD, the whole path in the command
    };

    /// How paths are interpreted.
    enum PathEncoding : int {
        PathVerbatim = 0,       ///< URL text in URLs, plain in commands
        PathPercentEncode = 1,  ///< plain and absolute everywhere
    };

    // ---- life and settings -------------------------------------------------------------------------------

    /// \param host  name or address, optionally with ":" and a port; pasted into URLs unchanged. fromURL()
    ///              and fromHost() check it
    CFTPClient(const String& host, const String& userName, const String& password, ConnectType connectType);
    /// @{

    /// A client for the server of a URL: "ftp://" or "ftps://", a host, an optional port, an optional "/".
    /// "ftps://" means ConnectImplicitTLS. "ftp://" means ConnectExplicitTLS, or ConnectPlain if that is
    /// given.
    /// \throws CInvalidArgError for any other URL, also for one with a login or a path, and for a type that
    ///         does not fit the scheme
    [[nodiscard]] static CFTPClient fromURL(const String& url, const String& userName,
                                            const String& password);
    [[nodiscard]] static CFTPClient fromURL(const String& url, const String& userName, const String& password,
                                            ConnectType connectType);
    /// @}
    /// A client for a host and a port.
    /// \param host  name or address; IPv6 with or without brackets
    /// \throws CInvalidArgError for any other host, and for a port outside 1 to 65535
    [[nodiscard]] static CFTPClient fromHost(const String& host, int port, const String& userName,
                                             const String& password, ConnectType connectType);
    CFTPClient(const CFTPClient&) = default;
    CFTPClient(CFTPClient&&) = default;
    CFTPClient& operator=(const CFTPClient&) = default;
    CFTPClient& operator=(CFTPClient&&) = default;
    ~CFTPClient() override;

    /// The name of a value, such as "CWDSteps".
    /// \throws CError "Unknown CWDType: ..." for another number
    [[nodiscard]] static String cwdTypeToString(CWDType type);

    /// Sets how all later requests reach directories. CWDInvalid, the default: CWDSteps if missing
    /// directories are created, otherwise CWDNone. Methods other than CWDSteps create no directory: the
    /// operation then fails, on some servers silently.
    void setOverrideCWDType(CWDType type) { m_overrideCWDType = type; }
    /// Sets how paths are interpreted. Default PathVerbatim. With PathPercentEncode a path that does not
    /// begin with "/" is a CInvalidArgError. Names may then contain every character except "/", CR, LF and
    /// NUL (in URLs no other control character either: libcurl's code 3), and "." and ".." are sent to the
    /// server unchanged.
    void setPathEncoding(PathEncoding encoding) { m_pathEncoding = encoding; }
    /// Sets the newest version of TLS for all later requests (CNetRequest::setMaxTLSVersion()). Default
    /// TLSVersionDefault. Some servers demand that data connections resume the session of the control
    /// connection (ProFTPD does by default). Over TLS 1.3 such a server refuses most transfers of a kept
    /// connection, because of the way libcurl 7.88 stores sessions; over TLS 1.2 it accepts all.
    void setMaxTLSVersion(TLSVersion version) { m_maxTLSVersion = version; }
    /// Checks the server's certificate and its host name in all later requests
    /// (CNetRequest::setVerifyCertificate()). Default true.
    void setVerifyCertificate(bool verify) { m_verifiesCertificate = verify; }
    /// Sets a hook that every preparation calls after its common settings; a reference is kept. Null, the
    /// default, for no hook. The hook may undo CURLOPT_HTTPPROXYTUNNEL, which is set because without a tunnel
    /// an HTTP proxy responds in place of the server.
    ///
    /// A preparation throws a CInvalidArgError with the function name "CFTPClient::setRequestSetup" if the
    /// hook has replaced URL, method, header list or receive data sink.
    void setRequestSetup(INetRequestSetup* setup) { m_requestSetup = setup; }

    /// True if a path leads to the root of the server when "." and ".." are resolved: "/", "//", "/.",
    /// "/a/..", "".
    [[nodiscard]] static bool isRootPath(const String& path);
    /// Makes sure that deleteDirWithAllContents() deletes only what is in the directory. Default false. With
    /// true:
    /// - A path that leads to the root (isRootPath()) is a CInvalidArgError, before anything is sent.
    /// - Each subdirectory is first removed without listing it (RMD, then DELE). This removes an empty
    ///   directory and a link that the server lists as a directory. The subdirectory is listed only if both
    ///   commands are refused.
    /// - A directory that is, by the fact "unique", one of those that contain it stops the walk with a CError
    ///   that names it.
    /// - A directory that the server does not list because it is busy stops the walk, see checkListed().
    ///   Without the guard it counts as empty, and the server is told to remove it.
    void setDeletionGuard(bool isGuarded) { m_isDeletionGuarded = isGuarded; }

    // ---- files -------------------------------------------------------------------------------------------

    /// Reads a file, or a range of it (REST, then RETR; CURLOPT_RANGE).
    /// \param offset  first byte, from 0
    /// \param length  bytes; -1: up to the end. The numbers are not checked. With 0 nothing is requested.
    ///                After a range with an end the connection is closed. If the range reaches beyond the end
    ///                of the file, the rest of the file is read; libcurl 8.14 then fails with
    ///                CURLE_PARTIAL_FILE after the last byte
    /// \throws CInvalidArgError with PathPercentEncode for a path that ends with "/". With PathVerbatim such
    ///         a path returns the directory's listing (LIST) as content
    void prepareDownloadRequest(CNetRequest& request, const String& path, int64 offset, int64 length);

    /// @{

    /// Stores a file and replaces an existing one (STOR). The old file may be lost as soon as the transfer
    /// starts; an interrupted transfer leaves a truncated file. Directories that were created stay.
    /// \param data               must not change until the transfer ends; null only if `size` is 0
    /// \param size               bytes; a stream must have exactly this many from its position on, otherwise
    ///                           the transfer fails with code 18 and leaves a file
    /// \param createMissingDirs  create the missing directories of the path (MKD)
    void prepareUploadRequest(CNetRequest& request, const String& path, const void* data, int size,
                              bool createMissingDirs);
    void prepareUploadRequest(CNetRequest& request, const String& path, zet::IInStream* data, int64 size,
                              bool createMissingDirs);
    /// @}

    /// @{

    /// The same for sizes of other types.
    /// \throws CInvalidArgError for a size above 2147483647 bytes, the limit of an upload from memory
    template <std::integral Size>
    void prepareUploadRequest(CNetRequest& request, const String& path, const void* data, Size size,
                              bool createMissingDirs) {
        checkMemorySize(std::in_range<int>(size));
        prepareUploadRequest(request, path, data, static_cast<int>(size), createMissingDirs);
    }
    template <std::integral Size>
    void prepareUploadRequest(CNetRequest& request, const String& path, zet::IInStream* data, Size size,
                              bool createMissingDirs) {
        prepareUploadRequest(request, path, data, static_cast<int64>(size), createMissingDirs);
    }
    /// @}

    /// The same for the bytes of a buffer.
    void prepareUploadRequest(CNetRequest& request, const String& path, const TBuffer<unsigned char>& data,
                              bool createMissingDirs) {
        prepareUploadRequest(request, path, data.getData(), data.getUsed(), createMissingDirs);
    }
    /// Not allowed: a pointer to a counted object is not content. Pass the address of its bytes, or
    /// `*buffer`.
    template <zet::ObjectPointer Data, class Size>
    requires(!std::convertible_to<const Data&, zet::IInStream*>) void prepareUploadRequest(
        CNetRequest& request, const String& path, const Data& data, Size size,
        bool createMissingDirs) = delete;

    /// @{

    /// Deletes a file (DELE).
    void prepareDeleteFileRequest(CNetRequest& request, const String& path);
    void deleteFile(CNetRequest& request, const String& path);
    /// @}

    /// @{

    /// Moves or renames (RNFR, RNTO). Between the two commands nothing has moved yet. If the connection fails
    /// after the second command, the move may be done or not.
    ///
    /// With `createMissingDirs` the target's directories are created first; they stay in any case. Then a
    /// data connection is opened, and after it the two commands are sent. For a file, libcurl then opens the
    /// moved file for appending without data (APPE), which some servers refuse although the move succeeded:
    /// code 25. For a directory, a file "__dummy" with a number is stored in it and deleted again. For this
    /// the server must allow renaming a directory onto the one that was just created; a failure after the
    /// move may leave that file.
    void prepareMoveFileRequest(CNetRequest& request, const String& from, const String& to,
                                bool createMissingDirs);
    void prepareMoveDirRequest(CNetRequest& request, const String& from, const String& to,
                               bool createMissingDirs);
    /// @}

    // ---- directories -------------------------------------------------------------------------------------

    /// @{

    /// Lists a directory (MLSD) into the request's receive buffer; lines end in LF. A listing has no length:
    /// if the data connection breaks and the server still reports success, entries are silently missing. For
    /// libcurl the reply 450 (busy, RFC 959) is an empty listing: see checkListed().
    void prepareListDirRequest(CNetRequest& request, const String& path);
    [[nodiscard]] P<CFTPListDirResult> listDir(CNetRequest& request, const String& path);
    /// @}
    /// Makes sure that an empty listing does not come from a busy directory. Call it after a listing, also
    /// after listDir().
    /// \throws CCURLError CURLE_FTP_COULDNT_RETR_FILE with the reply code 450 if the server has refused the
    ///         request's last listing with that reply
    static void checkListed(CNetRequest& request);

    /// Requests one entry (MLST): CFTPGetInfoResult reads the reply from CNetRequest::getResponseInfo().
    void prepareGetInfoRequest(CNetRequest& request, const String& path);
    /// The same, to find out whether an entry exists: a missing one is code 21 with the reply code 550.
    void prepareVerifyExistsRequest(CNetRequest& request, const String& path);

    /// @{

    /// Creates a directory.
    /// \param createParents  true: create missing parents as well; succeeds if all exist already. The content
    ///                       of the directory is then listed into the request's receive buffer (LIST). After
    ///                       a failure, the directories created so far stay. False: MKD
    void prepareCreateDirRequest(CNetRequest& request, const String& path, bool createParents);
    void createDir(CNetRequest& request, const String& path, bool createParents);
    /// @}

    /// @{

    /// Removes an empty directory (RMD).
    void prepareRemoveDirRequest(CNetRequest& request, const String& path);
    void removeDir(CNetRequest& request, const String& path);
    /// @}

    /// Deletes a directory with all its contents: first the entries in the order of the listing, then the
    /// directory itself. It stops at the first failure; what was deleted stays deleted. Entries of unknown
    /// type (links) are skipped, so the directory that contains them cannot be removed. A link that the
    /// server lists as a directory is followed, even out of the directory: see setDeletionGuard().
    /// \throws CInvalidArgError for an empty path, before anything is sent; with the guard also for the root
    /// \throws CError "Invalid name in FTP directory '...': '...'", before the entry is touched, for a name
    ///         that is empty, "." or "..", or contains "/", CR, LF or NUL. With PathVerbatim also for a
    ///         directory name that has another meaning in a URL: with a space, TAB, "#", "?", "%" and two
    ///         hexadecimal digits, ";type="
    /// \throws CError for more than 1000 levels
    void deleteDirWithAllContents(CNetRequest& request, const String& path);

protected:
    /// First step of all preparations: resets the request, sets URL, login, TLS and the method to reach
    /// directories, then calls the hook.
    /// \param path  URL text, pasted after the host; "" for the server itself
    void beginPrepareRequest(CNetRequest& request, const String& path, bool createMissingDirs);

private:
    static void checkMemorySize(bool isInRange);
    void checkLogin(const char* place) const;
    void checkPath(const char* place, const String& path) const;
    String toURLPath(const String& path) const;
    void prepareUpload(const char* place, CNetRequest& request, const String& path, bool createMissingDirs);
    void prepareCommand(const char* place, CNetRequest& request, const char* command, const String& path);
    void prepareMove(CNetRequest& request, const String& from, const String& to);
    struct CDeletion;
    void deleteDir(CDeletion& deletion, const String& path, int level);
    void deleteEntry(CDeletion& deletion, const String& directory, const CFTPDirEntry& entry, int level);
    bool removeUnseen(CNetRequest& request, const String& path);
    void checkName(const String& directory, const CFTPDirEntry& entry) const;

    String m_host;
    String m_userName;
    String m_password;
    ConnectType m_connectType;
    CWDType m_overrideCWDType = CWDInvalid;
    PathEncoding m_pathEncoding = PathVerbatim;
    TLSVersion m_maxTLSVersion = TLSVersionDefault;
    bool m_isDeletionGuarded = false;
    bool m_verifiesCertificate = true;
    P<INetRequestSetup> m_requestSetup;
};

}  // namespace vexil
