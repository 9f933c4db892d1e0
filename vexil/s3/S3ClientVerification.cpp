#include "vexil/net/ErrorClassification.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3ContentDigest.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3ObjectStreams.h"
#include "vexil/s3/S3StreamRelease.h"
#include "zet/ParseNumber.h"

#include <optional>

namespace vexil {

namespace {

int64 findContentLength(const TMap<String, String>& headers) {
    return zet::parseInt64(findHeader(headers, "content-length"), int64{-1});
}

}  // namespace

/// What is known about the object that is read.
struct CS3Verification {
    String name;
    std::optional<CS3UploadedParts> parts = std::nullopt;  // once the service was asked
    CS3ContentDigest digest = {};
    String eTag = {};
    int64 size = -1;

    /// \return false if the service must be asked for the parts
    bool begin(const TMap<String, String>& headers) {
        eTag = findHeader(headers, "etag");
        size = findContentLength(headers);
        digest = CS3ContentDigest(name, headers, {});
        if (!digest.needsPartSize()) {
            return true;
        }
        const int64 told = findPartSizeInMetadata(headers);
        if (digest.canHavePartSize(told, size)) {
            digest.setPartSize(told, S3PartSizeSource::Metadata);
        } else if (parts || size < 1 || eTag.isEmpty() || eTag.startsWith("W/")) {
            digest.setParts(parts.value_or(CS3UploadedParts()), size);
        }
        return !digest.needsPartSize();
    }
};

namespace {

/// Gives the body of a successful response also to the digest.
class CVerifyingSink : public virtual CBase, public CNetRequest::IRestartableDataSink {
public:
    /// The verification must outlive it.
    CVerifyingSink(const P<CS3ObjectSink>& sink, CS3Verification& verification)
        : m_sink(sink), m_verification(verification) {}
    ~CVerifyingSink() override = default;

    void write(const void* data, int length, int httpStatus,
               const TMap<String, String>& responseHeaders) override {
        const bool isSuccess = httpStatus >= 200 && httpStatus <= 299;
        if (isSuccess && !m_hasBegun) {
            // Before the parts are asked for.
            m_sink->checkRange(httpStatus, responseHeaders);
            m_needsParts = !m_verification.begin(responseHeaders);
            if (m_needsParts) {
                throw CError("The sizes of the parts are not known yet.");
            }
            m_hasBegun = true;
        }
        m_sink->write(data, length, httpStatus, responseHeaders);
        if (isSuccess) {
            m_verification.digest.update(data, length);
        }
    }
    void restart() override {
        m_sink->restart();
        m_hasBegun = false;
    }

    bool hasBegun() const noexcept { return m_hasBegun; }
    /// Whether it has ended the transfer, before the first byte.
    bool needsParts() const noexcept { return m_needsParts; }

private:
    const P<CS3ObjectSink> m_sink;
    CS3Verification& m_verification;
    bool m_hasBegun = false;
    bool m_needsParts = false;
};

/// The length of a part of the upload; -1 if the service does not tell it.
int64 findLengthOfPart(CS3Client& client, CNetRequest& request, const String& bucket, const String& object,
                       const CS3GetOptions& options) {
    try {
        return findContentLength(client.getObjectHeaders(request, bucket, object, options));
    } catch (const CError& error) {
        if (getHTTPStatusCodeFromError(error) == -1) {
            throw;
        }
        return -1;
    }
}

}  // namespace

CS3DownloadResult CS3Client::getVerifiedObject(CNetRequest& request, const String& bucket,
                                               const String& object, zet::IOutStream* data,
                                               const CS3GetOptions& options) {
    const P<zet::IOutStream> held = data;
    CS3GetOptions sent = options;
    sent.asksForChecksum = true;
    CS3Verification verification{.name = object};
    const auto findParts = [&] {
        CS3GetOptions ofPart = sent;
        ofPart.ifMatch = verification.eTag;
        ofPart.asksForChecksum = false;
        return findUploadedParts(
            [&](int number) {
                ofPart.partNumber = number;
                return findLengthOfPart(*this, request, bucket, object, ofPart);
            },
            verification.digest.getPartCount(), verification.size);
    };
    if (!getAndHash(request, bucket, object, data, sent, verification)) {
        verification.parts = findParts();
        sent.ifMatch = verification.eTag;
        (void)getAndHash(request, bucket, object, data, sent, verification);
    }
    if (!verification.digest.finish()) {
        const bool hasMetadata = verification.digest.hasPartSizeOfMetadata();
        if (!hasMetadata || !verification.digest.hasWrongMetadata(findParts())) {
            throw verification.digest.makeError();
        }
        verification.digest.giveUp();
    }
    return {.eTag = verification.eTag, .size = verification.size, .check = verification.digest.getCheck()};
}

/// \return false if the service must be asked for the parts; nothing was written then
bool CS3Client::getAndHash(CNetRequest& request, const String& bucket, const String& object,
                           zet::IOutStream* data, const CS3GetOptions& options,
                           CS3Verification& verification) {
    const P<CS3ObjectSink> sink =
        prepareGetObjectToStream(request, bucket, object, {0, -1}, data, nullptr, options);
    const P<CVerifyingSink> verifying = zet::make<CVerifyingSink>(sink, verification);
    request.setReceiveDataSink(verifying);
    const CS3StreamRelease release(request);
    try {
        performGet(request, *sink, -1);
    } catch (const CError&) {
        if (verifying->needsParts()) {
            return false;
        }
        throw;
    }
    if (!verifying->hasBegun()) {
        // There was no byte.
        (void)verification.begin(request.getResponseHeaderMap());
    }
    // Not every response announces it.
    verification.size = sink->getWrittenBytes();
    return true;
}

}  // namespace vexil
