#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/CancelToken.h"
#include "vexil/net/CurlHandles.h"
#include "vexil/net/HeaderAssembler.h"
#include "vexil/net/NetHeaders.h"
#include "vexil/net/NetReply.h"
#include "vexil/net/NetStringList.h"
#include "vexil/net/ServerInfo.h"
#include "zet/BufferStream.h"
#include "zet/Mutex.h"
#include "zet/Signal.h"
#include "zet/Time.h"
#include "zet/TimeSpan.h"
#include "zet/XMLElement.h"

#include <curl/curl.h>

#include <atomic>
#include <chrono>
#include <memory>

namespace vexil {

class CConnectionChoice;
class CConnectionPools;
class CPostBody;
class CReplyAssembler;
class CVerboseRecord;

/// Which data the verbose log shows as text. The bytes' count is always shown.
enum VerboseLogData : unsigned int {
    VerboseLogNone = 0,
    VerboseLogSent = 1,
    VerboseLogReceived = 2,
    VerboseLogBoth = 3,
    /// For body data only: decided by the next transfer or reset(), VerboseLogReceived for an upload and
    /// VerboseLogBoth otherwise, and kept from then on.
    VerboseLogAutomatic = 4,
};

/// A version of TLS (RFC 2246, RFC 4346, RFC 5246, RFC 8446).
enum TLSVersion : int {
    TLSVersionDefault = 0,  ///< whatever libcurl and its TLS library take
    TLSVersion1_0 = 10,
    TLSVersion1_1 = 11,
    TLSVersion1_2 = 12,
    TLSVersion1_3 = 13,
};

/// One transfer after another over one libcurl easy handle: configured by setters, performed here or by an
/// asynchronous manager, then asked for what came back.
///
/// Thread safety: one thread at a time; the asynchronous hooks alone may be used by the owner's thread and
/// the thread that drives the transfer at once. Distinct requests are independent.
///
/// Lifetime: whatever is given by pointer is kept by reference until it is replaced or reset() is called.
/// The request is neither copied nor moved: libcurl holds its address.
///
/// Errors: every failure is thrown. A failed transfer, and an HTTP status outside 200 to 299, is a
/// CCURLError; an error raised by a source, sink or stream is thrown as it was. The setters throw a
/// CCURLError when libcurl refuses the value.
///
/// Setters last over any number of transfers, until reset(). The libcurl option behind each is named.
///
/// Connections are kept and used again, by this request or by others on the same manager, where they were made for the
/// same server, login and TLS settings. libcurl compares these for connections that begin with TLS. The request does it
/// for those that begin in plain and demand TLS then (setFTPUseSSL()): such transfers use connections of their own for
/// each combination of TLS options. It sees only what is set by its members, not what is set on getHandle(). With a
/// CURLOPT_SHARE of the caller's such a transfer opens a connection and closes it.
///
/// \code
/// P<CNetRequest> request = new CNetRequest;
/// request->setURL("https://example.com/a");
/// request->perform();
/// PC<TBuffer<unsigned char>> body = request->getDefaultReceiveBuffer();
/// \endcode
class VEXIL_API CNetRequest : public virtual CBase {
public:
    /// Where a request body comes from. Called on the thread that drives the transfer; what it throws ends
    /// the transfer and is thrown by perform(). It may take itself off the request, and lives to the end of the call.
    class VEXIL_API IDataSource : public virtual IBase {
    public:
        /// Puts at most `maxLength` bytes into `buffer` and returns how many; 0 is the end of the body.
        /// More than asked for, or less than 0, is an error, but for CURL_READFUNC_ABORT, which ends the
        /// transfer with libcurl's code 42, and CURL_READFUNC_PAUSE, which stops sending until the handle is
        /// unpaused.
        /// \param responseHeaders  the headers of the response as far as they have come, by lower-case name
        virtual int read(void* buffer, int maxLength, const TMap<String, String>& responseHeaders) = 0;
        /// Bytes from start to end, -1 when unknown.
        virtual int64 getSize() = 0;
        /// Moves to a position in bytes from the start; libcurl rewinds to send a body again.
        virtual void seek(int64 position) = 0;
        /// Bytes from the start to where the next byte is read.
        virtual int64 getPosition() = 0;

    protected:
        ~IDataSource() override;
    };

    /// Where a response body goes. Called on the thread that drives the transfer; what it throws ends the
    /// transfer and is thrown by perform(). Not called at all for an empty body. It may take itself off the request, and
    /// lives to the end of the call.
    class VEXIL_API IDataSink : public virtual IBase {
    public:
        /// Takes a block of the body.
        /// \param httpStatus       status of the response that the block belongs to; 0 when its status line
        ///                         could not be read, -1 for protocols other than HTTP
        /// \param responseHeaders  the headers of that response, by lower-case name
        virtual void write(const void* data, int length, int httpStatus,
                           const TMap<String, String>& responseHeaders) = 0;
        /// An object is no content: give the address of its bytes.
        template <zet::ObjectPointer Data>
        void write(const Data& data, int length, int httpStatus,
                   const TMap<String, String>& responseHeaders) = delete;

    protected:
        ~IDataSink() override;
    };

