#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/NetHeaders.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/NetRequestSetup.h"
#include "vexil/s3/S3ListObjectsResult.h"
#include "zet/InStream.h"
#include "zet/OutStream.h"
#include "zet/Time.h"

#include <concepts>
#include <exception>
#include <string>
#include <utility>

namespace sigil {
class IDigest;
}

namespace vexil {

class CS3ObjectSink;
struct CS3ObjectRange;

/// Client for the REST interface of Amazon S3 and of services that speak it, with signature version 2.
///
/// Each operation comes twice: `prepare...Request` only configures a request of the caller's, the operation
/// itself prepares and performs it, and tries again after failures that may pass (performRequest()). Both
/// begin with CNetRequest::reset(): whatever else a request shall have is set after a preparation or, for the
/// operations, in the hook of setRequestSetup(). Bodies of answers go to the request's default receive buffer
/// unless a stream is given.
///
/// Thread safety: one thread at a time, because signature and digest are computed in the client's own
/// buffers. Copies share nothing but the hook and may be used on different threads. The static members may be
/// used anywhere.
///
/// Lifetime: a request keeps a reference to the stream that a preparation gives it until it is reset, and lets
/// go of it at the end of an operation. Memory to be put must stay as it is until the transfer has ended.
///
/// Errors: CInvalidArgError for an empty bucket or object name, thrown before the request is touched, with
/// the `prepare` member as its place. CS3Error for a refusal that the service explains. CCURLError for other
/// failed transfers and statuses. A connection that ends within the headers of an answer is a success, but to
/// the getObject with a stream: ask CNetRequest::isResponseComplete() where that matters.
///
/// \code
/// CNetRequest request;
/// CS3Client client("ACCESSKEY", "SECRET", true);
/// client.putObject(request, "bucket", "greeting", "Hello", 5, "text/plain");
/// client.getObject(request, "bucket", "greeting", 0, -1);
/// PC<TBuffer<unsigned char>> body = request.getDefaultReceiveBuffer();
/// \endcode
class VEXIL_API CS3Client : public virtual CBase {
public:
    /// The largest object that a service takes in one PUT: 5 GiB.
    static constexpr int64 maxPutSize = 5LL * 1024 * 1024 * 1024;

    // ---- life and settings -------------------------------------------------------------------------------

    /// \param secure  https rather than http to s3.amazonaws.com; see setBaseURL() for other services
    CS3Client(const String& accessKeyId, const String& secretKey, bool secure);
    CS3Client(const CS3Client&) = default;
    CS3Client(CS3Client&&) = default;
    CS3Client& operator=(const CS3Client&) = default;
    CS3Client& operator=(CS3Client&&) = default;
    ~CS3Client() override;

    /// The service to talk to: scheme (http or https), host, and a port if it is not the scheme's own, such
    /// as "http://127.0.0.1:9000". A "/" may follow, nothing else.
    /// \throws CInvalidArgError with what is wrong; the old URL stays
    void setBaseURL(const String& url);
    /// Always ends with "/".
    String getBaseURL() const { return m_baseURL; }

    /// How often an operation is tried again after its first failure. Default 50; 0 and less for never.
    void setMaxRetries(int count) { m_maxRetries = count; }
    /// Records the verbose log of every prepared request (CNetRequest::setVerbose). Default false.
    void setPrintDebugInfo(bool print) { m_printDebugInfo = print; }
    /// Whether the server's certificate is checked (CNetRequest::setSSLVerifyPeer). Default true.
    void setSSLVerifyPeer(bool verify) { m_sslVerifyPeer = verify; }
    /// Whether the content of objects is compared with their ETag, as far as it is an MD5 (getContentMD5()): by
    /// putObject() after the response, and by the getObject() with a stream for a whole object, which computes the MD5
    /// while it writes. What differs is a CError. The bare `prepare...` members and getObject() into the request's
    /// buffer compare nothing. Default false: some services that encrypt send 32 hexadecimal digits that are no MD5.
    void setVerifyETag(bool verify) { m_verifiesETag = verify; }
    /// A hook that is called in every preparation, after its common settings and before those of the
    /// operation; a reference is kept. Headers that it adds to the request's list are signed. Null, the
    /// default, for none.
    ///
    /// A preparation throws a CInvalidArgError with the place "CS3Client::setRequestSetup" when the hook has
    /// replaced URL, method, header list or receive data sink.
    void setRequestSetup(INetRequestSetup* setup) { m_requestSetup = setup; }

    // ---- objects -----------------------------------------------------------------------------------------

    /// @{

    /// Stores bytes from memory under a name and replaces what was there. Content-MD5 lets the service check
    /// them.
    /// \param data         null only where `size` is 0; stays as it is until the transfer ends
    /// \param size         bytes, at least 0
    /// \param contentType  MIME type to keep with the object, "" for the service's default
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 const void* data, int size, const String& contentType);
    void putObject(CNetRequest& request, const String& bucket, const String& object, const void* data,
                   int size, const String& contentType);
    /// @}

