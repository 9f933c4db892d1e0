#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/CancelToken.h"
#include "vexil/net/NetHeaders.h"
#include "vexil/net/NetReply.h"
#include "vexil/net/NetRequestTypes.h"
#include "vexil/net/NetStringList.h"
#include "vexil/net/ServerInfo.h"
#include "zet/BufferStream.h"
#include "zet/Signal.h"
#include "zet/TimeSpan.h"
#include "zet/XMLElement.h"

#include <curl/curl.h>

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

namespace vexil {

class CConnectionPools;
struct CNetRequestParts;

/// One transfer after another over one libcurl easy handle: set it up, perform() it or hand it to an
/// asynchronous manager, then ask for the results. Settings stay until reset(); each setter names its libcurl
/// option. docs/requests.md has the details, such as which connections are kept and used again, and
/// docs/limits.md tells where libcurl and servers may surprise.
///
/// Thread safety: one thread at a time, except the asynchronous hooks, which the owner's thread and the
/// thread that drives the transfer may use at the same time. Distinct requests are independent.
///
/// Lifetime: the request keeps a reference to each object that it is given, until another one replaces it or
/// reset() is called. The request is neither copied nor moved: libcurl holds its address.
///
/// Errors: every failure is thrown. A failed transfer, and an HTTP status outside 200 to 299, is a
/// CCURLError. An error of a source, sink or stream is thrown unchanged. A setter throws a CCURLError if
/// libcurl refuses the value, and a CInvalidArgError for a text that contains NUL.
///
/// \code
/// P<CNetRequest> request = new CNetRequest;
/// request->setURL("https://example.com/a");
/// request->perform();
/// std::cout << request->getReceivedText();
/// \endcode
class VEXIL_API CNetRequest : public virtual CBase {
public:
    // Defined in TransferData.h.
    class IDataSource;
    class IDataSink;
    class IRestartableDataSink;
    class CStreamDataSource;
    class CStreamDataSink;
    class IDoneListener;
    class ITransferProgress;
    class ICancelWaker;
    struct CVerboseLogMessage;

    // ---- life --------------------------------------------------------------------------------------------

    /// Starts libcurl if necessary (CGlobalInit) and creates an easy handle.
    /// \throws CError "Error creating curl easy handle."
    CNetRequest();
    CNetRequest(const CNetRequest&) = delete;
    CNetRequest& operator=(const CNetRequest&) = delete;
    ~CNetRequest() override;

    /// Back to the state after construction. Kept are open connections, DNS and TLS sessions, the user data,
    /// the cancel token and the verbose settings, but nothing is recorded until setVerbose() is called again.
    void reset();
    /// Sets the defaults of this library: follow redirects, no signals, 30 s to connect, abort below 1 byte/s
    /// for 60 s, no limit for the whole transfer. The constructor and reset() call it.
    void setDefaultOptions();
    /// Forgets the results of the last transfer and rewinds the source. Called before each transfer.
    void resetForPerform();

    /// Keeps a reference to an object that the request needs, until reset().
    void addDependencyObject(IBase* object);
    /// A slot for the owner, which keeps a reference and survives reset(). Default null.
    void setUserData(IBase* data);
    /// The object of setUserData(). P::dynamicCast() gives its type.
    [[nodiscard]] P<IBase> getUserData() const;
    /// The libcurl easy handle; the request owns it.
    [[nodiscard]] void* getHandle() const noexcept { return m_handle; }

    // ---- server and connection ---------------------------------------------------------------------------

    /// CURLOPT_URL. Default "". Sent unchanged; see urlEscape().
    void setURL(const String& url);
    /// The text of setURL().
    [[nodiscard]] String getURL() const;
    /// CURLOPT_PROXY: host and port, or a URL. "" connects directly. Without a call libcurl reads the
    /// environment.
    void setProxy(const String& proxy);
    /// setProxy() with the proxy that CProxySettings::getUserSettings() has for the current URL.
    void setProxyForCurrentURLFromUserSettings();
    /// @{