    /// A sink that can begin again, so that what it collects survives a repeated transfer.
    class VEXIL_API IRestartableDataSink : public virtual IDataSink {
    public:
        /// Called before every transfer: drop what an earlier one has written. What it throws is thrown by
        /// perform() before anything is sent.
        virtual void restart() = 0;

    protected:
        ~IRestartableDataSink() override;
    };

    class CStreamDataSource;
    class CStreamDataSink;

    /// Told when a transfer has ended. Called on the thread that drives the transfer.
    class VEXIL_API IDoneListener : public virtual IBase {
    public:
        /// \param error  null on success; otherwise valid during the call only. The error is thrown as well,
        ///               by perform() or checkAsyncResult(). Where memory runs out for the description of a failure it
        ///               is the CError "Out of memory."; perform() throws the std::bad_alloc then.
        virtual void onDone(CNetRequest* request, CError* error) = 0;

    protected:
        ~IDoneListener() override;
    };

    /// Told how a transfer gets on. Called on the thread that drives the transfer, at most 20 times a second; what it
    /// throws ends the transfer and is thrown by perform().
    class VEXIL_API ITransferProgress : public virtual IBase {
    public:
        /// Bytes of body, both ways. A total is 0 as long as it is not known. The last bytes of a transfer may come
        /// without a call: see getDownloadedBytes() and getUploadedBytes().
        virtual void onProgress(int64 downloaded, int64 downloadTotal, int64 uploaded, int64 uploadTotal) = 0;

    protected:
        ~ITransferProgress() override;
    };

    /// Lets cancel() be noticed by what drives a transfer. Any thread.
    class VEXIL_API ICancelWaker : public virtual IBase {
    public:
        /// Ends the wait of what drives the transfer. Called without a lock. Must not throw.
        virtual void wake() noexcept = 0;

    protected:
        ~ICancelWaker() override;
    };

    /// One message of libcurl for the verbose log.
    struct CVerboseLogMessage {
        zet::CTime time;                     ///< when libcurl told it
        curl_infotype type = CURLINFO_TEXT;  ///< libcurl's kind of message
        TBuffer<char> data;                  ///< its bytes, as they were
        int64 leftOut = 0;                   ///< bytes that were counted only: see setVerboseRecordLimit()
    };

    // ---- life --------------------------------------------------------------------------------------------

    /// Starts libcurl if need be (CGlobalInit) and takes an easy handle.
    /// \throws CError "Error creating curl easy handle."
    CNetRequest();
    CNetRequest(const CNetRequest&) = delete;
    CNetRequest& operator=(const CNetRequest&) = delete;
    ~CNetRequest() override;

    /// Back to the state after construction; open connections, DNS and TLS sessions are kept for reuse. The
    /// user data, the cancel token, whether the request is verbose and the verbose settings keep their values, but libcurl's
    /// own verbose switch goes off: call setVerbose() again.
    void reset();

    /// Sets libcurl's options to what this library starts from: follow redirects, no signals, 30 s to
    /// connect, and abort below 1 byte/s for 60 s. No limit for the whole transfer. Called by the
    /// constructor and reset().
    void setDefaultOptions();

    /// Forgets what one transfer has left and rewinds a source that has moved. Called before each transfer.
    void resetForPerform();

    /// Keeps a reference until reset(), so that the object lives as long as the request needs it.
    void addDependencyObject(IBase* object);
    /// A free slot for the owner, of which a reference is kept; lasts past reset(). Default null.
    void setUserData(IBase* data) { m_userData = data; }
    /// What setUserData() was given; P::dynamicCast() gives its type back.
    P<IBase> getUserData() const { return m_userData; }

    /// The libcurl easy handle; stays the request's.
    void* getHandle() const noexcept { return m_handle.get(); }

    // ---- where to ----------------------------------------------------------------------------------------

    /// CURLOPT_URL. Default "". The text is sent as it is; see urlEscape().
    void setURL(const String& url);
    /// The URL as it was set.
    String getURL() const { return m_url; }

    /// CURLOPT_PROXY: host and port, or a URL. "" connects directly and also keeps libcurl from reading
    /// proxies out of the environment, which it does while nothing is set.
    void setProxy(const String& proxy);
    /// setProxy() with what the current user's settings (CProxySettings::getUserSettings()) say for the URL that is set,
    /// which may be "", a direct connection.
    void setProxyForCurrentURLFromUserSettings();

    /// @{

    /// CURLOPT_USERNAME and CURLOPT_PASSWORD: the login at the server, of any protocol. Default none.
    void setUserName(const String& name);
    void setUserPassword(const String& password);
    /// @}

    /// CURLOPT_HTTPAUTH: a mask of libcurl's CURLAUTH_ bits. Default CURLAUTH_BASIC.
    void setHTTPAuthMethods(unsigned int methods);

