#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/ITransferMetrics.h"
#include "vexil/net/NetHeaders.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/NetRequestSetup.h"
#include "vexil/net/RetryPolicy.h"
#include "vexil/net/TryLog.h"
#include "vexil/s3/S3BucketList.h"
#include "vexil/s3/S3CopyOptions.h"
#include "vexil/s3/S3CopySource.h"
#include "vexil/s3/S3Credentials.h"
#include "vexil/s3/S3CredentialsProvider.h"
#include "vexil/s3/S3DeleteResult.h"
#include "vexil/s3/S3DownloadResult.h"
#include "vexil/s3/S3GetOptions.h"
#include "vexil/s3/S3ListObjectsResult.h"
#include "vexil/s3/S3ListObjectsV2Result.h"
#include "vexil/s3/S3ListVersionsResult.h"
#include "vexil/s3/S3ListingQuery.h"
#include "vexil/s3/S3Multipart.h"
#include "vexil/s3/S3PartList.h"
#include "vexil/s3/S3PartOptions.h"
#include "vexil/s3/S3PutOptions.h"
#include "vexil/s3/S3SigningOptions.h"
#include "vexil/s3/S3UploadList.h"
#include "zet/InStream.h"
#include "zet/OutStream.h"
#include "zet/Time.h"
#include "zet/TimeSpan.h"

#include <chrono>
#include <concepts>
#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <ranges>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace sigil {
class IDigest;
}

namespace vexil {

class CS3ObjectSink;
struct CS3ObjectRange;
struct CS3PreparedKey;
struct CS3RequestToSign;
struct CS3SigningKeys;
struct CS3Verification;

/// A temporary object that owns text or bytes.
template <class Data>
concept S3TemporaryBytes =
    !std::is_reference_v<Data> && !std::ranges::borrowed_range<Data> &&
    (std::convertible_to<Data, std::string_view> || std::convertible_to<Data, std::span<const std::byte>>);

/// Client for the REST interface of Amazon S3 and compatible services, with signature version 2 or 4.
///
/// Each operation has two forms. `prepare...Request` only configures the caller's request. The operation
/// itself prepares and performs it, and tries again after temporary failures (performRequest()). Both begin
/// with CNetRequest::reset(): make your own settings after a preparation or, for the operations, in the hook
/// of setRequestSetup(). Response bodies go to the request's default receive buffer unless a stream is given.
///
/// Thread safety: one thread at a time, because the digest of a put is computed in the client's own
/// object. Copies share only the hook and the provider of keys and may be used on different threads. The
/// static members may be called from any thread.
///
/// Lifetime: after a preparation the request keeps a reference to the stream until it is reset. An operation
/// releases the stream when it ends. Memory to be put must not change until the transfer has ended.
///
/// Errors: CInvalidArgError for an empty bucket or object name, thrown before the request is changed, with
/// the `prepare` member as its function name. CS3Error for a refusal that the service explains, a
/// CS3SigningError if it asks for another version of the signature, another region or another clock.
/// CCURLError for other failed transfers and statuses. A connection that ends within the response headers
/// counts as a success, except for the getObject with a stream: check CNetRequest::isResponseComplete() if
/// that matters.
///
/// \code
/// CNetRequest request;
/// CS3Client client({.accessKeyId = "ACCESSKEY", .secretKey = "SECRET"});
/// client.putObject(request, "bucket", "greeting", "Hello", "text/plain");
/// client.getObject(request, "bucket", "greeting", 0, -1);
/// PC<TBuffer<unsigned char>> body = request.getDefaultReceiveBuffer();
/// \endcode
class VEXIL_API CS3Client : public virtual CBase {
public:
    /// The largest object that a service accepts in one PUT: 5 GiB.
    static constexpr int64 maxPutSize = 5LL * 1024 * 1024 * 1024;

    // ---- life and settings -------------------------------------------------------------------------------

    /// \param secure  true: https to s3.amazonaws.com; false: http. See setBaseURL() for other services
    CS3Client(const String& accessKeyId, const String& secretKey, bool secure);
    /// \param secure  true: https to s3.amazonaws.com; false: http. See setBaseURL() for other services
    explicit CS3Client(const CS3Credentials& credentials, bool secure = true)
        : CS3Client(credentials.accessKeyId, credentials.secretKey, secure) {
        m_sessionToken = credentials.sessionToken;
    }
    /// @{

    /// Not allowed: a text for `secure` would always mean true.
    template <class Object>
    CS3Client(const String& accessKeyId, const String& secretKey, const Object* secure) = delete;
    template <class Object>
    CS3Client(const CS3Credentials& credentials, const Object* secure) = delete;
    /// @}

    CS3Client(const CS3Client&) = default;
    CS3Client(CS3Client&&) = default;
    CS3Client& operator=(const CS3Client&) = default;
    CS3Client& operator=(CS3Client&&) = default;
    ~CS3Client() override;

    /// Sets the service's URL: scheme (http or https), host, optional port, optional "/", such as
    /// "http://127.0.0.1:9000".
    /// \throws CInvalidArgError for any other URL; the old URL stays
    void setBaseURL(const String& url);
    /// The same from host and port.
    /// \param host    name or address; IPv6 with or without brackets
    /// \param secure  true: https; false: http
    /// \throws CInvalidArgError for any other host, and for a port outside 1 to 65535; the old URL stays
    void setServer(const String& host, int port, bool secure = true);
    /// Not allowed: a text for `secure` would always mean true.
    template <class Object>
    void setServer(const String& host, int port, const Object* secure) = delete;
    /// The service's URL; always ends with "/".
    String getBaseURL() const { return m_baseURL; }

    /// @{

    /// The version of the signature. Default S3SignatureVersion::V2. There is no change from one to the other
    /// on refusal. docs/s3.md tells what differs.
    /// \throws CInvalidArgError for a number other than 2 and 4
    void setSignatureVersion(S3SignatureVersion version);
    void setSignatureVersion(int version) { setSignatureVersion(static_cast<S3SignatureVersion>(version)); }
    [[nodiscard]] S3SignatureVersion getSignatureVersion() const noexcept { return m_signatureVersion; }
    /// @}

    /// @{

    /// The region that version 4 signs for: letters, digits, "-" and "_". Default "us-east-1", which services
    /// without regions usually expect. Without setBaseURL() it also selects Amazon's endpoint.
    /// \throws CInvalidArgError for any other text
    void setRegion(const String& region);
    [[nodiscard]] String getRegion() const { return m_region; }
    /// @}

    /// The token of temporary keys (x-amz-security-token); "", the default, for permanent keys.
    /// \throws CInvalidArgError for a token with CR, LF or NUL
    void setSessionToken(const String& token);
    /// Where the keys of each signature come from; a reference is kept. Null, the default: the keys of the
    /// constructor and of setSessionToken(). A copy of the client uses the same provider.
    ///
    /// What the provider throws passes through the preparation or operation. Keys that are empty are a
    /// CError, keys with CR, LF or NUL a CInvalidArgError.
    void setCredentialsProvider(IS3CredentialsProvider* provider) { m_provider = provider; }
    /// Sends requests without a signature, as for objects that everybody may read. The keys have no effect
    /// then. Default false.
    void setAnonymous(bool anonymous) { m_isAnonymous = anonymous; }