    /// The login at the server, for any protocol (CURLOPT_USERNAME, CURLOPT_PASSWORD). Default none.
    void setUserName(const String& name);
    void setUserPassword(const String& password);
    /// @}
    /// CURLOPT_HTTPAUTH: a mask of CURLAUTH_ bits. Default CURLAUTH_BASIC.
    void setHTTPAuthMethods(unsigned int methods);
    /// Checks the server's certificate and its host name (CURLOPT_SSL_VERIFYPEER, CURLOPT_SSL_VERIFYHOST), as
    /// in all clients. Default true.
    void setVerifyCertificate(bool verify);
    /// CURLOPT_SSL_VERIFYPEER alone: the host name is still compared. Default true.
    void setSSLVerifyPeer(bool verify);
    /// CURLOPT_CAINFO: a file of PEM certificates. Default libcurl's own (on Linux the system's bundle).
    void setRootCertBundlePath(const TPathImpl<CWindowsPathTraits>& path);
    /// The newest TLS version that may be used: the upper half of CURLOPT_SSLVERSION, whose lower half
    /// setOptionInt() sets. Default TLSVersionDefault. The handshake fails if the TLS library requires a
    /// newer one (Debian's: 1.2).
    /// \throws CInvalidArgError for another number
    void setMaxTLSVersion(TLSVersion version);
    /// Whether the connections and TLS sessions of this request serve no other request; some FTP servers need
    /// that (docs/requests.md). Default false: requests on one manager share them.
    void setKeepsOwnConnections(bool keepsOwn) noexcept;

    // ---- what to send ------------------------------------------------------------------------------------

    /// "GET", "PUT", "POST" and "HEAD" set libcurl's switch for the method, "" its default; any other text is
    /// sent without a body (CURLOPT_CUSTOMREQUEST). The switches of other methods go off: setUpload() as
    /// well, except for PUT.
    /// \throws CInvalidArgError for a method with CR, LF or NUL, which would begin a header
    void setHTTPMethod(const String& method);
    /// The text of setHTTPMethod(); if it is "", "PUT" for an upload and "GET" otherwise.
    [[nodiscard]] String getHTTPMethod() const;
    /// CURLOPT_UPLOAD: sends the source as the body of a PUT, or stores it as a file over FTP. Default false.
    void setUpload(bool upload);
    /// CURLOPT_HTTPHEADER, as listed when a transfer begins. Default none.
    void setCustomHTTPHeaders(CNetHeaders* headers);
    /// The list of setCustomHTTPHeaders(), or null.
    [[nodiscard]] P<CNetHeaders> getCustomHTTPHeaders() const;

    /// Bytes of the body (CURLOPT_INFILESIZE_LARGE, for a POST also CURLOPT_POSTFIELDSIZE_LARGE). Default -1,
    /// unknown: the body is sent in chunks, which S3 servers refuse. If the source has fewer bytes, the
    /// transfer stalls; if it has more, the rest is not sent.
    void setSendDataSize(int64 size);
    /// The body's source; null for none. Call setSendDataSize() as well.
    void setSendDataSource(IDataSource* source);
    /// A stream as the body's source; null for none. Call setSendDataSize() as well.
    void setSendDataStream(zet::IInStream* stream);
    /// The bytes of a buffer as the body, with their size. The buffer must not change until the transfer
    /// ends.
    /// \throws CInvalidArgError for null
    void setSendDataBuffer(const TBuffer<unsigned char>* buffer);
    /// The UTF-8 form of a text as the body, with its size.
    /// \throws CError for more than 2147483647 bytes
    void setSendDataAsUTF8(const String& text);

    // ---- what to do with the response --------------------------------------------------------------------

    /// The sink of the response body; null drops the body. Default: the request's own buffer.
    void setReceiveDataSink(IDataSink* sink);
    /// A stream as the sink; null drops the body. It gets each body of each try: see IRestartableDataSink.
    void setReceiveDataStream(zet::IOutStream* stream);
    /// Back to the request's own buffer.
    void setDefaultReceiveDataStream();
    /// Whether the response body goes to the request's own buffer.
    [[nodiscard]] bool usesDefaultReceiveBuffer() const noexcept;
    /// The request's own buffer, which each transfer empties first. At most 2 GiB.
    [[nodiscard]] PC<TBuffer<unsigned char>> getDefaultReceiveBuffer() const;
    /// The sink that fills the request's own buffer, for a sink that passes some blocks on to it.
    [[nodiscard]] P<IDataSink> getDefaultReceiveSink() const;
    /// @{