    /// CURLOPT_SSL_VERIFYPEER. Default true.
    void setSSLVerifyPeer(bool verify);
    /// CURLOPT_CAINFO: a file of PEM certificates. Default libcurl's own (on Linux the system's bundle).
    void setRootCertBundlePath(const TPathImpl<CWindowsPathTraits>& path);
    /// The newest version of TLS that a connection may use (CURLOPT_SSLVERSION, its upper half; the lower half keeps
    /// what setOptionInt() has set). Default TLSVersionDefault. A version below the oldest one that the TLS library
    /// takes makes the handshake fail: Debian's takes TLS 1.2 and newer.
    /// \throws CInvalidArgError for another number
    void setMaxTLSVersion(TLSVersion version);
    /// Whether only this request uses the connections that it opens, and their TLS sessions. Default false: all requests
    /// on its manager do. An FTP server that demands that data connections resume the session of the control connection
    /// (ProFTPD, vsftpd) refuses the session of another one. With CURLOPT_FRESH_CONNECT none of these is used again.
    void setKeepsOwnConnections(bool keepsOwn) noexcept;

    // ---- what to send ------------------------------------------------------------------------------------

    /// "GET", "PUT", "POST", "HEAD" by libcurl's switches of the same purpose; anything else that is not
    /// empty by CURLOPT_CUSTOMREQUEST without a body; "" for the default. Switches the other methods off, so
    /// an upload that is not a PUT is off afterwards.
    /// \throws CInvalidArgError for a method with CR, LF or NUL, which would begin a header
    void setHTTPMethod(const String& method);
    /// The method as set; without one "PUT" for an upload, else "GET".
    String getHTTPMethod() const;
    /// CURLOPT_UPLOAD: sends the source as the body of a PUT, or stores it under FTP. Default false.
    void setUpload(bool upload);

    /// CURLOPT_HTTPHEADER. Default none. Headers added to the list later, up to the next transfer, are sent
    /// too.
    void setCustomHTTPHeaders(CNetHeaders* headers);
    /// The list that was set, or null.
    P<CNetHeaders> getCustomHTTPHeaders() const { return m_customHTTPHeaders; }

    /// Bytes of the body (CURLOPT_INFILESIZE_LARGE, for a POST also CURLOPT_POSTFIELDSIZE_LARGE); -1, the
    /// default, for unknown, which goes out in chunks that S3 servers refuse. A size other than what the
    /// source then holds stalls the transfer or cuts the body.
    ///
    /// For a body given as CURLOPT_POSTFIELDS a smaller size cuts the body, and a larger one has no effect.
    void setSendDataSize(int64 size);
    /// The body's source; null for none. Set its size with setSendDataSize().
    void setSendDataSource(IDataSource* source);
    /// A stream as the body's source, of which a reference is kept; null for none. Set its size with
    /// setSendDataSize().
    void setSendDataStream(zet::IInStream* stream);
    /// The bytes of a buffer as the body, with their size; null is a CInvalidArgError. A reference is kept,
    /// and the buffer must stay as it is until the transfer ends.
    void setSendDataBuffer(const TBuffer<unsigned char>* buffer);
    /// The UTF-8 form of a text as the body, with its size: at most 2147483647 bytes, more is a CError.
    void setSendDataAsUTF8(const String& text);

    // ---- what to do with the answer ----------------------------------------------------------------------

    /// The sink of the response body; null drops it. Default: the request's own buffer.
    void setReceiveDataSink(IDataSink* sink);
    /// A stream as the sink of the response body, of which a reference is kept; null drops the body. The
    /// stream gets everything again when a transfer is repeated, error bodies too; see IRestartableDataSink.
    void setReceiveDataStream(zet::IOutStream* stream);
    /// Back to the request's own buffer.
    void setDefaultReceiveDataStream();
    /// Whether the response body goes to the request's own buffer.
    bool usesDefaultReceiveBuffer() const noexcept {
        return m_receiveSink.get() == m_defaultReceiveSink.get();
    }
    /// The request's own buffer; emptied at the start of every transfer. At most 2 GiB.
    PC<TBuffer<unsigned char>> getDefaultReceiveBuffer() const { return m_defaultReceiveBuffer; }
    /// The sink that fills the request's own buffer, for a sink that passes some blocks on to it.
    P<IDataSink> getDefaultReceiveSink() const { return m_defaultReceiveSink; }

    /// How many bytes of a response body the request's own buffer takes. -1, the default, for no limit but its 2 GiB. Lasts
    /// until reset().
    /// \param success  of a response with a status of 200 to 299, and of protocols other than HTTP. A longer body is a
    ///                 CError that names the limit
    /// \param failure  of a response with another status. A longer body is cut there, and the transfer ends as it does
    ///                 for that status
    void setReceiveBufferLimits(int64 success, int64 failure);

    /// Byte range (CURLOPT_RANGE) from `start`, `length` bytes or, with -1, to the end. Default none.
    /// The numbers are not checked: a length of 0 asks for a range that ends before it starts.
    void setRange(int64 start, int64 length);

    /// A record that learns from the response's headers; null for none.
    void setServerInfoToUpdate(CServerInfo* info) { m_headerAssembler.setServerInfoToUpdate(info); }
    /// Who is told of the end of each transfer; null, the default, for nobody.
    void setDoneListener(IDoneListener* listener) { m_doneListener = listener; }