    /// Where URLs have the name of the bucket. Default S3AddressingStyle::Automatic, which with setBaseURL()
    /// or version 2 means the path. With VirtualHosted a preparation throws a CInvalidArgError for version 2,
    /// and for a bucket whose name cannot be the beginning of a host name.
    void setAddressingStyle(S3AddressingStyle style) { m_addressingStyle = style; }
    /// What version 4 signs of the body of a put. Default S3PayloadSigning::Signed. With Unsigned the
    /// preparation of a put throws a CInvalidArgError over http.
    void setPayloadSigning(S3PayloadSigning signing) { m_payloadSigning = signing; }
    /// When the bytes of a stream are hashed, in putObject() and uploadPart() with a stream and their
    /// preparations. Default S3UploadCheck::BeforeSending. Bytes from memory are always hashed before.
    ///
    /// With WhileSending the stream is read once. There is no Content-MD5. With version 4 and the payload
    /// signing Signed the body is unsigned over https, and signed in chunks over http. The operation, or
    /// checkResponse(), compares the ETag of the response with the MD5 of what was sent, if it is an MD5
    /// (getContentMD5()), whatever setVerifyETag() says. A difference is a CError that names the object and
    /// both values. The service has then stored wrong bytes: put the object again, or delete it. For services
    /// that send other 32 hexadecimal digits leave it at BeforeSending.
    ///
    /// A stream that cannot seek is sent once: a failure after its first byte is thrown without another try.
    void setUploadCheck(S3UploadCheck check) { m_uploadCheck = check; }
    /// Which services get the checksum of CS3PutOptions in a trailer if the body is read once. Default
    /// S3ChecksumTrailer::AmazonOnly. Has no effect with version 2 and on anonymous requests.
    void setChecksumTrailer(S3ChecksumTrailer trailer) { m_checksumTrailer = trailer; }
    /// True if a body that is read once carries its checksum in a trailer.
    [[nodiscard]] bool sendsChecksumTrailers() const noexcept {
        return isVersion4() && !m_isAnonymous &&
               (m_isAmazon || m_checksumTrailer == S3ChecksumTrailer::Always);
    }

    /// Sets how often an operation is tried again after its first failure. Default 50; 0 and less: never.
    void setMaxRetries(int count) { m_maxRetries = count; }
    /// Tries again as a policy says, instead of by the fixed rule of performRequest() and setMaxRetries():
    /// also transfers that broke after an interim response (100) or inside a successful response (200), and
    /// responses that ended within their headers, with growing pauses and Retry-After. Each try is signed
    /// again. An output stream that has received something must be able to seek. A cancel token of the
    /// request ends a pause at once. nullopt, the default, for the fixed rule.
    void setRetryPolicy(std::optional<CRetryPolicy> policy) { m_retryPolicy = std::move(policy); }
    /// Keeps a record of all tries of each operation: getTries(), and the property "tries" of its error
    /// (CTryLog::fromError()). Default false. The record is that of performRequest(), so copyObject() within
    /// a bucket and a performRequest() of a derived class have none.
    void setRecordsTries(bool records) { m_recordsTries = records; }
    /// The tries of the last request of the last operation, also after a failure; without tries unless
    /// setRecordsTries() is set.
    [[nodiscard]] const CTryLog& getTries() const noexcept { return m_tries; }
    /// Counts the tries of performRequest() in the metrics of the program. Null, the default, for none. A
    /// reference is kept, also by copies of the client.
    void setMetrics(ITransferMetrics* metrics) { m_metrics = metrics; }
    /// Records the verbose log of every prepared request (CNetRequest::setVerbose). Default false.
    void setPrintDebugInfo(bool print) { m_printDebugInfo = print; }
    /// Checks the server's certificate (CNetRequest::setSSLVerifyPeer). Default true. The host name is
    /// checked in any case: see setVerifyCertificate().
    void setSSLVerifyPeer(bool verify) { m_sslVerifyPeer = verify; }
    /// Checks the server's certificate and its host name (CURLOPT_SSL_VERIFYPEER, CURLOPT_SSL_VERIFYHOST).
    /// Default true. It replaces the value of setSSLVerifyPeer(), which leaves the check of the host name on.
    void setVerifyCertificate(bool verify) {
        m_sslVerifyPeer = verify;
        m_verifiesHostName = verify;
    }
    /// Compares the content of objects with their ETag if it is an MD5 (getContentMD5()). putObject()
    /// compares after the response. The getObject() with a stream compares a whole object; it computes the
    /// MD5 while it writes. A difference is a CError. The `prepare...` members and getObject() into the
    /// request's buffer do not compare. Default false: some services that encrypt send 32 hexadecimal digits
    /// that are not an MD5.
    void setVerifyETag(bool verify) { m_verifiesETag = verify; }
    /// Sets a hook that every preparation calls, after the common settings and before those of the operation;
    /// a reference is kept. Headers that it adds to the request's list are signed. Null, the default, for no
    /// hook.
    ///
    /// A preparation throws a CInvalidArgError with the function name "CS3Client::setRequestSetup" if the
    /// hook has replaced URL, method, header list or receive data sink.
    void setRequestSetup(INetRequestSetup* setup) { m_requestSetup = setup; }

    // ---- objects -----------------------------------------------------------------------------------------

    /// @{

    /// Stores bytes from memory as an object and replaces an existing one. Content-MD5 lets the service check
    /// them.
    /// \param data         null only if `size` is 0; must not change until the transfer ends
    /// \param size         bytes, at least 0
    /// \param contentType  MIME type to keep with the object, "" for the service's default
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 const void* data, int size, const String& contentType);
    void putObject(CNetRequest& request, const String& bucket, const String& object, const void* data,
                   int size, const String& contentType);
    /// @}

    /// @{

    /// The same for sizes of other types.
    /// \throws CInvalidArgError for a size above 2147483647 bytes, the limit of a put from memory
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