    /// The content of the request's own buffer; empty if the body went elsewhere. The text is not decoded.
    /// Valid until the next transfer, reset(), or the end of the request.
    [[nodiscard]] std::span<const std::byte> getReceivedBytes() const noexcept;
    [[nodiscard]] std::string_view getReceivedText() const noexcept;
    /// @}
    /// How many bytes the request's own buffer takes. Default -1 and -1: no limit below 2 GiB.
    /// \param success  for a status of 200 to 299, and for protocols other than HTTP. A longer body is a
    ///                 CError
    /// \param failure  for any other status. A longer body is cut, and the transfer fails with that status
    void setReceiveBufferLimits(int64 success, int64 failure);
    /// CURLOPT_RANGE: `length` bytes from `start`; a length of -1 reads to the end. Default none. The numbers
    /// are not checked: a length of 0 makes a range that ends before it starts.
    void setRange(int64 start, int64 length);

    /// A record that learns from the response headers. Default null.
    void setServerInfoToUpdate(CServerInfo* info);
    /// Is told when each transfer has ended. Default null.
    void setDoneListener(IDoneListener* listener);
    /// Is told about progress (CURLOPT_XFERINFOFUNCTION, CURLOPT_NOPROGRESS). Default null.
    void setTransferProgress(ITransferProgress* progress);
    /// Allows cancel() (CURLOPT_XFERINFOFUNCTION, CURLOPT_NOPROGRESS), as a progress object or a token does.
    /// Default false.
    void setCancellable(bool cancellable);
    /// Once the token is cancelled, every transfer of this request fails as after cancel(). Survives reset(),
    /// so that it covers all steps and tries of a client. Default null.
    void setCancelToken(CCancelToken* token);
    /// The token of setCancelToken(), or null.
    [[nodiscard]] P<CCancelToken> getCancelToken() const;

    // ---- how ---------------------------------------------------------------------------------------------

    /// CURLOPT_FOLLOWLOCATION. Default true.
    void setFollowRedirects(bool follow);
    /// CURLOPT_REDIR_PROTOCOLS_STR: the schemes that a redirect may lead to ("http,https"); another ends the
    /// transfer with code 1 (CURLE_UNSUPPORTED_PROTOCOL). Default "http,https,ftp,ftps". libcurl refuses ""
    /// and unknown names.
    void setRedirectProtocols(const String& protocols);
    /// CURLOPT_MAXREDIRS: one redirect more ends a transfer with code 47 (CURLE_TOO_MANY_REDIRECTS). Default
    /// -1, no limit.
    void setMaxRedirects(int count);
    /// CURLOPT_POSTREDIR: repeat a POST as a POST after 301, 302 and 303. Default false.
    void setKeepPostOnRedirect(bool keep);
    /// @{

    /// CURLOPT_CONNECTTIMEOUT_MS and CURLOPT_TIMEOUT_MS, in whole milliseconds, rounded toward zero. A span
    /// that is not set is 0: no limit of ours. From 2^31 ms on the value wraps. Default 30 s and none.
    void setConnectTimeout(const zet::CTimeSpan& timeout);
    void setFullRequestTimeout(const zet::CTimeSpan& timeout);
    /// @}
    /// CURLOPT_LOW_SPEED_LIMIT and CURLOPT_LOW_SPEED_TIME: abort if the speed is lower for this time, also
    /// while the server works. Seconds, rounded up, at most 2147483647. Default 1 byte/s for 60 s.
    void setLowSpeedLimit(int bytesPerSecond, const zet::CTimeSpan& time);
    /// CURLOPT_USE_SSL, for FTP and SMTP. Default TLSUpgrade::Never.
    void setFTPUseSSL(TLSUpgrade upgrade);
    /// CURLOPT_FTP_FILEMETHOD. Default FTPFileMethod::Default.
    void setFTPFileMethod(FTPFileMethod method);
    /// CURLOPT_FTP_CREATE_MISSING_DIRS. Default FTPMissingDirs::Fail.
    void setFTPCreateMissingDirs(FTPMissingDirs mode);
    /// @{