    /// Who is told how each transfer gets on (CURLOPT_XFERINFOFUNCTION, CURLOPT_NOPROGRESS); null, the default, for
    /// nobody.
    void setTransferProgress(ITransferProgress* progress);
    /// Whether cancel() can be used (CURLOPT_XFERINFOFUNCTION, CURLOPT_NOPROGRESS). Default false: libcurl is then spared
    /// the question. A request with a progress object can always be cancelled.
    void setCancellable(bool cancellable);
    /// What ends the transfers of this request for good once it is cancelled, those that have not begun too
    /// (CURLOPT_XFERINFOFUNCTION, CURLOPT_NOPROGRESS); a reference is kept. Null, the default, for none. Lasts past reset(),
    /// so that it counts for every step and every try of a client's operation.
    ///
    /// A transfer fails as after cancel(). perform() sends nothing then, and there is no response; a manager may begin to
    /// connect.
    void setCancelToken(CCancelToken* token);
    /// What setCancelToken() was given; null for none.
    P<CCancelToken> getCancelToken() const { return m_cancelToken; }

    // ---- how ---------------------------------------------------------------------------------------------

    /// CURLOPT_FOLLOWLOCATION. Default true, without a limit to their number.
    void setFollowRedirects(bool follow);
    /// CURLOPT_REDIR_PROTOCOLS_STR: the schemes that a redirect may lead to, separated by commas ("http,https"); any
    /// other ends the transfer with code 1 (CURLE_UNSUPPORTED_PROTOCOL). Default libcurl's, "http,https,ftp,ftps". Each
    /// redirect is judged alone: "https" keeps a request that begins with https there. libcurl refuses "" and unknown
    /// names.
    void setRedirectProtocols(const String& protocols);
    /// CURLOPT_MAXREDIRS: so many redirects are followed, one more ends the transfer with code 47
    /// (CURLE_TOO_MANY_REDIRECTS). 0 for none, -1, the default, for no limit.
    void setMaxRedirects(int count);
    /// CURLOPT_POSTREDIR: repeat a POST as a POST after 301, 302 and 303. Default false.
    void setKeepPostOnRedirect(bool keep);

    /// @{

    /// CURLOPT_CONNECTTIMEOUT_MS and CURLOPT_TIMEOUT_MS: whole milliseconds, rounded toward zero; a span that
    /// is not set means no limit of ours (0). From 2^31 ms on the value wraps. Default 30 s and none.
    void setConnectTimeout(const zet::CTimeSpan& timeout);
    void setFullRequestTimeout(const zet::CTimeSpan& timeout);
    /// @}

    /// CURLOPT_LOW_SPEED_LIMIT and CURLOPT_LOW_SPEED_TIME: abort when the transfer, the server's thinking
    /// included, stays below the limit for the time, in seconds rounded up, at most 2147483647 (68 years). Default
    /// 1 byte/s for 60 s.
    void setLowSpeedLimit(int bytesPerSecond, const zet::CTimeSpan& time);

    /// CURLOPT_USE_SSL: one of CURLUSESSL_, for SMTP too. Default CURLUSESSL_NONE.
    void setFTPUseSSL(int level);
    /// CURLOPT_FTP_FILEMETHOD: one of CURLFTPMETHOD_. Default CURLFTPMETHOD_DEFAULT.
    void setFTPFileMethod(int method);
    /// CURLOPT_FTP_CREATE_MISSING_DIRS: one of CURLFTP_CREATE_DIR_. Default CURLFTP_CREATE_DIR_NONE.
    void setFTPCreateMissingDirs(int mode);
    /// CURLOPT_CUSTOMREQUEST: the command of a listing; "" for libcurl's own.
    /// \throws CInvalidArgError for a command with CR, LF or NUL, which would begin another one
    void setFTPListOverrideCommand(const String& command);
    /// @{

    /// CURLOPT_PREQUOTE and CURLOPT_POSTQUOTE: commands before and after the transfer; null, the default, for
    /// none. The list may change between transfers: each one sends what stands in it when it begins.
    void setFTPCustomPreCommands(CNetStringList* commands);
    void setFTPCustomPostCommands(CNetStringList* commands);
    /// @}

    /// CURLOPT_MAIL_RCPT: the recipients of a mail, one an entry; null, the default, for none. The list may change
    /// between transfers: each one goes to those who stand in it when it begins.
    void setMailRecipients(CNetStringList* recipients);
    /// @{

    /// Any libcurl option, by the type that libcurl documents for it: `long`, `curl_off_t`, pointer (functions, lists,
    /// blobs and strings too, which libcurl does not copy then, except strings). An option of another type, or one that
    /// this libcurl does not know, is a CCURLError of code 48 (CURLE_UNKNOWN_OPTION). Options that this class sets
    /// itself are better left to its setters.
    void setOptionInt(CURLoption option, int value);
    void setOptionInt64(CURLoption option, int64 value);
    void setOptionPtr(CURLoption option, void* value);
    /// @}
    /// The same for an option that takes a string, which libcurl copies as UTF-8. A NUL, where its strings end, is a
    /// CInvalidArgError.
    ///
    /// CURLOPT_POSTFIELDS and CURLOPT_COPYPOSTFIELDS make the request a POST with this body, of which the request keeps
    /// a copy. It is the body of each POST, also after a GET in between, until another text, a source
    /// (setSendDataSource() and its relatives, null too) or reset() replaces it; a source that was set before serves a
    /// PUT only. The text alone is sent, whatever sizes are set: see setSendDataSize(). setSendDataAsUTF8() and
    /// setHTTPMethod("POST") are simpler. Memory given by setOptionPtr() is sent up to the size last set as
    /// CURLOPT_POSTFIELDSIZE, otherwise up to setSendDataSize() or its NUL.
    void setOptionString(CURLoption option, const String& value);