    /// The same for a text and for a span of bytes.
    /// \throws CInvalidArgError for more than 2147483647 bytes
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 std::string_view text, const String& contentType = "") {
        preparePutObjectRequest(request, bucket, object, text.data(), text.size(), contentType);
    }
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 std::span<const std::byte> data, const String& contentType = "") {
        preparePutObjectRequest(request, bucket, object, data.data(), data.size(), contentType);
    }
    void putObject(CNetRequest& request, const String& bucket, const String& object, std::string_view text,
                   const String& contentType = "") {
        putObject(request, bucket, object, text.data(), text.size(), contentType);
    }
    void putObject(CNetRequest& request, const String& bucket, const String& object,
                   std::span<const std::byte> data, const String& contentType = "") {
        putObject(request, bucket, object, data.data(), data.size(), contentType);
    }
    /// @}

    /// @{

    /// Not allowed: null is not a text, a size needs a content type after it, and a prepared request must not
    /// refer to a temporary object.
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 std::nullptr_t data, const String& contentType = "") = delete;
    void putObject(CNetRequest& request, const String& bucket, const String& object, std::nullptr_t data,
                   const String& contentType = "") = delete;
    template <class Data, std::integral Size>
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 const Data& data, Size size) = delete;
    template <class Data, std::integral Size>
    void putObject(CNetRequest& request, const String& bucket, const String& object, const Data& data,
                   Size size) = delete;
    template <S3TemporaryBytes Data>
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 Data&& data, const String& contentType = "") = delete;
    /// @}

    /// @{

    /// Not allowed: a pointer to a counted object is not content. Pass the address of its bytes, or
    /// `*buffer`.
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

    /// Stores `size` bytes of a stream, beginning at its current position, without keeping them in memory.
    ///
    /// The stream is read twice: by the preparation for Content-MD5, then for the transfer; and once more for
    /// each further try. It must be able to seek and must not change until the transfer ends.
    /// \param data  not null
    /// \param size  0 to maxPutSize. Bytes after them are not used
    /// \throws CError, by the preparation, if the stream ends early
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 zet::IInStream* data, int64 size, const String& contentType);
    void putObject(CNetRequest& request, const String& bucket, const String& object, zet::IInStream* data,
                   int64 size, const String& contentType);
    /// @}

    /// @{

    /// The same for sizes of other types; without these, the overloads for memory would fit as well.
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

    /// The same with options, which may be written in braces: `{.storageClass = "STANDARD_IA"}`. An
    /// empty pair of braces is an empty content type.
    /// \throws CInvalidArgError for an option that cannot be sent
    template <std::integral Size, std::same_as<CS3PutOptions> Options = CS3PutOptions>
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 const void* data, Size size, const Options& options) {
        checkMemorySize(std::in_range<int>(size));
        preparePutMemory(request, bucket, object, data, static_cast<int>(size), options);
    }
    template <std::same_as<CS3PutOptions> Options = CS3PutOptions>
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 std::string_view text, const Options& options) {
        preparePutObjectRequest(request, bucket, object, text.data(), text.size(), options);
    }
    template <std::same_as<CS3PutOptions> Options = CS3PutOptions>
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 std::span<const std::byte> data, const Options& options) {
        preparePutObjectRequest(request, bucket, object, data.data(), data.size(), options);
    }
    template <std::integral Size, std::same_as<CS3PutOptions> Options = CS3PutOptions>
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 zet::IInStream* data, Size size, const Options& options) {
        preparePutStream(request, bucket, object, data, static_cast<int64>(size), options);
    }
    template <std::integral Size, std::same_as<CS3PutOptions> Options = CS3PutOptions>
    void putObject(CNetRequest& request, const String& bucket, const String& object, const void* data,
                   Size size, const Options& options) {
        checkMemorySize(std::in_range<int>(size));
        putMemory(request, bucket, object, data, static_cast<int>(size), options);
    }
    template <std::same_as<CS3PutOptions> Options = CS3PutOptions>
    void putObject(CNetRequest& request, const String& bucket, const String& object, std::string_view text,
                   const Options& options) {
        putObject(request, bucket, object, text.data(), text.size(), options);
    }
    template <std::same_as<CS3PutOptions> Options = CS3PutOptions>
    void putObject(CNetRequest& request, const String& bucket, const String& object,
                   std::span<const std::byte> data, const Options& options) {
        putObject(request, bucket, object, data.data(), data.size(), options);
    }
    template <std::integral Size, std::same_as<CS3PutOptions> Options = CS3PutOptions>
    void putObject(CNetRequest& request, const String& bucket, const String& object, zet::IInStream* data,
                   Size size, const Options& options) {
        putStream(request, bucket, object, data, static_cast<int64>(size), options);
    }
    /// @}

    /// @{

    /// Not allowed, as without options: null, a temporary object for a prepared request, and a pointer to a
    /// counted object as content.
    template <std::same_as<CS3PutOptions> Options = CS3PutOptions>
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 std::nullptr_t data, const Options& options) = delete;
    template <std::same_as<CS3PutOptions> Options = CS3PutOptions>
    void putObject(CNetRequest& request, const String& bucket, const String& object, std::nullptr_t data,
                   const Options& options) = delete;
    template <S3TemporaryBytes Data, std::same_as<CS3PutOptions> Options = CS3PutOptions>
    void preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 Data&& data, const Options& options) = delete;
    template <zet::ObjectPointer Data, class Size, std::same_as<CS3PutOptions> Options = CS3PutOptions>
    requires(!std::convertible_to<const Data&, zet::IInStream*>) void preparePutObjectRequest(
        CNetRequest& request, const String& bucket, const String& object, const Data& data, Size size,
        const Options& options) = delete;
    template <zet::ObjectPointer Data, class Size, std::same_as<CS3PutOptions> Options = CS3PutOptions>
    requires(!std::convertible_to<const Data&, zet::IInStream*>) void putObject(
        CNetRequest& request, const String& bucket, const String& object, const Data& data, Size size,
        const Options& options) = delete;
    /// @}

    /// @{

    /// Reads an object, or a range of it (RFC 9110, 14).
    /// \param offset  first byte, from 0
    /// \param length  bytes; -1: up to the end. 0 fetches the headers only (HEAD)
    void prepareGetObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 int64 offset, int64 length);
    void getObject(CNetRequest& request, const String& bucket, const String& object, int64 offset,
                   int64 length);
    /// @}

    /// @{

    /// Reads an object, or a range of it, into a stream, beginning at the stream's current position.
    ///
    /// Each further try begins at that position again, for which the stream must be able to seek. Only the
    /// body of a successful response reaches the stream; the body of a refusal goes to the request's default
    /// receive buffer. After a failed transfer the stream may contain the beginning of the body.
    /// \param data  not null
    /// \throws CInvalidArgError for a null stream and for a negative or too large range
    /// \throws CError if a range was requested and the response is not that range (a status other than 206, a
    ///         different or missing Content-Range), or if the whole object was requested and the response is
    ///         a part (206). By getObject also if the response ended within its headers, the body does not
    ///         have the announced length, or setVerifyETag() found different content
    void prepareGetObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 int64 offset, int64 length, zet::IOutStream* data);
    void getObject(CNetRequest& request, const String& bucket, const String& object, int64 offset,
                   int64 length, zet::IOutStream* data);
    /// @}

    /// @{

    /// The same with options.
    /// \throws CInvalidArgError for an option that cannot be sent
    /// \throws CError also if a condition is not met: see isNotModified() and isPreconditionFailed()
    void prepareGetObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 int64 offset, int64 length, const CS3GetOptions& options);
    void getObject(CNetRequest& request, const String& bucket, const String& object, int64 offset,
                   int64 length, const CS3GetOptions& options);
    void prepareGetObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                 int64 offset, int64 length, zet::IOutStream* data,
                                 const CS3GetOptions& options);
    void getObject(CNetRequest& request, const String& bucket, const String& object, int64 offset,
                   int64 length, zet::IOutStream* data, const CS3GetOptions& options);
    /// @}

    /// Reads a whole object into a stream as getObject() does, and compares the bytes with the best value
    /// that the service tells: its SHA-256, its MD5 (as the ETag), its CRC32C, or one of these of the parts
    /// with which it was uploaded. It asks for checksums (CS3GetOptions::asksForChecksum), and does not
    /// depend on setVerifyETag(). For large objects use CS3TransferManager::downloadFile().
    ///
    /// The size of the parts is that of the metadata "vexil-part-size"
    /// (CS3TransferSettings::storesPartSize). Otherwise two HEADs ask for it, and the object is requested
    /// again, only if its ETag is still the same. If it remains unknown, nothing is compared:
    /// CS3DownloadResult::check tells that. **The bytes that the stream got are right only if this function
    /// returns.**
    /// \param data  not null
    /// \throws CInvalidArgError also for a part number
    /// \throws CError of ErrorKind::InvalidData if the content is another one; it names the object and both
    ///         values
    /// \throws CS3Error also if the object is replaced between two requests: see isPreconditionFailed()
    CS3DownloadResult getVerifiedObject(CNetRequest& request, const String& bucket, const String& object,
                                        zet::IOutStream* data, const CS3GetOptions& options = {});

    /// Requests an object's headers (HEAD).
    void prepareGetObjectHeadersRequest(CNetRequest& request, const String& bucket, const String& object);
    /// \return the response headers by lower-case name; a reference into the request, valid until its next
    ///         transfer
    const TMap<String, String>& getObjectHeaders(CNetRequest& request, const String& bucket,
                                                 const String& object);
    /// @{

    /// The same with options; their errors are those of getObject().
    void prepareGetObjectHeadersRequest(CNetRequest& request, const String& bucket, const String& object,
                                        const CS3GetOptions& options);
    const TMap<String, String>& getObjectHeaders(CNetRequest& request, const String& bucket,
                                                 const String& object, const CS3GetOptions& options);
    /// @}

    /// The size of an object in bytes; -1 if it does not exist.
    /// \throws CError "Error: Content-Length header was expected but not included in response."
    [[nodiscard]] int64 getObjectSize(CNetRequest& request, const String& bucket, const String& object);
    /// True if the object exists, false for the status 404. Every other failure is thrown.
    [[nodiscard]] bool objectExists(CNetRequest& request, const String& bucket, const String& object);

    /// Copies an object within its bucket; the service copies, nothing is downloaded.
    void prepareCopyObjectRequest(CNetRequest& request, const String& bucket, const String& existingObject,
                                  const String& newObject);
    /// Tries only once: a service that is slow to respond may still be copying.
    /// \throws CS3Error with status 0 for an error inside a successful response
    /// \throws CCURLError for a failing status
    void copyObject(CNetRequest& request, const String& bucket, const String& existingObject,
                    const String& newObject);

    /// @{

    /// Copies an object of at most 5 GiB, also to another bucket and with other options. It tries again after
    /// temporary failures. The result is the ETag of the copy; "" if the service sends none.
    /// \throws CInvalidArgError for an option that cannot be sent
    /// \throws CS3Error with status 0 for an error inside a successful response
    /// \throws CError also if a condition is not met: see isPreconditionFailed()
    void prepareCopyObjectRequest(CNetRequest& request, const CS3CopySource& source, const String& bucket,
                                  const String& object, const CS3CopyOptions& options = {});
    String copyObject(CNetRequest& request, const CS3CopySource& source, const String& bucket,
                      const String& object, const CS3CopyOptions& options = {});
    /// @}

    /// Copies an object of any size. It reads the headers of the source (HEAD), then copies with one request,
    /// or one part after the other; see CS3CopyOptions::partsAbove. A source that changes meanwhile is an
    /// error: isPreconditionFailed(). After a failure the parts are deleted; a failure of that is logged.
    ///
    /// A copy in parts gets content headers, metadata and tags from the options. To keep those of the source
    /// it reads them first. Metadata that CS3PutOptions cannot carry is then an error. Some services ignore
    /// the tags of an upload in parts: the log then has a warning.
    /// \return the ETag of the copy; "" if the service sends none
    /// \throws the errors of getObjectHeaders(), copyObject() and completeMultipartUpload()
    String copyLargeObject(CNetRequest& request, const CS3CopySource& source, const String& bucket,
                           const String& object, const CS3CopyOptions& options = {});

    /// @{

    /// The tags of an object, by name.
    /// \param versionId  "" for the newest version
    void prepareGetObjectTagsRequest(CNetRequest& request, const String& bucket, const String& object,
                                     const String& versionId = "");
    [[nodiscard]] TMap<String, String> getObjectTags(CNetRequest& request, const String& bucket,
                                                     const String& object, const String& versionId = "");
    /// @}

    /// @{

    /// Deletes an object. For services, deleting a missing object is a success.
    void prepareDeleteObjectRequest(CNetRequest& request, const String& bucket, const String& object);
    void deleteObject(CNetRequest& request, const String& bucket, const String& object);
    /// @}

    /// @{

    /// Deletes up to 1,000 objects with one request. Missing objects are deleted successfully. A further try
    /// deletes all of them again.
    ///
    /// A prepared request that was performed elsewhere: read the result from its default receive buffer with
    /// CS3DeleteResult, after checkResponse().
    ///
    /// The result is never null. **Look at its errors**: the request succeeds although objects were not
    /// deleted.
    /// \param keys  1 to 1,000 objects, each with isKeyForXML()
    /// \throws CInvalidArgError for other keys
    /// \throws CS3Error with status 0 for an error inside a successful response, CError for a response that
    ///         cannot be read: any of the objects may have been deleted
    void prepareDeleteObjectsRequest(CNetRequest& request, const String& bucket, const TArray<String>& keys,
                                     S3DeleteMode mode = S3DeleteMode::Quiet);
    [[nodiscard]] P<CS3DeleteResult> deleteObjects(CNetRequest& request, const String& bucket,
                                                   const TArray<String>& keys,
                                                   S3DeleteMode mode = S3DeleteMode::Quiet);
    /// @}

    /// @{

    /// The same for versions of objects. A version is gone afterwards, also if it is the latest.
    void prepareDeleteObjectVersionsRequest(CNetRequest& request, const String& bucket,
                                            const TArray<CS3VersionId>& versions,
                                            S3DeleteMode mode = S3DeleteMode::Quiet);
    [[nodiscard]] P<CS3DeleteResult> deleteObjectVersions(CNetRequest& request, const String& bucket,
                                                          const TArray<CS3VersionId>& versions,
                                                          S3DeleteMode mode = S3DeleteMode::Quiet);
    /// @}

    /// @{

    /// Deletes one version of an object, or a delete marker: the object is then there again.
    /// \param versionId  not ""; "null" for an object that was stored without versions
    void prepareDeleteObjectVersionRequest(CNetRequest& request, const String& bucket, const String& object,
                                           const String& versionId);
    void deleteObjectVersion(CNetRequest& request, const String& bucket, const String& object,
                             const String& versionId);
    /// @}

    /// True if deleteObjects() can delete an object: its key is not empty, and XML 1.0 can carry it. Not so
    /// control characters except tab, line feed and carriage return, U+FFFE, U+FFFF and unpaired surrogates.
    [[nodiscard]] static bool isKeyForXML(const String& key);

    // ---- objects in several parts ------------------------------------------------------------------------

    /// @{

    /// Begins an object that is uploaded in parts: for more than maxPutSize, or for several parts at once.
    /// The service keeps the parts, and charges for them, until completeMultipartUpload() or
    /// abortMultipartUpload(). A further try may leave an upload without parts. The result is the ID of the
    /// upload, never "".
    /// \throws CError if the response contains none
    void prepareCreateMultipartUploadRequest(CNetRequest& request, const String& bucket, const String& object,
                                             const String& contentType = "");
    [[nodiscard]] String createMultipartUpload(CNetRequest& request, const String& bucket,
                                               const String& object, const String& contentType = "");
    /// @}

    /// @{

    /// The same with options. The conditions are not sent: give the same options to
    /// completeMultipartUpload(). Give a customer key to each part, too.
    /// \throws CInvalidArgError for an option that cannot be sent
    template <std::same_as<CS3PutOptions> Options = CS3PutOptions>
    void prepareCreateMultipartUploadRequest(CNetRequest& request, const String& bucket, const String& object,
                                             const Options& options) {
        prepareCreateUpload(request, bucket, object, options);
    }
    template <std::same_as<CS3PutOptions> Options = CS3PutOptions>
    [[nodiscard]] String createMultipartUpload(CNetRequest& request, const String& bucket,
                                               const String& object, const Options& options) {
        return createUpload(request, bucket, object, options);
    }
    /// @}

    /// @{

    /// Stores `size` bytes of a stream as a part, which replaces an earlier one of the same number. The rules
    /// for the stream are those of putObject() with a stream. The result is the ETag of the part, for
    /// completeMultipartUpload(), never "".
    /// \param partNumber  1 to 10,000
    /// \param size        0 to maxPutSize. Services refuse completion if a part before the last one has less
    ///                    than 5 MiB
    /// \throws CError if the response contains no ETag, or if setVerifyETag() found another content
    void prepareUploadPartRequest(CNetRequest& request, const String& bucket, const String& object,
                                  const String& uploadId, int partNumber, zet::IInStream* data, int64 size);
    String uploadPart(CNetRequest& request, const String& bucket, const String& object,
                      const String& uploadId, int partNumber, zet::IInStream* data, int64 size);
    /// @}

    /// @{

    /// The same for an upload with a customer key.
    /// \throws CInvalidArgError for a key that cannot be used
    void prepareUploadPartRequest(CNetRequest& request, const String& bucket, const String& object,
                                  const String& uploadId, int partNumber, zet::IInStream* data, int64 size,
                                  const CS3CustomerKey& customerKey);
    String uploadPart(CNetRequest& request, const String& bucket, const String& object,
                      const String& uploadId, int partNumber, zet::IInStream* data, int64 size,
                      const CS3CustomerKey& customerKey);
    /// @}

    /// @{

    /// The same with options, which may be written in braces: `{.checksum = S3Checksum::CRC32C}`. The result
    /// is what completeMultipartUpload() needs. Begin the upload with the same checksum (CS3PutOptions).
    /// \throws CInvalidArgError for an option that cannot be used
    template <std::same_as<CS3PartOptions> Options = CS3PartOptions>
    void prepareUploadPartRequest(CNetRequest& request, const String& bucket, const String& object,
                                  const String& uploadId, int partNumber, zet::IInStream* data, int64 size,
                                  const Options& options) {
        preparePart(request, bucket, object, {uploadId, partNumber, options}, data, size);
    }
    template <std::same_as<CS3PartOptions> Options = CS3PartOptions>
    CS3UploadedPart uploadPart(CNetRequest& request, const String& bucket, const String& object,
                               const String& uploadId, int partNumber, zet::IInStream* data, int64 size,
                               const Options& options) {
        return storePart(request, bucket, object, {uploadId, partNumber, options}, data, size);
    }
    /// @}

    /// @{

    /// Makes the object of its parts. It may take minutes: the service may send white space until it is done.
    ///
    /// If the connection fails, the object may exist nevertheless. A further try then fails with the code
    /// NoSuchUpload. The result is the ETag of the object; "" if the service sends none.
    /// \param parts  1 to 10,000, in ascending order of their numbers
    /// \throws CS3Error with status 0 for an error inside a successful response: the parts still exist
    /// \throws CError for a response without a document
    void prepareCompleteMultipartUploadRequest(CNetRequest& request, const String& bucket,
                                               const String& object, const String& uploadId,
                                               const TArray<CS3UploadedPart>& parts);
    String completeMultipartUpload(CNetRequest& request, const String& bucket, const String& object,
                                   const String& uploadId, const TArray<CS3UploadedPart>& parts);
    /// @}

    /// @{

    /// The same with the options of the beginning. Only its conditions and the customer key are sent, and the
    /// checksums of the parts. If a condition is not met, the parts still exist: see isPreconditionFailed().
    /// \throws CInvalidArgError also for a part with a checksum if the options have none
    /// \throws CError if all parts have a checksum and the service returns another one for the object, which
    ///         then exists
    void prepareCompleteMultipartUploadRequest(CNetRequest& request, const String& bucket,
                                               const String& object, const String& uploadId,
                                               const TArray<CS3UploadedPart>& parts,
                                               const CS3PutOptions& options);
    String completeMultipartUpload(CNetRequest& request, const String& bucket, const String& object,
                                   const String& uploadId, const TArray<CS3UploadedPart>& parts,
                                   const CS3PutOptions& options);
    /// @}

    /// @{

    /// Deletes the parts of an upload. A part that is on its way may be stored afterwards: call it when all
    /// have ended.
    void prepareAbortMultipartUploadRequest(CNetRequest& request, const String& bucket, const String& object,
                                            const String& uploadId);
    void abortMultipartUpload(CNetRequest& request, const String& bucket, const String& object,
                              const String& uploadId);
    /// @}

    /// @{

    /// Lists one page of the stored parts of an upload that is neither complete nor aborted. listAllParts()
    /// reads all pages.
    /// \param partNumberMarker  begin after this number; 0 for the first part
    /// \param maxParts          parts per page; -1 for the service's default, usually 1,000
    /// \throws CS3Error with the code NoSuchUpload if there is no such upload, with status 0 for an error
    ///         inside a successful response; CError for a response that cannot be read
    void prepareListPartsRequest(CNetRequest& request, const String& bucket, const String& object,
                                 const String& uploadId, int partNumberMarker = 0, int maxParts = -1);
    [[nodiscard]] P<CS3PartList> listParts(CNetRequest& request, const String& bucket, const String& object,
                                           const String& uploadId, int partNumberMarker = 0,
                                           int maxParts = -1);
    /// @}

    /// All stored parts of an upload, in ascending order of their numbers.
    /// \throws the errors of listParts(); a CError if the numbers do not ascend or a page does not go on
    [[nodiscard]] TArray<CS3StoredPart> listAllParts(CNetRequest& request, const String& bucket,
                                                     const String& object, const String& uploadId);

    /// @{

    /// Copies a range of an object as a part, without downloading it. The result is the ETag of the part, for
    /// completeMultipartUpload(), never "".
    /// \param offset       first byte of the source, from 0
    /// \param length       1 to maxPutSize bytes; -1: the whole source, with the offset 0
    /// \param customerKey  that of the upload
    /// \throws CS3Error with status 0 for an error inside a successful response
    void prepareUploadPartCopyRequest(CNetRequest& request, const String& bucket, const String& object,
                                      const String& uploadId, int partNumber, const CS3CopySource& source,
                                      int64 offset, int64 length, const CS3CustomerKey& customerKey = {});
    String uploadPartCopy(CNetRequest& request, const String& bucket, const String& object,
                          const String& uploadId, int partNumber, const CS3CopySource& source, int64 offset,
                          int64 length, const CS3CustomerKey& customerKey = {});
    /// @}

    /// @{

    /// The result of a prepared request that was performed elsewhere: call them after checkResponse().
    /// \throws the errors of the operations
    [[nodiscard]] static String readUploadID(const TBuffer<unsigned char>& body);
    [[nodiscard]] static String readCompletedETag(const TBuffer<unsigned char>& body);
    /// \return in base64, "-" and the number of the parts; "" if the service sends none of this kind
    [[nodiscard]] static String readCompletedChecksum(const TBuffer<unsigned char>& body,
                                                      S3Checksum checksum);
    [[nodiscard]] static String readCopiedETag(const TBuffer<unsigned char>& body);
    [[nodiscard]] static String readCopiedPartETag(const TBuffer<unsigned char>& body);
    [[nodiscard]] static TMap<String, String> readObjectTags(const TBuffer<unsigned char>& body);
    /// @}

    // ---- listings ----------------------------------------------------------------------------------------

    /// @{

    /// Lists one page of objects in ascending order of their keys. CS3ObjectEnum walks over all pages.
    /// \param prefix     only keys that begin with it; "" for all
    /// \param delimiter  groups keys that contain it after the prefix into common prefixes; "" for no groups
    /// \param marker     begin after this key; "" for the first key
    /// \param maxKeys    objects and common prefixes per page; -1 for the service's default
    void prepareListObjectsRequest(CNetRequest& request, const String& bucket, const String& prefix,
                                   const String& delimiter, const String& marker, int maxKeys);
    [[nodiscard]] P<CS3ListObjectsResult> listObjects(CNetRequest& request, const String& bucket,
                                                      const String& prefix, const String& delimiter,
                                                      const String& marker, int maxKeys);
    /// @}

    /// @{

    /// The same with `encoding-type=url`: the service percent-encodes the names, so that none is changed on
    /// the way. XML alone changes or cannot represent leading white space, control characters and carriage
    /// returns. A service that does not support the argument sends plain names; see
    /// CS3ListObjectsResult::fromEncoded().
    void prepareListEncodedObjectsRequest(CNetRequest& request, const String& bucket, const String& prefix,
                                          const String& delimiter, const String& marker, int maxKeys);
    [[nodiscard]] P<CS3ListObjectsResult> listEncodedObjects(CNetRequest& request, const String& bucket,
                                                             const String& prefix, const String& delimiter,
                                                             const String& marker, int maxKeys);
    /// @}

    /// @{

    /// Lists one page of objects with version 2 of the listing (`list-type=2`), which goes on with a token.
    /// CS3ObjectEnum::setListVersion() walks over all pages. Services that do not know it send the first page
    /// again and again, without a token.
    /// \throws CS3Error with status 0 for an error inside a successful response
    void prepareListObjectsV2Request(CNetRequest& request, const String& bucket,
                                     const CS3ListObjectsV2Query& query = {});
    [[nodiscard]] P<CS3ListObjectsV2Result> listObjectsV2(CNetRequest& request, const String& bucket,
                                                          const CS3ListObjectsV2Query& query = {});
    /// @}

    /// @{

    /// Lists one page of the versions of objects, delete markers included. CS3VersionEnum walks over all
    /// pages.
    /// \throws CInvalidArgError for an ID as marker without a key
    /// \throws CS3Error with status 0 for an error inside a successful response
    void prepareListVersionsRequest(CNetRequest& request, const String& bucket,
                                    const CS3ListingQuery& query = {});
    [[nodiscard]] P<CS3ListVersionsResult> listVersions(CNetRequest& request, const String& bucket,
                                                        const CS3ListingQuery& query = {});
    /// @}

    /// @{

    /// Lists one page of the uploads that are neither complete nor aborted. CS3UploadEnum walks over all
    /// pages. The names are requested without `encoding-type=url`.
    /// \throws CInvalidArgError for an ID as marker without a key
    /// \throws CS3Error with status 0 for an error inside a successful response
    void prepareListUploadsRequest(CNetRequest& request, const String& bucket,
                                   const CS3ListingQuery& query = {});
    [[nodiscard]] P<CS3UploadList> listUploads(CNetRequest& request, const String& bucket,
                                               const CS3ListingQuery& query = {});
    /// @}

    // ---- buckets -----------------------------------------------------------------------------------------

    /// @{

    /// Makes a bucket in the region of setRegion(). Its name is sent (LocationConstraint) unless it is
    /// "us-east-1", the default: Amazon refuses that name, and other services may know no regions. A further
    /// try may find the bucket of an earlier one: BucketAlreadyOwnedByYou.
    void prepareCreateBucketRequest(CNetRequest& request, const String& bucket);
    void createBucket(CNetRequest& request, const String& bucket);
    /// @}

    /// @{

    /// Deletes a bucket, which must be empty (BucketNotEmpty): without objects, versions and, for some
    /// services, uploads in progress. A further try may find that it does not exist. deleteBucket() forgets
    /// the region that the client has learnt for the bucket.
    void prepareDeleteBucketRequest(CNetRequest& request, const String& bucket);
    void deleteBucket(CNetRequest& request, const String& bucket);
    /// @}

    /// @{

    /// Lists the buckets of the account.
    /// \param continuationToken  from the page before; "" for the first page, which is usually the only one
    void prepareListBucketsRequest(CNetRequest& request, const String& continuationToken = "");
    [[nodiscard]] P<CS3BucketList> listBuckets(CNetRequest& request, const String& continuationToken = "");
    /// @}

    /// @{

    /// The region of a bucket as the service names it. "us-east-1" if the service sends no name, "eu-west-1"
    /// for the old name "EU". readBucketLocation() reads the response to a prepared request that was
    /// performed elsewhere.
    /// \throws CS3Error with status 0 for an error inside a successful response
    void prepareGetBucketLocationRequest(CNetRequest& request, const String& bucket);
    [[nodiscard]] String getBucketLocation(CNetRequest& request, const String& bucket);
    [[nodiscard]] static String readBucketLocation(const TBuffer<unsigned char>& body);
    /// @}

    /// @{

    /// True if the bucket exists and these keys may use it, false for the status 404. Every other failure is
    /// thrown, also 403: the bucket exists and belongs to somebody else.
    void prepareHeadBucketRequest(CNetRequest& request, const String& bucket);
    [[nodiscard]] bool bucketExists(CNetRequest& request, const String& bucket);
    /// @}

    /// @{

    /// Lets a bucket keep the old versions of its objects, or stops it: versions that exist stay.
    void prepareSetBucketVersioningRequest(CNetRequest& request, const String& bucket, bool isEnabled);
    void setBucketVersioning(CNetRequest& request, const String& bucket, bool isEnabled);
    /// @}

    // ---- content and addresses ----------------------------------------------------------------------------

    /// The MD5 of an object's content in base64, as in the header Content-MD5, from the headers of the
    /// response to a put, a get or a head. "" if the ETag is not an MD5: it does not have 32 hexadecimal
    /// digits (objects of several parts have a "-" in it), is weak ("W/"), or the object is encrypted with a
    /// key of the customer or of a key service (x-amz-server-side-encryption other than AES256).
    /// \param responseHeaders  by lower-case name, as CNetRequest::getResponseHeaderMap() returns them
    [[nodiscard]] static String getContentMD5(const TMap<String, String>& responseHeaders);

    /// The URL of a bucket, without "/" at the end.
    [[nodiscard]] String getBucketURL(const String& bucket) const;
    /// The URL of an object. Both names are escaped completely: with version 2 a "/" in a key becomes "%2F".
    /// With version 4 it stays, because the service signs it as it is.
    /// \param request  used only for its urlEscape()
    [[nodiscard]] String getObjectURL(CNetRequest& request, const String& bucket, const String& object) const;

    /// The URL of an object with a signature in its query: everybody who has it can send the request until it
    /// expires, for example with a browser. Nothing is sent. The URL is a secret.
    /// \param method    "GET", "PUT", "HEAD" or "DELETE"
    /// \param validity  1 second or more; with version 4 at most 7 days. Rounded toward zero to seconds. It
    ///                  ends earlier if the keys are temporary and expire
    /// \throws CInvalidArgError for other arguments, and for an anonymous client
    [[nodiscard]] String makePresignedURL(const String& method, const String& bucket, const String& object,
                                          const zet::CTimeSpan& validity);

    // ---- tries -------------------------------------------------------------------------------------------

    /// Performs a prepared request. After each failure that shouldRetryRequest() allows it waits 100 ms and
    /// tries again, up to the maximum of retries. Each retry is logged. With version 2 the request is not
    /// signed again; its Date stays. With version 4 each try is signed again.
    /// \return the number of the try that succeeded, from 1
    /// \throws the last failure: a CS3Error if the response contains one, otherwise the error of perform()
    ///
    /// A derived class may override it to retry in another way: every operation except copyObject() calls it.
    virtual int performRequest(CNetRequest& request);

    /// Checks a request that a preparation of this client has set up and that was performed elsewhere, such
    /// as by an asynchronous manager. Call it when the transfer has ended. It makes the checks of the
    /// operations, but does not try again, and does not compare a received body with its length or ETag.
    /// \throws the errors of performRequest(); a CError if the response ended within its headers, if its
    ///         status is not a success, or if setVerifyETag() found another content after a put; the CS3Error
    ///         of checkCopyObjectResult() after a copy
    void checkResponse(CNetRequest& request) const;

    /// After a failed transfer of a request that version 4 has signed: reads from the response for which
    /// region, or for which time, the service wants a signature, and signs for these from now on. The region
    /// counts for one bucket. The clock is corrected by at most 24 hours. Both are told in the log. The
    /// operations call it, at most twice for one request, and try once more; code that performs prepared
    /// requests in another way may do so, too.
    /// \return whether the request can succeed if it is prepared, or signed, again
    bool learnFromRefusal(CNetRequest& request, const std::exception& error);

    /// After a redirect (301, 302, 307 or 308) of a request of version 4 to the same scheme, host and port:
    /// sets the new URL on the request. The operations follow at most 5 redirects in this way. Code that
    /// performs prepared requests in another way must sign the request again (signAgain()), and count.
    /// \return whether the request has a new URL; false for version 2, for which libcurl follows redirects
    bool followRedirect(CNetRequest& request, const std::exception& error);

    /// Throws a CS3Error with status 0 if the body of a successful response to a copy contains an error.
    /// \param body  must not be null
    void checkCopyObjectResult(const TBuffer<unsigned char>* body);

    /// True if another try may succeed. If there is an S3 code, it alone decides (InternalError, SlowDown,
    /// IncompleteBody, InvalidDigest, OperationAborted, RequestTimeTooSkewed); otherwise the HTTP status
    /// (500, 503, 400, 409), if there is one; otherwise the CURLcode (7, 28, 52, 55, 56). So a transfer that
    /// fails in the body after the status 200 is not tried again.
    [[nodiscard]] static bool shouldRetryRequest(const std::exception& error);
    /// True if the service asks for fewer requests: S3 code SlowDown or, without an S3 code, status 503.
    [[nodiscard]] static bool shouldSlowDown(const std::exception& error);
    /// True if the object or bucket does not exist: status 404, or S3 code NoSuchKey or NoSuchBucket.
    [[nodiscard]] static bool isNotFoundError(const std::exception& error);
    /// True if the condition of a put, a get or a copy is not met: status 412, or S3 code PreconditionFailed.
    /// For a put with `ifNoneMatch = "*"`: the object exists.
    [[nodiscard]] static bool isPreconditionFailed(const std::exception& error);
    /// True if a get was refused because the object has not changed: status 304, or S3 code NotModified.
    [[nodiscard]] static bool isNotModified(const std::exception& error);
    /// Gets the S3 code and the HTTP status (decimal) of an error; each is "" if the error has none.
    static void extractErrorCodes(const std::exception& error, String& s3Code, String& httpCode);
    /// Throws the CS3Error that the body of a failed response contains, with the status of `error`. Returns
    /// if `error` is not a CCURLError with a response code or if the body is empty. If the body is not an S3
    /// error document, logs it as an element "S3ResponseData" and returns.
    static void tryThrowBetterError(std::exception& error, const TBuffer<unsigned char>& body);
    /// The same for the body that `request` has received. A CS3SigningError if the service asks for another
    /// version of the signature, another region or another clock.
    static void tryThrowBetterError(std::exception& error, CNetRequest& request);

    // ---- signature ---------------------------------------------------------------------------------------

    /// Adds the Authorization header for everything that is set on the request. Call it last: later changes
    /// are not signed. Use it for requests that you set up yourself; the preparations call it.
    ///
    /// Version 2 signs the header Date. Version 4 adds x-amz-date unless the list has it, and signs
    /// x-amz-content-sha256, which a request with a body must have. A list that version 4 has signed already
    /// is replaced, as by signAgain().
    /// \throws CError "Invalid Amazon S3 query URL: '...'." if the URL has no path (version 2) or no host
    void signRequest(CNetRequest* request);
    /// Signs a request again, with the time and the keys of now: for a further try, or if it was prepared
    /// long ago. Services refuse a request that is older than 15 minutes. Replaces the list of headers; time,
    /// token and Authorization are new in it.
    void signAgain(CNetRequest& request);
    /// The text whose hash version 4 signs: method, path, query, headers, their names, and the hash of the
    /// body; to compare with what a service reports when it refuses a signature.
    static String getCanonicalRequest(CNetRequest* request);
    /// Version 2: base64 of the HMAC-SHA1 over getStringToSign() with the secret key.
    String getSignature(CNetRequest* request);
    /// The text that version 2 signs: method, Content-MD5, Content-Type and Date, one line each, then the
    /// headers that begin with "x-amz-", then the resource. The date line is empty if there is an x-amz-date
    /// header.
    static String getStringToSign(CNetRequest* request);
    /// A line "name:value" for each header whose lower-case name begins with "x-amz-", in ascending order.
    static String getCanonicalizedAMZHeaders(const TMap<String, String>& headers);
    /// The part of a URL that is signed: its path unchanged, and its query only if that contains neither "="
    /// nor "&", such as "?acl".
    static String getCanonicalizedResource(const String& url);
    /// Replaces each line feed and the white space after it with one space. White space before it stays, also
    /// a carriage return.
    static void makeSingleLineHeaderValue(String& value);