    /// The same with one of libcurl's numbers: CURLUSESSL_, CURLFTPMETHOD_, CURLFTP_CREATE_DIR_.
    void setFTPUseSSL(int level);
    void setFTPFileMethod(int method);
    void setFTPCreateMissingDirs(int mode);
    /// @}
    /// CURLOPT_CUSTOMREQUEST: the command of a listing; "" for libcurl's own.
    /// \throws CInvalidArgError for a command with CR, LF or NUL, which would begin another one
    void setFTPListOverrideCommand(const String& command);
    /// @{

    /// CURLOPT_PREQUOTE, CURLOPT_POSTQUOTE: commands before and after a transfer, as listed when it begins.
    /// Default null.
    void setFTPCustomPreCommands(CNetStringList* commands);
    void setFTPCustomPostCommands(CNetStringList* commands);
    /// @}
    /// CURLOPT_MAIL_RCPT: the recipients of a mail, as listed when a transfer begins. Default null.
    void setMailRecipients(CNetStringList* recipients);
    /// @{

    /// Any libcurl option, by the type in libcurl's documentation: `long`, `curl_off_t`, pointer (functions,
    /// lists, blobs, and strings that libcurl copies), and string (copied as UTF-8). An option of another
    /// type, or one that this libcurl does not know, is a CCURLError of code 48 (CURLE_UNKNOWN_OPTION). If
    /// this class has a setter, use that. A body that is given as an option: docs/requests.md.
    void setOptionInt(CURLoption option, int value);
    void setOptionInt64(CURLoption option, int64 value);
    void setOptionPtr(CURLoption option, void* value);
    void setOptionString(CURLoption option, const String& value);
    /// @}

    // ---- perform -----------------------------------------------------------------------------------------

    /// Runs the transfer to its end. Before an error is thrown the done listener is told, which may reset or
    /// release the request. If the connection ends inside the header block, libcurl reports success: see
    /// isResponseComplete().
    /// \throws CError      of a source, sink or stream, before any other error
    /// \throws CCURLError  libcurl's result, or code 22 for an HTTP status outside 200 to 299
    void perform();
    /// Cancels the running transfer; any thread. docs/requests.md tells how soon. The transfer fails with
    /// code 42 (CURLE_ABORTED_BY_CALLBACK) and the detail "transfer cancelled", unless it has ended already.
    /// A call between two transfers is forgotten; setCancelToken() lasts.
    /// \throws CError if cancelling is not enabled: see setCancellable()
    void cancel();

    // ---- results -----------------------------------------------------------------------------------------

    /// Last HTTP status, FTP or SMTP reply code; 0 without a response.
    int getResponseCode();
    /// Protocol family of the URL: "http", "ftp" (also for sftp), "smtp", or "" for others.
    [[nodiscard]] String getResponseCodeDomain() const;
    /// Last HTTP status line, trimmed. After a refused CONNECT it is the proxy's.
    [[nodiscard]] String getHTTPStatusLine() const;
    /// The absolute URL to which the last response redirects; "" if it does not, or if it was followed. May
    /// contain a login. To choose the proxy for each URL, follow redirects with it: docs/requests.md.
    [[nodiscard]] String getRedirectURL();
    /// Headers of the last response by lower-case name. Repeated headers are joined with ",".
    [[nodiscard]] const TMap<String, String>& getResponseHeaderMap() const noexcept;
    /// All readable header or reply lines of the last transfer, unchanged, also of interim responses.
    [[nodiscard]] const CNetStringList& getResponseInfo() const;
    /// The last reply of the last transfer with this code (FTP, SMTP), unchanged but without line ends. If it
    /// has more lines, those with the code are joined with LF. "" if there is none.
    /// \param code  three digits, for example CCURLError::getResponseCode()
    [[nodiscard]] String getResponseText(int code) const;
    /// All complete replies of the last transfer (FTP, SMTP) in order, also to the login; none for other
    /// protocols. Base decisions on these: only they have lines that are not UTF-8.
    /// \throws CError if there was no memory to keep a reply
    [[nodiscard]] TArray<CNetReply> getReplies() const;
    /// Whether the last HTTP response had its whole header block, to the empty line, and none of it was
    /// dropped (hasDroppedHeaderLine()). perform() does not check it. Always true for other protocols.
    [[nodiscard]] bool isResponseComplete() const noexcept;
    /// Whether a header line of the last HTTP response was ignored, with a warning, because it is not UTF-8
    /// or memory was short. An unreadable status line does not count: docs/requests.md.
    [[nodiscard]] bool hasDroppedHeaderLine() const noexcept;