    // ---- perform -----------------------------------------------------------------------------------------

    /// Runs the transfer and returns when it is over.
    ///
    /// Throws, in this order of precedence: what a source, sink or stream has thrown; a CCURLError of
    /// libcurl's result; a CCURLError of code 22 for an HTTP status outside 200 to 299. The done listener is
    /// told first; it may reset or release the request.
    ///
    /// A connection that ends within the header block of a response is a success to libcurl, with status and
    /// headers as far as they came and no body: see isResponseComplete().
    void perform();

    /// Ends the transfer that runs, from any thread: within 1.2 s under perform(), where libcurl asks once a second, at once
    /// under a manager; but after a name is resolved, and within some 2 s behind the data of an FTP file or a mail. It
    /// fails with a CCURLError of code 42 (CURLE_ABORTED_BY_CALLBACK) and the detail "transfer cancelled", or ends as it
    /// had before. A call before a transfer, or between two tries of a client, is forgotten when the next one starts; for
    /// a worker thread that is when it is handed over. setCancelToken() is for a wish that lasts.
    /// \throws CError where cancelling is not enabled: see setCancellable()
    void cancel();

    // ---- what came back ----------------------------------------------------------------------------------

    /// Last response code (HTTP status, FTP or SMTP reply code), 0 without a response.
    int getResponseCode();
    /// Protocol family of the URL: "http", "ftp" (sftp too), "smtp", or "" for others.
    String getResponseCodeDomain() const;
    /// Last HTTP status line, trimmed; after a refused CONNECT the proxy's.
    String getHTTPStatusLine() const { return m_httpStatusLine; }
    /// Where the last response redirects to, as an absolute URL (CURLINFO_REDIRECT_URL); "" where it does not, or where
    /// it was followed. The proxy is not chosen anew for a redirect that libcurl follows: a caller whose proxy depends
    /// on the URL switches setFollowRedirects() off and goes on with this URL. It may hold a login.
    String getRedirectURL();
    /// Headers of the last response by lower-case name; a repeated header is joined with ",".
    const TMap<String, String>& getResponseHeaderMap() const noexcept {
        return m_headerAssembler.getHeaderMap();
    }
    /// All header or reply lines of the last transfer as they came, those of interim responses included, but
    /// for lines that could not be read.
    const CNetStringList& getResponseInfo() const { return *m_responseInfo; }
    /// The last reply of the last transfer that has this code (FTP, SMTP), without its line ends, as it came; the lines
    /// of a longer reply that begin with the code are joined with LF. "" when there was none. After a refused mail it is
    /// the refusal's text, behind which the server was still said goodbye.
    /// \param code  three digits, such as that of an error (CCURLError::getResponseCode())
    String getResponseText(int code) const;
    /// All replies of the last transfer (FTP, SMTP) in their order, those to the login included; none for other
    /// protocols. What a program decides by replies, it decides by these: getResponseInfo() and getResponseText() lack
    /// each line that is not UTF-8. A reply whose end has not come is left out.
    /// \throws CError when memory was too short to keep a reply
    TArray<CNetReply> getReplies() const;
    /// Whether the header block of the last HTTP response was seen to its end (a line of CR LF alone) and no
    /// line of it was dropped (hasDroppedHeaderLine()), which perform() does not demand. Always true for other
    /// protocols.
    bool isResponseComplete() const noexcept {
        return !m_isHTTP || (m_headerAssembler.isComplete() && !hasDroppedHeaderLine());
    }
    /// Whether a line in the header block of the last HTTP response was ignored with a warning, because it is not
    /// UTF-8 or memory was short. A status line that is not UTF-8 does not count: its code is known
    /// (getResponseCode()), and a sink is told 0.
    bool hasDroppedHeaderLine() const noexcept { return m_isHTTP && m_hasDroppedHeaderLine; }

    /// @{

    /// Bytes of body that the last transfer has moved (CURLINFO_SIZE_DOWNLOAD, CURLINFO_SIZE_UPLOAD).
    double getDownloadedBytes();
    double getUploadedBytes();
    /// @}

    /// @{

    /// Bytes of body that were announced, -1 when unknown (CURLINFO_CONTENT_LENGTH_DOWNLOAD,
    /// CURLINFO_CONTENT_LENGTH_UPLOAD).
    double getDownloadSize();
    double getUploadSize();
    /// @}

    /// @{

    /// Average over the last transfer in bytes per second (CURLINFO_SPEED_DOWNLOAD, CURLINFO_SPEED_UPLOAD).
    double getAvgDownloadSpeed();
    double getAvgUploadSpeed();
    /// @}

    /// @{

