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

/// Client for the files of an FTP server (RFC 959, RFC 3659), in plain, or over TLS (RFC 4217).
///
/// Each `prepare...Request` only configures a request of the caller's; the other operations prepare and perform it.
/// Both begin with CNetRequest::reset(): whatever else a request shall have is set after a preparation or in the
/// hook of setRequestSetup(). The client has no connection of its own: the request keeps it for the next operation.
///
/// Paths are server paths that begin with "/". By default they are pasted into URLs and commands as they are: in URLs
/// (download, upload, listing, creation with parents, moves that create directories) they then count from the login
/// directory and are URL text, in which "%", "#", "?", ";type=" and blanks have their own meaning; in commands they
/// are absolute and plain. With setPathEncoding(PathPercentEncode) one plain path means the same file everywhere.
///
/// Thread safety: may be shared between threads while no setter is called; a request may not. Copies share the
/// hook only.
///
/// Lifetime: a request keeps a reference to the stream that a preparation gives it until it is reset. Memory to be
/// uploaded must stay as it is until the transfer has ended.
///
/// Errors: CInvalidArgError, before the request is touched and with the preparing member as its place, for a path,
/// host, user name or password that holds CR, LF or NUL, which would begin a further command. Everything else is
/// CNetRequest::perform()'s: a CCURLError with the server's reply code (RFC 959, 4.2). The connection may break after
/// the server has done what it was told and before it says so: behind an error nothing is known about the last step.
///
/// A failed command also ends the connection; the next operation logs in again.
///
/// Uploads over TLS 1.3: libcurl 7.88 closes the data connection without reading what a server has sent on it, and a
/// server that sends session tickets sees a reset then. One that has not read everything yet and takes the reset for
/// the end of the file confirms a file that is cut (pyftpdlib does). Compare the size afterwards (MLST), or call
/// setMaxTLSVersion(TLSVersion1_2).
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
    /// Security of the connections. Any other value is taken for ConnectPlain. With ConnectImplicitTLS files and listings
    /// go in plain if the server refuses to encrypt them (PROT): a set-up hook that calls setFTPUseSSL(CURLUSESSL_ALL)
    /// makes this an error.
    enum ConnectType : int {
        ConnectPlain = 0,        ///< none: the password is readable on the way
        ConnectExplicitTLS = 1,  ///< port 21, upgraded; fails where the server refuses it (CURLUSESSL_ALL)
        ConnectImplicitTLS = 2,  ///< "ftps://": TLS from the first byte, port 990
    };

    /// How libcurl reaches a directory (CURLOPT_FTP_FILEMETHOD).
    enum CWDType : int {
        CWDInvalid = -1,  ///< no override
        CWDSteps = 0,     ///< a CWD for each part of the path; the only one that can create directories
        CWDDirect = 1,    ///< one CWD to the directory
        CWDNone = 2,      ///< no CWD, the whole path in the command
    };

    /// What paths are.
    enum PathEncoding : int {
        PathVerbatim = 0,       ///< URL text where they stand in a URL, plain in commands
        PathPercentEncode = 1,  ///< plain and absolute everywhere
    };

    // ---- life and settings -------------------------------------------------------------------------------

    /// \param host  name or address, perhaps with ":" and a port; pasted into URLs as it is
    CFTPClient(const String& host, const String& userName, const String& password, ConnectType connectType);
    CFTPClient(const CFTPClient&) = default;
    CFTPClient(CFTPClient&&) = default;
    CFTPClient& operator=(const CFTPClient&) = default;
    CFTPClient& operator=(CFTPClient&&) = default;
    ~CFTPClient() override;

    /// The name of a value, such as "CWDSteps".
    /// \throws CError "Unknown CWDType: ..." for another number
    static String cwdTypeToString(CWDType type);

    /// Reaches directories this way in all later requests; CWDInvalid, the default, for CWDSteps where missing
    /// directories are created and CWDNone elsewhere. Others than CWDSteps create no directory: the operation
    /// then fails, on some servers silently.
    void setOverrideCWDType(CWDType type) { m_overrideCWDType = type; }
    /// Default PathVerbatim. With PathPercentEncode a path that does not begin with "/" is a CInvalidArgError,
    /// names may hold everything but "/", CR, LF and NUL (and in URLs no other control character: libcurl's
    /// code 3), and "." and ".." go to the server as they are.
    void setPathEncoding(PathEncoding encoding) { m_pathEncoding = encoding; }
    /// The newest version of TLS for all later requests (CNetRequest::setMaxTLSVersion()). Default TLSVersionDefault.
    /// A server that demands that data connections resume the session of the control connection (ProFTPD does by
    /// default) refuses most transfers of a kept connection over TLS 1.3, because of how libcurl 7.88 keeps sessions;
    /// over TLS 1.2 it takes all.
    void setMaxTLSVersion(TLSVersion version) { m_maxTLSVersion = version; }
    /// A hook that is called at the end of every preparation's common beginning; a reference is kept. Null, the
    /// default, for none. It may undo CURLOPT_HTTPPROXYTUNNEL, which is set because an HTTP proxy without a
    /// tunnel answers for the server.
    ///
    /// A preparation throws a CInvalidArgError with the place "CFTPClient::setRequestSetup" when the hook has
    /// replaced URL, method, header list or receive data sink.
    void setRequestSetup(INetRequestSetup* setup) { m_requestSetup = setup; }

    /// Whether a path leads to the root of the server when "." and ".." are followed: "/", "//", "/.", "/a/..", "".
    static bool isRootPath(const String& path);
    /// Whether deleteDirWithAllContents() takes care to delete no more than the directory. Default false. With true:
    /// - A path that leads to the root, see isRootPath(), is a CInvalidArgError, before anything is sent.
    /// - Each directory below is first removed without a look into it (RMD, then DELE): this removes a link that the
    ///   server lists as a directory, and an empty directory. It is listed only when both are refused.
    /// - A directory that is one of those it lies in, by the fact "unique", stops the walk with a CError that names it.
    /// - A directory that the server does not list because it is busy stops the walk, see checkListed(). Without the
    ///   guard it counts as empty, and the server is told to remove it.
    void setDeletionGuard(bool isGuarded) { m_isDeletionGuarded = isGuarded; }

    // ---- files -------------------------------------------------------------------------------------------

    /// Reads a file, or a range of it (RETR, behind REST; CURLOPT_RANGE).
    /// \param offset  first byte, from 0
    /// \param length  bytes; -1 for all from `offset` on. The numbers are not checked: with 0 nothing is asked for.
    ///                A range with an end closes the connection behind it. One whose end lies past that of the file
    ///                is the rest of it; libcurl 8.14 then fails with CURLE_PARTIAL_FILE, behind the last byte
    /// \throws CInvalidArgError with PathPercentEncode for a path that ends with "/". With PathVerbatim such a path gives
    ///         the directory's listing (LIST) for a content
    void prepareDownloadRequest(CNetRequest& request, const String& path, int64 offset, int64 length);

    /// @{

    /// Stores a file and replaces what was there (STOR). What was there may be gone from the beginning of the transfer
    /// on; one that breaks leaves the beginning of the file. Directories that were created stay.
    /// \param data               stays as it is until the transfer ends; null only where `size` is 0
    /// \param size               bytes; a stream must hold exactly so many from its position on, or the transfer fails
    ///                           with code 18 and leaves a file
    /// \param createMissingDirs  create the directories that the path names and that are not there (MKD)
    void prepareUploadRequest(CNetRequest& request, const String& path, const void* data, int size,
                              bool createMissingDirs);
    void prepareUploadRequest(CNetRequest& request, const String& path, zet::IInStream* data, int64 size,
                              bool createMissingDirs);
    /// @}

    /// @{

    /// The same for sizes of other types.
    /// \throws CInvalidArgError for a size beyond the 2147483647 bytes that an upload from memory takes
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
    /// An object is no content: give the address of its bytes, or a buffer by `*buffer`.
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

    /// Moves or renames (RNFR, RNTO). Between the two commands nothing has moved; after a break behind the second
    /// it may have.
    ///
    /// With `createMissingDirs` the directories of the target are created first and stay, whatever follows. Then a
    /// data connection is opened, and only behind it the two commands are sent. A moved file is then appended
    /// nothing to (APPE), which some servers refuse after they have moved it: code 25. Into a moved directory a
    /// file "__dummy" with a number is stored and deleted again, for which the server must let a directory be
    /// renamed onto the one that was just created; a break behind the move may leave that file.
    void prepareMoveFileRequest(CNetRequest& request, const String& from, const String& to,
                                bool createMissingDirs);
    void prepareMoveDirRequest(CNetRequest& request, const String& from, const String& to,
                               bool createMissingDirs);
    /// @}

    // ---- directories -------------------------------------------------------------------------------------

    /// @{

    /// Lists a directory (MLSD), into the request's receive buffer, with lines that end in LF. A listing tells no
    /// length: where the data connection breaks and the server still says that all was sent, entries are missing.
    /// The reply 450 (busy, by RFC 959) is an empty listing to libcurl: see checkListed().
    void prepareListDirRequest(CNetRequest& request, const String& path);
    P<CFTPListDirResult> listDir(CNetRequest& request, const String& path);
    /// @}
    /// Call it after a listing, also after listDir(), when a directory that is busy must not pass for an empty one.
    /// \throws CCURLError CURLE_FTP_COULDNT_RETR_FILE with the reply code 450 if the server has refused the request's last
    ///         listing so
    static void checkListed(CNetRequest& request);

    /// Asks for one entry (MLST): CFTPGetInfoResult reads the answer out of CNetRequest::getResponseInfo().
    void prepareGetInfoRequest(CNetRequest& request, const String& path);
    /// The same, to learn whether there is such an entry: a missing one is code 21 with the reply code 550.
    void prepareVerifyExistsRequest(CNetRequest& request, const String& path);

    /// @{

    /// Makes a directory.
    /// \param createParents  create those above it as well, with a success where all are there already. What the
    ///                       directory holds is then listed into the request's receive buffer (LIST). What was
    ///                       created before a failure stays. False: MKD
    void prepareCreateDirRequest(CNetRequest& request, const String& path, bool createParents);
    void createDir(CNetRequest& request, const String& path, bool createParents);
    /// @}

    /// @{

    /// Removes an empty directory (RMD).
    void prepareRemoveDirRequest(CNetRequest& request, const String& path);
    void removeDir(CNetRequest& request, const String& path);
    /// @}

    /// Deletes a directory with all below it: of each directory first what it holds, in the order of its listing, then
    /// itself. The first failure ends it; what was deleted stays deleted. Entries of unknown type (links) are passed
    /// over, so that the directory that holds them cannot be removed. A link that the server lists as a directory is
    /// followed, out of the directory, too: see setDeletionGuard().
    /// \throws CInvalidArgError for an empty path, before anything is sent; with the guard also for the root
    /// \throws CError "Invalid name in FTP directory '...': '...'", before the entry is touched, for a name that is
    ///         empty, "." or "..", or holds "/", CR, LF or NUL. With PathVerbatim also for a directory's name that is
    ///         not the same in a URL: one with a blank, TAB, "#", "?", "%" and two hexadecimal digits, ";type="
    /// \throws CError for more than 1000 levels
    void deleteDirWithAllContents(CNetRequest& request, const String& path);

protected:
    /// The common beginning of all preparations: resets the request and sets URL, login, TLS, how directories are
    /// reached, and the hook's options.
    /// \param path  goes behind the host as URL text; "" for the server itself
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
    P<INetRequestSetup> m_requestSetup;
};

}  // namespace vexil