protected:
    /// First step of every preparation: resets the request, sets URL, redirects, verbose log, certificate
    /// check and a list with the header of the time (Date, x-amz-date), then calls the hook. With version 4
    /// libcurl follows no redirect, because a signature holds for one host.
    /// \return the list, already installed on the request, for further headers
    P<CNetHeaders> beginPrepareRequest(CNetRequest& request, const String& url);
    /// Last step of every preparation: signs.
    void finishPrepareRequest(CNetRequest& request);

    /// The value with exactly this name; "" if there is none.
    static String getHeaderFromMap(const TMap<String, String>& headers, const String& name);

    /// Performs a request once. With version 4 it is signed and sent again if learnFromRefusal() has learnt
    /// something, and after a redirect within the same host.
    /// \throws the errors of CNetRequest::perform()
    void performSigned(CNetRequest& request);

    /// The time for the Date header, which services compare with their own time. Default: the system clock.
    virtual zet::CTime getCurrentTime() const;
    /// Called between two tries. Default: the thread sleeps.
    virtual void waitBeforeRetry(int milliseconds);
    /// True if performRequest() should try again after this failure. Logs the failure if another try could
    /// succeed, also when the retries are used up. For code that performs prepared requests in another way.
    /// \param tries  number of tries so far, from 1
    [[nodiscard]] bool logAndDecideRetry(const CError& error, int tries) const;