    /// @{

    /// The same for sizes of other types.
    /// \throws CInvalidArgError for a size beyond the 2147483647 bytes that a put from memory takes
    template <std::integral Size>
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 const void* data, Size size, const String& contentType) {
        checkMemorySize(std::in_range<int>(size));
        preparePutObjectRequest(request, bucket, object, data, static_cast<int>(size), contentType);
    }
    template <std::integral Size>
    void putObject(CNetRequest& request, const String& bucket, const String& object, const void* data,
                   Size size, const String& contentType) {
        checkMemorySize(std::in_range<int>(size));
        putObject(request, bucket, object, data, static_cast<int>(size), contentType);
    }
    /// @}

    /// @{

    /// The same for the bytes of a buffer.
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 const TBuffer<unsigned char>& data, const String& contentType) {
        preparePutObjectRequest(request, bucket, object, data.getData(), data.getUsed(), contentType);
    }
    void putObject(CNetRequest& request, const String& bucket, const String& object,
                   const TBuffer<unsigned char>& data, const String& contentType) {
        putObject(request, bucket, object, data.getData(), data.getUsed(), contentType);
    }
    /// @}

    /// @{

    /// An object is no content: give the address of its bytes, or a buffer by `*buffer`.
    template <zet::ObjectPointer Data, class Size>
    requires(!std::convertible_to<const Data&, zet::IInStream*>) void preparePutObjectRequest(
        CNetRequest& request, const String& bucket, const String& object, const Data& data, Size size,
        const String& contentType) = delete;
    template <zet::ObjectPointer Data, class Size>
    requires(!std::convertible_to<const Data&, zet::IInStream*>) void putObject(
        CNetRequest& request, const String& bucket, const String& object, const Data& data, Size size,
        const String& contentType) = delete;
    /// @}

    /// @{

    /// Stores `size` bytes of a stream from where it stands on, without holding them in memory.
    ///
    /// The stream is read twice: by the preparation for Content-MD5, then for the transfer, and once more for
    /// each further try. It must be able to seek and must not change meanwhile.
    /// \param data  not null
    /// \param size  0 to maxPutSize. Bytes behind them are left alone
    /// \throws CError, by the preparation, when the stream ends early
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 zet::IInStream* data, int64 size, const String& contentType);
    void putObject(CNetRequest& request, const String& bucket, const String& object, zet::IInStream* data,
                   int64 size, const String& contentType);
    /// @}

    /// @{

    /// The same for sizes of other types, which would fit a put from memory as well.
    template <std::integral Size>
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 zet::IInStream* data, Size size, const String& contentType) {
        preparePutObjectRequest(request, bucket, object, data, static_cast<int64>(size), contentType);
    }
    template <std::integral Size>
    void putObject(CNetRequest& request, const String& bucket, const String& object, zet::IInStream* data,
                   Size size, const String& contentType) {
        putObject(request, bucket, object, data, static_cast<int64>(size), contentType);
    }

    /// @}

    /// @{

    /// Reads an object, or a range of it (RFC 9110, 14).
    /// \param offset  first byte, from 0
    /// \param length  bytes; -1 for all from `offset` on. 0 fetches the headers only (HEAD)
    void prepareGetObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 int64 offset, int64 length);
    void getObject(CNetRequest& request, const String& bucket, const String& object, int64 offset,
                   int64 length);
    /// @}

    /// @{

    /// Reads an object, or a range of it, into a stream, from where the stream stands on.
    ///
    /// Each further try begins there again (the stream must be able to seek then). Only the body of a
    /// successful answer reaches the stream; the explanation of a refusal goes to the request's default
    /// receive buffer. When a transfer breaks, the stream may have got the beginning of the body.
    /// \param data  not null
    /// \throws CInvalidArgError for a null stream and a range below 0
    /// \throws CError when the response to a range is not that range (a status other than 206, another Content-Range or
    ///         none), and when the response to the whole object is a part (206); by getObject also when the response
    ///         ended within its headers, its body has not the announced length, or setVerifyETag() found other content
    void prepareGetObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 int64 offset, int64 length, zet::IOutStream* data);
    void getObject(CNetRequest& request, const String& bucket, const String& object, int64 offset,
                   int64 length, zet::IOutStream* data);
    /// @}

    /// Asks for an object's headers (HEAD).
    void prepareGetObjectHeadersRequest(CNetRequest& request, const String& bucket, const String& object);
    /// \return the response headers by lower-case name; the request's own, until its next transfer
    const TMap<String, String>& getObjectHeaders(CNetRequest& request, const String& bucket,
                                                 const String& object);
    /// Bytes of an object, -1 when there is no such object.
    /// \throws CError "Error: Content-Length header was expected but not included in response."
    int64 getObjectSize(CNetRequest& request, const String& bucket, const String& object);
    /// Whether there is such an object. Every failure but the status 404 is thrown.
    bool objectExists(CNetRequest& request, const String& bucket, const String& object);

    /// Copies an object within its bucket, on the service's side.
    void prepareCopyObjectRequest(CNetRequest& request, const String& bucket, const String& existingObject,
                                  const String& newObject);
    /// Tries once only: a service that is slow to answer may be copying nevertheless.
    /// \throws CS3Error with status 0 for an error inside a successful answer
    /// \throws CCURLError for a failing status
    void copyObject(CNetRequest& request, const String& bucket, const String& existingObject,
                    const String& newObject);

    /// @{

    /// Deletes an object. Services call the deletion of a missing object a success.
    void prepareDeleteObjectRequest(CNetRequest& request, const String& bucket, const String& object);
    void deleteObject(CNetRequest& request, const String& bucket, const String& object);
    /// @}

    // ---- listings ----------------------------------------------------------------------------------------

    /// @{

    /// Lists objects in ascending order of their keys, one page. CS3ObjectEnum walks over all pages.
    /// \param prefix     only keys that begin with it; "" for all
    /// \param delimiter  folds keys that hold it behind the prefix into common prefixes; "" for none
    /// \param marker     begin behind this key; "" for the first one
    /// \param maxKeys    objects and common prefixes a page; -1 for the service's default
    void prepareListObjectsRequest(CNetRequest& request, const String& bucket, const String& prefix,
                                   const String& delimiter, const String& marker, int maxKeys);
    P<CS3ListObjectsResult> listObjects(CNetRequest& request, const String& bucket, const String& prefix,
                                        const String& delimiter, const String& marker, int maxKeys);
    /// @}

    /// @{

    /// The same with `encoding-type=url`: the service percent-encodes the names, so that all of them come as they are, with
    /// white space at the front, control characters and carriage returns, which XML changes or cannot hold. A service that
    /// does not know it sends them as they stand; see CS3ListObjectsResult::fromEncoded().
    void prepareListEncodedObjectsRequest(CNetRequest& request, const String& bucket, const String& prefix,
                                          const String& delimiter, const String& marker, int maxKeys);
    P<CS3ListObjectsResult> listEncodedObjects(CNetRequest& request, const String& bucket,
                                               const String& prefix, const String& delimiter,
                                               const String& marker, int maxKeys);
    /// @}

    /// The MD5 of an object's content, in base64 as the header Content-MD5 has it, from the headers of the response to a
    /// put, a get or a head. "" when the ETag is no MD5: not 32 hexadecimal digits (objects of several parts
    /// have a "-" in it), weak ("W/"), or of an object that is encrypted with a key of the customer or of a key service
    /// (x-amz-server-side-encryption other than AES256).
    /// \param responseHeaders  by lower-case name, as CNetRequest::getResponseHeaderMap() has them
    static String getContentMD5(const TMap<String, String>& responseHeaders);

    /// The URL of an object. Both names are escaped whole: a "/" within a key becomes "%2F".
    /// \param request  serves for its urlEscape() only
    String getObjectURL(CNetRequest& request, const String& bucket, const String& object) const;

    // ---- tries -------------------------------------------------------------------------------------------

    /// Performs a prepared request, again after each failure that shouldRetryRequest() allows, 100 ms later,
    /// up to the maximum of retries. Each is logged. The request is not signed anew, its Date stays.
    /// \return the number of the try that succeeded, from 1
    /// \throws the last failure: a CS3Error where the answer holds one, else what perform() has thrown
    ///
    /// A derived class may try again in another way: every operation performs its requests by it.
    virtual int performRequest(CNetRequest& request);

    /// Throws a CS3Error with status 0 when the body of a successful answer to a copy holds an error.
    /// \param body  must not be null
    void checkCopyObjectResult(const TBuffer<unsigned char>* body);

    /// Whether another try may succeed. An S3 code decides alone (InternalError, SlowDown, IncompleteBody,
    /// InvalidDigest, OperationAborted, RequestTimeTooSkewed), then the HTTP status (500, 503, 400, 409),
    /// then the CURLcode (7, 28, 52, 55, 56). So a body that breaks behind the status 200 is not tried again.
    static bool shouldRetryRequest(const std::exception& error);
    /// Whether the service asks for fewer requests: S3 code SlowDown or, without an S3 code, status 503.
    static bool shouldSlowDown(const std::exception& error);
    /// Whether object or bucket are missing: status 404, or S3 code NoSuchKey or NoSuchBucket.
    static bool isNotFoundError(const std::exception& error);
    /// The S3 code and the HTTP status in decimal that an error carries, each "" for none.
    static void extractErrorCodes(const std::exception& error, String& s3Code, String& httpCode);
    /// Throws the CS3Error that the body of a failed answer holds, with its status. Returns when `error` is
    /// no CCURLError with a response code or the body is empty; also, with the body in the log as an element
    /// "S3ResponseData", when it is no S3 error document.
    static void tryThrowBetterError(std::exception& error, const TBuffer<unsigned char>& body);

    // ---- signature ---------------------------------------------------------------------------------------

    /// Adds the Authorization header for everything that is set on the request. Call it last: what changes
    /// afterwards is not covered. For requests of the caller's own making; the preparations do it themselves.
    /// \throws CError "Invalid Amazon S3 query URL: '...'." when the URL has no path
    void signRequest(CNetRequest* request);
    /// Base64 of the HMAC-SHA1 over getStringToSign() with the secret key.
    String getSignature(CNetRequest* request);
    /// What is signed: method, Content-MD5, Content-Type and Date, a line each, then the headers that begin
    /// with "x-amz-", then the resource. The date line stays empty beside an x-amz-date header.
    static String getStringToSign(CNetRequest* request);
    /// A line "name:value" for each header whose lower-case name begins with "x-amz-", in ascending order.
    static String getCanonicalizedAMZHeaders(const TMap<String, String>& headers);
    /// The part of a URL that is signed: its path as it stands and a query without "=" and "&", such as
    /// "?acl".
    static String getCanonicalizedResource(const String& url);
    /// Replaces each line feed, with all white space behind it, by one blank. White space before it stays, a
    /// carriage return included.
    static void makeSingleLineHeaderValue(String& value);