    /// Any figure of libcurl, by the type that libcurl documents for it; one of another type is a CCURLError
    /// of code 48 (CURLE_UNKNOWN_OPTION).
    int getInfoLong(CURLINFO info);
    double getInfoDouble(CURLINFO info);
    /// @}

    /// libcurl's own text about the last failure, "" when it left none.
    String getErrorMessage() const;
    /// The text of an error body, for people: at most its first 4096 bytes, HTML stripped of its tags; ""
    /// when they are not UTF-8.
    /// \param headers  the response's headers, by lower-case name
    static String getServerErrorMessageFromResponseData(const unsigned char* data, int length,
                                                        const TMap<String, String>& headers);
    /// Throws the CCURLError of a result of this request, with all that is known about it.
    /// \param errorDetail  "" for getErrorMessage()
    [[noreturn]] void throwError(CURLcode code, const String& responseCodeDomain, int responseCode,
                                 const String& errorDetail);

    /// Percent-encodes all but unreserved characters, hexadecimal digits in upper case (curl_easy_escape).
    /// \throws CError "Error URL-escaping a string."
    String urlEscape(const String& text);

    // ---- asynchronous hooks (any thread) -----------------------------------------------------------------

    /// Called when a transfer is handed over to what will drive it later, which calls setAsyncInfo() then: takes the done
    /// signal off at once and forgets an earlier cancel(), but none from now on.
    void announceAsync();
    /// What cancel() calls from now on; null, the default, for nothing. Kept until it is replaced. For whatever drives
    /// the transfer.
    void setCancelWaker(ICancelWaker* waker);
    /// Whether cancel() can be used.
    bool isCancellable() const noexcept { return m_isWatched; }
    /// Called by whatever drives the transfer: false before it starts, true with libcurl's result after it
    /// has ended. The latter sets the done signal, as the last thing under the request's lock, and then tells
    /// the done listener, outside of it. The caller keeps the request alive until it returns.
    void setAsyncInfo(bool done, CURLcode result);
    /// Whether the transfer has ended. False for a request that was never driven asynchronously.
    bool isAsyncDone() const;
    /// Waits for the end of the transfer, at most so many milliseconds (negative: for ever). Tells whether it
    /// has ended.
    bool waitAsyncDone(int timeoutMilliseconds);
    /// The signal that is set at the end of the transfer, for whoever waits for it in another way. Never
    /// null, the same one as long as the request lives, and to be kept where the request may go first.
    P<zet::CSignal> getAsyncDoneSignal() const { return m_asyncDoneSignal; }
    /// Throws what perform() would have thrown; nothing while the transfer runs. Only a URL that begins with
    /// "http" in lower case is judged by its HTTP status.
    void checkAsyncResult();

    // ---- verbose log -------------------------------------------------------------------------------------

    /// CURLOPT_VERBOSE: record libcurl's messages of each transfer. Default false.
    void setVerbose(bool on);
    /// What setVerbose() was last given.
    bool isVerboseEnabled() const noexcept { return m_verbose; }
    /// What of body data and of TLS data is shown as text. Default VerboseLogAutomatic and VerboseLogNone;
    /// lasts past reset().
    void setVerboseSettings(VerboseLogData data, VerboseLogData sslData);
    /// How much of a transfer is recorded, in bytes; -1, the default, for all of it: each byte of each body is held in
    /// memory until the next transfer, whatever is shown. Lasts past reset().
    ///
    /// With a limit, data that is not to be shown is counted only, between two headers or libcurl messages in one
    /// element. Of data to be shown, so much is recorded until the limit is reached, and the rest left out. The same
    /// limit holds apart for headers and libcurl messages; if it is reached, the record ends. Each message counts 100
    /// bytes more than it has, and the one that reaches the limit is recorded whole.
    /// \throws CInvalidArgError for a number below -1
    void setVerboseRecordLimit(int64 bytes);
    /// Bytes of headers, libcurl messages and data of the last transfer that a limit has left out, TLS data aside. The
    /// logs tell them as the attribute "bytesLeftOut" of "NetRequest" if there are any.
    int64 getVerboseLeftOutBytes() const noexcept;

    /// The last transfer as a tree: "NetRequest" with a child for each message; null when verbose is off.
    ///
    /// Confidential: only the value of the first "Authorization: " in a header block is replaced; passwords
    /// of FTP and SMTP, cookies, and credentials in HTTP/2 stand in it. For a log to show, take
    /// getRedactedVerboseOutput().
    /// \param maxTextLength  bytes of a message to show; "..." follows where it is cut
    P<zet::CXMLElement> getVerboseOutput(unsigned int maxTextLength);
    /// getVerboseOutput() for a log to show: each credential is replaced whole by "~stripped~", before texts
    /// are cut. These are:
    /// - the values of the headers Authorization, Proxy-Authorization, Authentication-Info, Proxy-Authentication-Info,
    ///   Cookie, Cookie2, Set-Cookie, Set-Cookie2, X-Amz-Security-Token, X-Auth-Token, X-Auth-Key, X-API-Key,
    ///   X-Vault-Token, X-Subject-Token, X-Storage-Token, X-Service-Token, and of those with a customer's key for the
    ///   encryption of an object (S3, Google Cloud Storage);
    /// - the arguments of FTP's PASS and ACCT, and all that the client sends during an SMTP login;
    /// - what stands before the "@" of a URL;
    /// - the values of the query arguments Signature, X-Amz-Signature, X-Amz-Credential, X-Amz-Security-Token,
    ///   AWSAccessKeyId, X-Goog-Signature, X-Goog-Credential, access_token, refresh_token, id_token, client_secret,
    ///   sig, token, key, api_key, apikey, password, passwd and pwd;
    /// - what libcurl's messages repeat of these.
    ///
    /// Shown are FTP user names, other query arguments, and bodies and TLS data as far as setVerboseSettings() allows: a
    /// form or document that holds a password is shown with it. Takes time in proportion to what is recorded.
    P<zet::CXMLElement> getRedactedVerboseOutput(unsigned int maxTextLength);