private:
    // Copies get their own digest: two copies on different threads must not share one.
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

    /// The hashes of a body, as its headers have them.
    struct CBodyHashes {
        String contentMD5;                        ///< "" if it is computed while the body is sent
        String payload;                           ///< x-amz-content-sha256; "" with version 2
        std::pair<String, String> checksum = {};  ///< a header; "" for none
    };

    /// What is computed from a body beside its MD5.
    struct CBodyDigests {
        P<sigil::IDigest> payload;  ///< null if it is not signed
        S3Checksum kind;
        P<sigil::IDigest> checksum;  ///< null for none; may be `payload`
    };

    /// The body of a put from a stream.
    struct CUploadBody {
        P<CNetRequest::IDataSource> source;
        int64 size;         ///< as it is sent
        int64 decodedSize;  ///< without the framing of chunks; -1 if it is not sent in chunks
        CBodyHashes hashes;
    };

    struct CPart {
        const String& uploadId;
        int number;
        const CS3PartOptions& options;
    };

    // It continues a listing after a key that is not valid text.
    friend class CS3ObjectEnum;
    /// Arguments of a listing, except the bucket.
    struct CListQuery {
        const String& prefix;
        const String& delimiter;
        const String& escapedMarker;
        int maxKeys;
        bool isEncoded;
    };

    /// Whether version 2 signs the arguments in the query that select a part of a resource.
    enum class S3Subresources { Unsigned, Signed };

    /// What differs between the listings of versions and of uploads.
    struct CListingNames {
        const char* subresource;
        const char* idMarker;
        const char* maxEntries;
        bool isEncoded;
    };

    static void checkMemorySize(bool isInRange);
    void prepareListing(const char* place, CNetRequest& request, const String& bucket,
                        const CListingNames& names, const CS3ListingQuery& query);
    void prepareDeletion(const char* place, CNetRequest& request, const String& bucket,
                         const TArray<CS3VersionId>& versions, S3DeleteMode mode);
    void prepareList(const char* place, CNetRequest& request, const String& bucket, const CListQuery& query);
    P<CS3ListObjectsResult> listLeniently(CNetRequest& request, const String& bucket,
                                          const CListQuery& query);
    P<CNetHeaders> beginPrepareObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                             const String& query = "");
    void sign(CNetRequest& request, S3Subresources subresources);
    P<CNetHeaders> beginPrepareBucketRequest(CNetRequest& request, const String& bucket, const String& query);
    void preparePutMemory(CNetRequest& request, const String& bucket, const String& object, const void* data,
                          int size, const CS3PutOptions& options);
    void preparePutStream(CNetRequest& request, const String& bucket, const String& object,
                          zet::IInStream* data, int64 size, const CS3PutOptions& options);
    void putMemory(CNetRequest& request, const String& bucket, const String& object, const void* data,
                   int size, const CS3PutOptions& options);
    void putStream(CNetRequest& request, const String& bucket, const String& object, zet::IInStream* data,
                   int64 size, const CS3PutOptions& options);
    void prepareCreateUpload(CNetRequest& request, const String& bucket, const String& object,
                             const CS3PutOptions& options);
    String createUpload(CNetRequest& request, const String& bucket, const String& object,
                        const CS3PutOptions& options);
    void preparePart(CNetRequest& request, const String& bucket, const String& object, const CPart& part,
                     zet::IInStream* data, int64 size);
    CS3UploadedPart storePart(CNetRequest& request, const String& bucket, const String& object,
                              const CPart& part, zet::IInStream* data, int64 size);
    /// An object that is made of copied parts.
    struct CCopyTarget {
        const String& bucket;
        const String& object;
        const CS3PutOptions& options;
        int64 partSize;
    };
    String performCopy(CNetRequest& request, String (*readETag)(const TBuffer<unsigned char>&));
    String copyInParts(CNetRequest& request, const CS3CopySource& source, int64 size,
                       const CCopyTarget& target);
    String completeCopy(CNetRequest& request, const CCopyTarget& target, const String& uploadId,
                        const TArray<CS3UploadedPart>& parts);
    String findCopy(CNetRequest& request, const CCopyTarget& target, const TArray<CS3UploadedPart>& parts);
    void abortAfterFailure(CNetRequest& request, const CCopyTarget& target, const String& uploadId);
    void checkSourceIsUnchanged(CNetRequest& request, const CS3CopySource& source);
    void warnOfLostTags(CNetRequest& request, const CCopyTarget& target);
    void beginPreparePut(CNetRequest& request, const String& bucket, const String& object,
                         const CBodyHashes& hashes, const CS3PutOptions& options);
    P<CS3ObjectSink> prepareGetObjectToStream(CNetRequest& request, const String& bucket,
                                              const String& object, const CS3ObjectRange& range,
                                              zet::IOutStream* data, const P<sigil::IDigest>& digest,
                                              const CS3GetOptions& options);
    void performGet(CNetRequest& request, const CS3ObjectSink& sink, int64 length);
    bool getAndHash(CNetRequest& request, const String& bucket, const String& object, zet::IOutStream* data,
                    const CS3GetOptions& options, CS3Verification& verification);
    void performPut(CNetRequest& request, S3Checksum checksum);
    void setDocument(CNetRequest& request, CNetHeaders& headers, const std::string& document);
    CBodyHashes calcBodyHashes(const void* data, int size, S3Checksum checksum = S3Checksum::None);
    CBodyHashes calcBodyHashes(CNetRequest::IDataSource& source, S3Checksum checksum);
    P<sigil::IDigest> makePayloadDigest() const;
    CBodyDigests makeBodyDigests(S3Checksum checksum);
    void updateBodyDigests(const CBodyDigests& digests, const void* data, int size);
    CBodyHashes finishBodyHashes(const CBodyDigests& digests);
    void checkPayloadSigning(const char* place) const;
    bool isSecure() const { return m_baseURL.startsWithNoCase("https:"); }
    bool isReadOnce() const noexcept;
    bool isSentInChunks() const;
    bool sendsChecksums() const noexcept { return !isReadOnce() || sendsChecksumTrailers(); }
    CUploadBody makeUploadBody(zet::IInStream* data, int64 size, const String& name, S3Checksum checksum);
    String getSentEncoding(const CUploadBody& body, const String& contentEncoding) const;
    void setUploadBody(CNetRequest& request, const CUploadBody& body);
    void signChunks(CNetRequest& request, const CS3RequestToSign& parts, const String& authorization) const;
    bool isVersion4() const noexcept { return m_signatureVersion == S3SignatureVersion::V4; }
    void checkAddress(const String& bucket) const;
    bool isVirtualHosted(const String& bucket) const;
    String findRegion(const String& bucket) const;
    String findBucket(const String& url) const;
    String findRegionOfURL(const String& url) const;
    zet::CTime getSigningTime() const;
    std::optional<std::chrono::milliseconds> decidePause(CNetRequest& request, const CError& error, int tries,
                                                         CRetryPolicy::Failures& failures);
    std::optional<std::chrono::milliseconds> decidePauseOfPolicy(CNetRequest& request, const CError& error,
                                                                 CRetryPolicy::Failures& failures);
    void pauseBeforeRetry(const CNetRequest& request, std::chrono::milliseconds pause);
    bool learnRegion(CNetRequest& request);
    bool learnClock(const CNetRequest& request);
    std::pair<String, String> makeTimeHeader() const;
    CS3SigningKeys getKeys() const;
    String makeObjectURL(const String& bucket, const String& object) const;

    String m_baseURL;
    COwnDigest m_md5;
    String m_accessKeyId;
    String m_secretKey;
    std::string m_secretKeyUTF8;
    std::shared_ptr<const CS3PreparedKey> m_lastKey;  // of the last signature; copies share it
    int m_maxRetries = 50;
    std::optional<CRetryPolicy> m_retryPolicy;
    bool m_recordsTries = false;
    CTryLog m_tries;
    P<ITransferMetrics> m_metrics;
    bool m_printDebugInfo = false;
    bool m_sslVerifyPeer = true;
    bool m_verifiesHostName = true;
    bool m_verifiesETag = false;
    P<INetRequestSetup> m_requestSetup;
    S3SignatureVersion m_signatureVersion = S3SignatureVersion::V2;
    S3AddressingStyle m_addressingStyle = S3AddressingStyle::Automatic;
    S3PayloadSigning m_payloadSigning = S3PayloadSigning::Signed;
    S3UploadCheck m_uploadCheck = S3UploadCheck::BeforeSending;
    S3ChecksumTrailer m_checksumTrailer = S3ChecksumTrailer::AmazonOnly;
    String m_region = "us-east-1";
    String m_sessionToken;
    P<IS3CredentialsProvider> m_provider;
    TMap<String, String> m_bucketRegions;  // learnt from refusals
    zet::CTimeSpan m_clockCorrection = zet::CTimeSpan::fromSeconds(0);
    bool m_isAnonymous = false;
    bool m_isAmazon = true;  // no setBaseURL()
};

}  // namespace vexil