    /// @{

    /// Bytes of body that the last transfer has moved (CURLINFO_SIZE_DOWNLOAD_T, CURLINFO_SIZE_UPLOAD_T).
    [[nodiscard]] int64 getDownloadedByteCount() const;
    [[nodiscard]] int64 getUploadedByteCount() const;
    double getDownloadedBytes();
    double getUploadedBytes();
    /// @}
    /// @{

    /// Announced size of the body, -1 if unknown (CURLINFO_CONTENT_LENGTH_DOWNLOAD_T and ..._UPLOAD_T).
    [[nodiscard]] int64 getDownloadContentLength() const;
    [[nodiscard]] int64 getUploadContentLength() const;
    double getDownloadSize();
    double getUploadSize();
    /// @}
    /// @{

    /// Average speed of the last transfer (CURLINFO_SPEED_DOWNLOAD_T, CURLINFO_SPEED_UPLOAD_T).
    [[nodiscard]] int64 getDownloadBytesPerSecond() const;
    [[nodiscard]] int64 getUploadBytesPerSecond() const;
    double getAvgDownloadSpeed();
    double getAvgUploadSpeed();
    /// @}
    /// @{

    /// Any figure of libcurl, by the type in libcurl's documentation: `long`, `curl_off_t`, `double`. One of
    /// another type is a CCURLError of code 48 (CURLE_UNKNOWN_OPTION).
    int getInfoLong(CURLINFO info);
    int64 getInfoInt64(CURLINFO info) const;
    double getInfoDouble(CURLINFO info);
    /// @}

    /// libcurl's text about the last failure; "" if it gave none.
    [[nodiscard]] String getErrorMessage() const;
    /// The text of an error body for people: at most its first 4096 bytes, without HTML tags; "" if it is not
    /// UTF-8.
    /// \param headers  the response headers, by lower-case name
    [[nodiscard]] static String getServerErrorMessageFromResponseData(const unsigned char* data, int length,
                                                                      const TMap<String, String>& headers);
    /// Throws the CCURLError of a result of this request.
    /// \param errorDetail  "" for getErrorMessage()
    [[noreturn]] void throwError(CURLcode code, const String& responseCodeDomain, int responseCode,
                                 const String& errorDetail);
    /// Percent-encodes all except unreserved characters, with upper-case digits (curl_easy_escape).
    /// \throws CError "Error URL-escaping a string."
    [[nodiscard]] String urlEscape(const String& text);

    // ---- asynchronous hooks (any thread) -----------------------------------------------------------------

    /// For a driver, when a transfer is handed over that will begin later (setAsyncInfo()): takes the done
    /// signal off and forgets an earlier cancel(). A cancel() from now on counts.
    void announceAsync();
    /// For a driver: cancel() calls this object. Default null.
    void setCancelWaker(ICancelWaker* waker);
    /// Whether cancel() can be used.
    [[nodiscard]] bool isCancellable() const noexcept;
    /// For a driver, which keeps the request alive meanwhile: false before a transfer begins; true, with
    /// libcurl's result, after it has ended. The latter sets the done signal as the last step under the
    /// request's lock, and then tells the done listener without the lock.
    void setAsyncInfo(bool done, CURLcode result);
    /// Whether the transfer has ended. False if the request was never driven asynchronously.
    [[nodiscard]] bool isAsyncDone() const;
    /// Waits for the end of the transfer, and returns whether it has come.
    /// \param timeoutMilliseconds  negative to wait without a limit
    [[nodiscard]] bool waitAsyncDone(int timeoutMilliseconds);
    /// The signal that is set at the end of the transfer. Never null, and the same for the life of the
    /// request. Keep a reference if the request may be released first.
    [[nodiscard]] P<zet::CSignal> getAsyncDoneSignal() const;
    /// Throws the error that perform() would have thrown; nothing while the transfer runs. The HTTP status
    /// counts only for a URL that begins with "http" in lower case.
    void checkAsyncResult();