    /// libcurl's debug callback (CURLOPT_DEBUGFUNCTION); `request` may be null. Always 0.
    static int _curlDebugFunctionCallback(void* handle, curl_infotype type, char* data, std::size_t size,
                                          void* request) noexcept;
    /// Records a message of this request's handle while verbose is on.
    void onLogDebugMessage(void* handle, curl_infotype type, char* data, std::size_t size);

protected:
    /// @{

    /// What libcurl's callbacks do (CURLOPT_WRITEFUNCTION, CURLOPT_READFUNCTION, CURLOPT_SEEKFUNCTION,
    /// CURLOPT_HEADERFUNCTION), with libcurl's arguments and results. None lets an exception out: that of a
    /// source or sink is kept for perform() and ends the transfer, that of a header line is logged and
    /// ignored.
    std::size_t writeHandler(const char* data, std::size_t size, std::size_t count) noexcept;
    std::size_t readHandler(char* buffer, std::size_t size, std::size_t count) noexcept;
    int seekHandler(curl_off_t offset, int origin) noexcept;
    std::size_t headerHandler(const char* data, std::size_t length) noexcept;
    /// @}

    /// What libcurl's progress callback does (CURLOPT_XFERINFOFUNCTION): not 0 ends the transfer.
    int progressHandler(int64 downloadTotal, int64 downloaded, int64 uploadTotal, int64 uploaded) noexcept;

    /// The child of getVerboseOutput() for one message; never null.
    P<zet::CXMLElement> createVerboseXmlElement(const CVerboseLogMessage& message,
                                                unsigned int maxTextLength);

private:
    friend class CAsyncNetRequestManager;

    static std::size_t writeCallback(char* data, std::size_t size, std::size_t count, void* request) noexcept;
    static std::size_t readCallback(char* buffer, std::size_t size, std::size_t count,
                                    void* request) noexcept;
    static int seekCallback(void* request, curl_off_t offset, int origin) noexcept;
    static std::size_t headerCallback(char* data, std::size_t size, std::size_t count,
                                      void* request) noexcept;
    static int progressCallback(void* request, curl_off_t downloadTotal, curl_off_t downloaded,
                                curl_off_t uploadTotal, curl_off_t uploaded) noexcept;

    void requestNextStep() noexcept;

    template <class Handler, class Failure>
    Failure guarded(Handler handler, Failure failure) noexcept;
    void keepCallbackError() noexcept;
    P<CError> getPendingCallbackError() const;

    template <class Value>
    void setOption(CURLoption option, Value value);
    void checkOptionResult(CURLcode result);
    void checkOptionType(CURLoption option, bool isRightType);
    void setTextOption(CURLoption option, const String& value, const char* place);
    CPostBody& getPostBody();
    void setPostText(std::string text);
    void setPostMemory(const void* memory);
    void copyPostMemory(const char* memory);
    void setPostSize(CURLoption option, int64 size);
    void setPostDataSize(int64 size);
    void handOverPostBody();
    void setMillisecondsOption(CURLoption option, const zet::CTimeSpan& span);
    /// A list of an option, and which of its nodes libcurl begins with.
    struct ListOption {
        P<CNetStringList> list;
        const curl_slist* head = nullptr;
    };
    void setStringListOption(CURLoption option, ListOption& slot, CNetStringList* list);
    void setChangedListOption(CURLoption option, ListOption& slot);
    void clearErrorBuffer() noexcept { m_errorBuffer.getData()[0] = '\0'; }

    void setProgressOptions();
    bool isTokenCancelled() const noexcept { return m_cancelToken && m_cancelToken->isCancelled(); }
    CURLcode runTransfer();
    bool isProgressDue() noexcept;
    /// After a cancelled transfer: what the caller has set counts again.
    void restoreReuse() noexcept;
    /// After a transfer, before libcurl can use its connection for another one: ends a connection on which a reply may
    /// come that nobody has asked for.
    void endUnsafeConnection() noexcept;
    /// The connections of what drives the transfers; null for the request's own.
    void setConnectionPools(const P<CConnectionPools>& pools) noexcept;
    void chooseConnections();
    void forgetCancel() noexcept;

    void checkTransferResult(CURLcode result);
    String getErrorDetail(CURLcode result) const;
    static bool isSuccessStatus(int status) noexcept { return status >= 200 && status <= 299; }
    String getServerMessage(const String& responseCodeDomain, int responseCode);
    String getLastResponseInfo() const;