protected:
    /// Common beginning of every preparation: resets the request and sets URL, redirects, verbose log, check
    /// of the certificate and a list with the Date header, then calls the hook.
    /// \return the list, already installed, for further headers
    P<CNetHeaders> beginPrepareRequest(CNetRequest& request, const String& url);
    /// Common end of every preparation: signs.
    void finishPrepareRequest(CNetRequest& request);

    /// The value under this very name, "" when there is none.
    static String getHeaderFromMap(const TMap<String, String>& headers, const String& name);

    /// The time for the Date header, which services compare with their own. Default: the system's clock.
    virtual zet::CTime getCurrentTime() const;
    /// What happens between two tries. Default: the thread sleeps.
    virtual void waitBeforeRetry(int milliseconds);
    /// Whether performRequest() tries again after this failure, which it logs in either case that another try could
    /// succeed. For who performs prepared requests in another way.
    /// \param tries  how often it was tried so far, from 1
    bool logAndDecideRetry(const CError& error, int tries) const;

private:
    // Copies get a digest of their own: two of them on different threads must not compute in the same one.
    class VEXIL_API COwnDigest {
    public:
        COwnDigest();
        COwnDigest(const COwnDigest&) : COwnDigest() {}
        COwnDigest& operator=(const COwnDigest&) noexcept { return *this; }

        sigil::IDigest* operator->() const noexcept { return m_digest; }
        sigil::IDigest& operator*() const noexcept { return *m_digest; }

    private:
        P<sigil::IDigest> m_digest;
    };

    // It continues a listing after a key that is no text.
    friend class CS3ObjectEnum;
    /// What a listing is asked for, but for its bucket.
    struct CListQuery {
        const String& prefix;
        const String& delimiter;
        const String& escapedMarker;
        int maxKeys;
        bool isEncoded;
    };

    static void checkMemorySize(bool isInRange);
    void prepareList(const char* place, CNetRequest& request, const String& bucket, const CListQuery& query);
    P<CS3ListObjectsResult> listLeniently(CNetRequest& request, const String& bucket,
                                          const CListQuery& query);
    P<CNetHeaders> beginPrepareObjectRequest(CNetRequest& request, const String& bucket,
                                             const String& object);
    void beginPreparePut(CNetRequest& request, const String& bucket, const String& object,
                         const String& contentMD5, const String& contentType);
    P<CS3ObjectSink> prepareGetObjectToStream(CNetRequest& request, const String& bucket,
                                              const String& object, const CS3ObjectRange& range,
                                              zet::IOutStream* data, const P<sigil::IDigest>& digest);
    void performPut(CNetRequest& request);
    String calcContentMD5(const void* data, int size);
    String calcContentMD5(CNetRequest::IDataSource& source);

    String m_baseURL;
    COwnDigest m_md5;
    String m_accessKeyId;
    String m_secretKey;
    std::string m_secretKeyUTF8;
    int m_maxRetries = 50;
    bool m_printDebugInfo = false;
    bool m_sslVerifyPeer = true;
    bool m_verifiesETag = false;
    TBuffer<unsigned char> m_signature;
    P<INetRequestSetup> m_requestSetup;
};

}  // namespace vexil