    // ---- verbose log -------------------------------------------------------------------------------------

    /// CURLOPT_VERBOSE: record libcurl's messages of each transfer. Default false.
    void setVerbose(bool on);
    /// The value of setVerbose().
    [[nodiscard]] bool isVerboseEnabled() const noexcept;
    /// Which body data and TLS data is shown as text. Default VerboseLogAutomatic, VerboseLogNone. Survives
    /// reset().
    void setVerboseSettings(VerboseLogData data, VerboseLogData sslData);
    /// How many bytes of a transfer are recorded: docs/requests.md. Default -1, all: every byte of every body
    /// stays in memory until the next transfer, even if it is not shown. Survives reset().
    /// \throws CInvalidArgError for a number below -1
    void setVerboseRecordLimit(int64 bytes);
    /// Bytes that the limit has left out, without TLS data: "bytesLeftOut" in the logs.
    [[nodiscard]] int64 getVerboseLeftOutBytes() const noexcept;

    /// The last transfer as a tree: "NetRequest" with a child for each message; null if verbose is off.
    /// Confidential: only the value of the first "Authorization: " in a header block is replaced. The tree
    /// contains passwords of FTP and SMTP, cookies, and credentials of HTTP/2. To show a log, use
    /// getRedactedVerboseOutput().
    /// \param maxTextLength  bytes of a message to show; "..." follows if it is cut
    P<zet::CXMLElement> getVerboseOutput(unsigned int maxTextLength);
    /// getVerboseOutput() for a log to show: each whole credential is replaced by "~stripped~", before texts
    /// are cut; docs/requests.md lists them. Bodies and TLS data are shown if setVerboseSettings() allows it,
    /// with any password in them. The time is proportional to the record's size.
    P<zet::CXMLElement> getRedactedVerboseOutput(unsigned int maxTextLength);

    /// libcurl's debug callback (CURLOPT_DEBUGFUNCTION). `request` may be null. Always returns 0.
    static int _curlDebugFunctionCallback(void* handle, curl_infotype type, char* data, std::size_t size,
                                          void* request) noexcept;
    /// Records a message of this request's handle if verbose is on.
    void onLogDebugMessage(void* handle, curl_infotype type, char* data, std::size_t size);

protected:
    /// @{

    /// libcurl's callbacks (CURLOPT_WRITEFUNCTION, CURLOPT_READFUNCTION, CURLOPT_SEEKFUNCTION,
    /// CURLOPT_HEADERFUNCTION, CURLOPT_XFERINFOFUNCTION) with libcurl's arguments and results. An exception
    /// of a source, sink or progress object is kept for perform() and ends the transfer; that of a header
    /// line is logged and ignored.
    std::size_t writeHandler(const char* data, std::size_t size, std::size_t count) noexcept;
    std::size_t readHandler(char* buffer, std::size_t size, std::size_t count) noexcept;
    int seekHandler(curl_off_t offset, int origin) noexcept;
    std::size_t headerHandler(const char* data, std::size_t length) noexcept;
    int progressHandler(int64 downloadTotal, int64 downloaded, int64 uploadTotal, int64 uploaded) noexcept;
    /// @}
    /// The child of getVerboseOutput() for one message; never null.
    P<zet::CXMLElement> createVerboseXmlElement(const CVerboseLogMessage& message,
                                                unsigned int maxTextLength);

private:
    friend class CAsyncNetRequestManager;
    friend struct CNetRequestCallbacks;

    void setProgressOptions();
    void setConnectionPools(const P<CConnectionPools>& pools) noexcept;
    void endUnsafeConnection() noexcept;
    void checkTransferResult(CURLcode result);
    String getServerMessage(const String& responseCodeDomain, int responseCode);
    void beginAsync(CURLcode result);
    void endAsync(CURLcode result);
    void storeAsyncResult(CURLcode result);
    P<CError> getAsyncError();
    void throwAsyncError();

    const std::unique_ptr<CNetRequestParts> m_parts;
    void* const m_handle;  // of m_parts
};

}  // namespace vexil

#include "vexil/net/TransferData.h"