    void beginAsync(CURLcode result);
    void endAsync(CURLcode result);
    void storeAsyncResult(CURLcode result);
    void keepErrorDetail();
    P<CError> getAsyncError();
    void throwAsyncError();

    bool seekSource(int64 offset, int origin);
    void moveSource(IDataSource& source, int64 position);
    int readSource(void* buffer, int maxLength);
    int cutToSendDataSize(int length) noexcept;
    void parseResponseStatus();
    bool isBufferBeyondLimit();
    /// Whether a result only tells that an error document was cut: the status counts then.
    bool isCut(CURLcode result) const noexcept { return m_isBodyCut && result == CURLE_WRITE_ERROR; }
    void handleHeaderLine(std::string_view bytes);
    void beginResponse() noexcept;
    bool isUpload() const noexcept;

    // Objects that libcurl's options point to stand before the handle, so that they outlive it.
    TBuffer<char> m_errorBuffer;
    P<CNetHeaders> m_customHTTPHeaders;
    ListOption m_ftpPreCommands;
    ListOption m_ftpPostCommands;
    ListOption m_mailRecipients;
    TList<P<IBase>> m_dependencies;
    std::unique_ptr<CConnectionChoice> m_connections;
    P<CPostBody> m_postBody;  // null until a body or its size is given as an option
    CurlEasyHandle m_handle;

    P<TBuffer<unsigned char>> m_defaultReceiveBuffer;
    P<zet::CBufferStream> m_defaultReceiveStream;
    P<IDataSink> m_defaultReceiveSink;
    P<IDataSink> m_receiveSink;
    int64 m_maxSuccessBytes = -1;
    int64 m_maxFailureBytes = -1;
    bool m_isBodyCut = false;                           // at m_maxFailureBytes
    IRestartableDataSink* m_restartableSink = nullptr;  // m_receiveSink, where it is one
    P<IDataSource> m_sendSource;
    P<IBase> m_sendKeepAlive;
    int64 m_sendDataSize = -1;
    int64 m_sendPosition = 0;  // bytes of the body that libcurl has got

    String m_url;
    bool m_isHTTP = false;
    String m_httpMethod;
    bool m_upload = false;
    P<IBase> m_userData;
    P<IDoneListener> m_doneListener;

    P<ITransferProgress> m_progress;
    P<CCancelToken> m_cancelToken;
    bool m_isUnsent = false;  // the last transfer was cancelled before it began
    std::chrono::steady_clock::time_point m_nextProgress;
    bool m_isCancellable = false;
    std::atomic<bool> m_isWatched{false};  // libcurl calls the progress callback
    std::atomic<bool> m_isCancelRequested{false};
    bool m_isCancelled = false;  // the callback has ended the transfer for that
    int m_tlsVersions = 0;       // CURLOPT_SSLVERSION: the oldest one, and above 16 bits the newest one

    CHeaderAssembler m_headerAssembler;
    String m_headerLine;  // kept for its memory
    String m_httpStatusLine;
    enum class StatusLine { None, Read, Unreadable };
    StatusLine m_statusLine =
        StatusLine::None;  // of the last response, whose text is m_httpStatusLine if Read
    bool m_hasDroppedHeaderLine = false;
    int m_lastParsedStatus = -1;
    P<CNetStringList> m_responseInfo;
    const std::unique_ptr<CReplyAssembler> m_replies;

    bool m_verbose = false;
    VerboseLogData m_verboseSSLData = VerboseLogNone;
    VerboseLogData m_verboseData = VerboseLogAutomatic;
    const std::unique_ptr<CVerboseRecord> m_verboseRecord;

    // Guarded by m_asyncMutex.
    mutable zet::CMutex m_asyncMutex;
    P<zet::CSignal> m_asyncDoneSignal;
    CURLcode m_asyncResult = CURLE_OK;
    String m_asyncErrorMessage;
    P<CError> m_pendingCallbackError;
    P<ICancelWaker> m_cancelWaker;
    bool m_isAnnounced = false;
};

/// A source over a stream, of which a reference is kept. Positions and sizes are the stream's.
class VEXIL_API CNetRequest::CStreamDataSource : public virtual CBase, public IDataSource {
public:
    /// \param stream  not null
    explicit CStreamDataSource(zet::IInStream* stream);
    ~CStreamDataSource() override;

    int read(void* buffer, int maxLength, const TMap<String, String>& responseHeaders) override;
    int64 getSize() override;
    void seek(int64 position) override;
    int64 getPosition() override;

private:
    P<zet::IInStream> m_stream;
};

/// A sink over a stream, of which a reference is kept. The stream gets the body of every try, that of an
/// error answer included.
class VEXIL_API CNetRequest::CStreamDataSink : public virtual CBase, public IDataSink {
public:
    /// \param stream  not null
    explicit CStreamDataSink(zet::IOutStream* stream);
    ~CStreamDataSink() override;

    void write(const void* data, int length, int httpStatus,
               const TMap<String, String>& responseHeaders) override;

private:
    P<zet::IOutStream> m_stream;
};

}  // namespace vexil
