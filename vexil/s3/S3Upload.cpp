#include "vexil/s3/S3Upload.h"

#include "vexil/net/CURLError.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3ChecksumCheck.h"
#include "vexil/s3/S3ChecksumValue.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3PartsETag.h"
#include "vexil/s3/S3RequestPolicy.h"
#include "vexil/s3/S3UploadSource.h"
#include "zet/Log.h"
#include "zet/ParseNumber.h"

#include <algorithm>
#include <utility>

namespace vexil {

namespace {

constexpr int maxWrongContents = 2;
// A service may be silent until it has made an object of its parts.
constexpr int longestCompletion = 10 * 60;  // seconds
constexpr int longestDeletion = 30;         // seconds

/// For requests that must not delay the end of an upload for long.
CRetryPolicy makeBriefPolicy() {
    CRetryPolicy::Settings settings;
    settings.limit = std::chrono::seconds(10);
    settings.maxRetries = 3;
    return CRetryPolicy(settings);
}

CError makeWrongContentError(const String& text) {
    CError error(text);
    error.setKind(ErrorKind::InvalidData);
    return error;
}

String getSentMD5(CNetRequest& request) {
    if (const P<CS3UploadSource> source = findUploadSource(request)) {
        return source->getContentMD5();
    }
    TMap<String, String> sent;
    if (const P<CNetHeaders> headers = request.getCustomHTTPHeaders()) {
        headers->fillMap(sent);
    }
    return findHeader(sent, "content-md5");
}

/// The checksum of what was sent; "" if it is unknown.
String getChecksumOfContent(CNetRequest& request, S3Checksum checksum) {
    const P<CS3UploadSource> source = findUploadSource(request);
    return source ? source->getChecksum() : getSentChecksum(request, checksum);
}

bool hasStoredOtherChecksum(CNetRequest& request, S3Checksum checksum) {
    const String stored = findHeader(request.getResponseHeaderMap(), getChecksumHeader(checksum));
    return !stored.isEmpty() && stored != getChecksumOfContent(request, checksum);
}

/// Whether a try has failed because of the ETag, which checkETag() or the client has compared, or because of
/// the checksum.
bool hasStoredOtherContent(CNetRequest& request, const CError& error, S3Checksum checksum) {
    const P<CS3UploadSource> source = findUploadSource(request);
    const bool isSent = !source || source->getPosition() == source->getSize();
    if (!isSent || !error.getDomain().isEmpty() || error.getKind() != ErrorKind::InvalidData) {
        return false;
    }
    const String stored = CS3Client::getContentMD5(request.getResponseHeaderMap());
    return (!stored.isEmpty() && !(stored == getSentMD5(request))) ||
           hasStoredOtherChecksum(request, checksum);
}

/// Must be called in a catch block.
void logFailedDeletion() noexcept {
    try {
        const P<CError> error = zet::currentExceptionToError();
        if (!CS3Client::isNotFoundError(*error)) {
            zet::logWarning(*error, "The parts of an upload that has failed could not be deleted.");
        }
    } catch (...) {
        // There is no memory for the text.
    }
}

}  // namespace

/// What a job does.
struct CS3Upload::CSteps {
    std::function<void(CNetRequest&)> prepare;
    std::function<void(CNetRequest&)> check;  // throws to try again if the error is temporary
    std::function<void(CNetRequest&)> succeed = [](CNetRequest&) {};
    // Called after each failure that may be tried again; throws to end the job.
    std::function<void(CNetRequest&, const CError&)> judge = [](CNetRequest&, const CError&) {};
};

/// A request. Its failure ends the queue.
class CS3Upload::CJob : public virtual CBase, public ITransferJob, private ITransfer {
public:
    explicit CJob(CSteps steps) : m_steps(std::move(steps)) {}
    ~CJob() override = default;

    [[nodiscard]] ITransfer& getTransfer() override { return *this; }
    void onSuccess(CNetRequest& request) override { m_steps.succeed(request); }
    void onFailure(const CError& error) override { error.throwClone(); }

private:
    void prepare(CNetRequest& request) override { m_steps.prepare(request); }
    void checkResponse(CNetRequest& request) override { m_steps.check(request); }
    [[nodiscard]] bool canBeginAgain(CNetRequest& request, const CError& error) override {
        m_steps.judge(request, error);
        return false;
    }

    const CSteps m_steps;
};

CS3Upload::CS3Upload(CS3Client& client, const CS3TransferSettings& settings, CS3UploadTarget target,
                     int64 size)
    : m_client(client), m_settings(settings), m_target(std::move(target)), m_size(size),
      m_control(client, settings,
                [this] {
                    return CS3TransferControl::CProgress{m_count->get(), m_size};
                }),
      m_parallelParts(settings.parallelParts) {}

// ---- whole objects ---------------------------------------------------------------------------------------

CS3UploadResult CS3Upload::storeWhole(int64 size, const Open& open) {
    CS3UploadResult result{.eTag = String(), .size = size, .partCount = 0};
    run(makeSendSteps(
        open,
        [this, size](CNetRequest& request, zet::IInStream* data) {
            m_client.preparePutObjectRequest(request, m_target.bucket, m_target.key, data, size,
                                             m_target.options);
        },
        [&result](const CContent& content) {
            result.eTag = content.eTag;
            result.checksum = content.storedChecksum;
        }));
    return result;
}

// ---- parts -----------------------------------------------------------------------------------------------

CS3UploadResult CS3Upload::storeInParts(const std::function<void()>& sendParts) {
    try {
        begin();
        sendParts();
        finishParts();
        const String eTag = complete();
        m_uploadId = String();
        return checkObject(eTag);
    } catch (...) {
        giveUp();
        throw;
    }
}

void CS3Upload::begin() {
    if (m_uploadId.isEmpty()) {
        run({.prepare =
                 [this](CNetRequest& request) {
                     m_client.prepareCreateMultipartUploadRequest(request, m_target.bucket, m_target.key,
                                                                  m_target.options);
                 },
             .check =
                 [this](CNetRequest& request) {
                     m_uploadId = CS3Client::readUploadID(*request.getDefaultReceiveBuffer());
                 }});
    }
    if (m_onBegun) {
        m_onBegun(m_uploadId);
    }
}

void CS3Upload::setParallelParts(int count) {
    const int limited = std::clamp(count, 1, m_settings.parallelParts);
    if (limited != m_parallelParts) {
        finishParts();
        m_queue = nullptr;
        m_parallelParts = limited;
    }
}

void CS3Upload::sendPart(int number, int64 size, const Open& open) {
    m_control.start(getQueue(),
                    zet::make<CJob>(makeSendSteps(
                        open,
                        [this, number, size](CNetRequest& request, zet::IInStream* data) {
                            const CS3PartOptions options{m_target.options.customerKey, getChecksum()};
                            m_client.prepareUploadPartRequest(request, m_target.bucket, m_target.key,
                                                              m_uploadId, number, data, size, options);
                        },
                        [this, number, size](const CContent& content) {
                            m_parts[number] = content;
                            m_storedBytes += size;
                        })));
}

void CS3Upload::addPart(int number, int64 size, const CContent& content) {
    m_parts[number] = content;
    m_storedBytes += size;
    m_count->add(size);
}

void CS3Upload::finishParts() {
    if (m_queue) {
        m_queue->finish();
    }
}

/// Each try opens the bytes again, so that it begins at their beginning.
CS3Upload::CSteps CS3Upload::makeSendSteps(const Open& open,
                                           const std::function<void(CNetRequest&, zet::IInStream*)>& prepare,
                                           const std::function<void(const CContent&)>& onStored) {
    struct CState {
        P<CS3CountedStream> stream;
        int wrongContents = 0;
    };
    const auto state = std::make_shared<CState>();
    return {.prepare =
                [this, state, open, prepare](CNetRequest& request) {
                    if (state->stream) {
                        state->stream->takeBack();
                    }
                    state->stream = zet::make<CS3CountedStream>(open(), m_count);
                    prepare(request, state->stream);
                    state->stream->beginSending();
                },
            .check = [this](CNetRequest& request) { checkETag(request); },
            .succeed =
                [this, onStored](CNetRequest& request) {
                    const TMap<String, String>& headers = request.getResponseHeaderMap();
                    const String eTag = findHeader(headers, "etag");
                    const bool isPlain = !CS3Client::getContentMD5(headers).isEmpty();
                    onStored({eTag, isPlain ? withoutQuotes(eTag).toLower() : String(),
                              getChecksumOfContent(request, getChecksum()),
                              findHeader(headers, getChecksumHeader(getChecksum()))});
                },
            .judge =
                [this, state](CNetRequest& request, const CError& error) {
                    if (hasStoredOtherContent(request, error, getChecksum()) &&
                        state->wrongContents++ == maxWrongContents) {
                        throw makeWrongContentError(error.getMessage());
                    }
                }};
}

void CS3Upload::checkETag(CNetRequest& request) const {
    const TMap<String, String>& headers = request.getResponseHeaderMap();
    if (findHeader(headers, "etag").isEmpty()) {
        throw CError("Error: ETag header was expected but not included in response.");
    }
    const String sent = getSentMD5(request);
    const String stored = CS3Client::getContentMD5(headers);
    if (!m_settings.verifiesETags || sent.isEmpty() || stored.isEmpty() || stored == sent) {
        return;
    }
    throw makeTransientError("The content has the MD5 " + sent + ", but the service has stored the MD5 " +
                             stored + ".");
}

// ---- end of parts ----------------------------------------------------------------------------------------

String CS3Upload::complete() {
    TArray<CS3UploadedPart> parts;
    for (const auto& [number, part] : m_parts) {
        parts.push_back({number, part.eTag, part.storedChecksum});
    }
    (void)getQueue();
    const int64 retriesBefore = m_policy->getRetryCount();
    String eTag;
    try {
        run({.prepare =
                 [&](CNetRequest& request) {
                     m_client.prepareCompleteMultipartUploadRequest(request, m_target.bucket, m_target.key,
                                                                    m_uploadId, parts, m_target.options);
                     request.setLowSpeedLimit(1, zet::CTimeSpan::fromSeconds(longestCompletion));
                 },
             .check =
                 [&](CNetRequest& request) {
                     const TBuffer<unsigned char>& body = *request.getDefaultReceiveBuffer();
                     eTag = CS3Client::readCompletedETag(body);
                     m_completedChecksum = CS3Client::readCompletedChecksum(body, getChecksum());
                 }});
    } catch (const CError& error) {
        // The response to a completion that has succeeded may be lost.
        const bool mayHaveSucceeded = isTransientError(error) || m_policy->getRetryCount() > retriesBefore;
        eTag = mayHaveSucceeded ? findStoredETag() : String();
        if (eTag.isEmpty()) {
            throw;
        }
        // The object may be older, and have the same content.
        deleteParts();
    }
    return eTag;
}

/// "" if the MD5 of a part is unknown.
String CS3Upload::makeExpectedETag() const {
    TArray<String> md5s;
    for (const auto& [number, part] : m_parts) {
        md5s.push_back(part.md5);
    }
    return makePartsETag(md5s);
}

String CS3Upload::findStoredETag() {
    const String expected = makeExpectedETag();
    String found;
    if (expected.isEmpty()) {
        return found;
    }
    try {
        runBriefly({.prepare = [this](CNetRequest& request) { prepareHead(request); },
                    .check =
                        [&](CNetRequest& request) {
                            const String eTag = findHeader(request.getResponseHeaderMap(), "etag");
                            found = withoutQuotes(eTag).toLower() == expected ? eTag : String();
                        }});
    } catch (const CError& error) {
        zet::logWarning(error, "Whether the object exists cannot be found out.");
    }
    return found;
}

void CS3Upload::prepareHead(CNetRequest& request) {
    CS3GetOptions options;
    options.customerKey = m_target.options.customerKey;
    m_client.prepareGetObjectHeadersRequest(request, m_target.bucket, m_target.key, options);
}

CS3UploadResult CS3Upload::checkObject(const String& completedETag) {
    String eTag = completedETag;
    int64 size = -1;
    try {
        runBriefly({.prepare = [this](CNetRequest& request) { prepareHead(request); },
                    .check =
                        [&](CNetRequest& request) {
                            const TMap<String, String>& headers = request.getResponseHeaderMap();
                            size = zet::parseInt64(findHeader(headers, "content-length"), int64{-1});
                            // Some services send it only here.
                            eTag = eTag.isEmpty() ? findHeader(headers, "etag") : eTag;
                        }});
    } catch (const CError& error) {
        // Some keys are only allowed to write.
        zet::logInfo("The stored object cannot be checked: " + error.getMessage());
    }
    checkStoredETag(withoutQuotes(eTag).toLower());
    checkStoredChecksum();
    if (size >= 0 && size != m_storedBytes) {
        throw makeWrongContentError("The object has " + String::fromInt(size) + " bytes instead of " +
                                    String::fromInt(m_storedBytes) + ".");
    }
    m_control.showProgress();
    return makeResult(eTag);
}

void CS3Upload::checkStoredETag(const String& eTag) const {
    const String expected = makeExpectedETag();
    if (m_settings.verifiesETags && !expected.isEmpty() && isMD5OfParts(eTag) && !(eTag == expected)) {
        throw makeWrongContentError("The object has the ETag " + eTag + ", but its parts should make " +
                                    expected + ".");
    }
}

void CS3Upload::checkStoredChecksum() const {
    TArray<String> checksums;
    for (const auto& [number, part] : m_parts) {
        checksums.push_back(part.checksum);
    }
    const String expected = makeCompositeChecksum(getChecksum(), checksums);
    if (!expected.isEmpty() && !m_completedChecksum.isEmpty() && expected != m_completedChecksum) {
        throw makeWrongContentError("The object has the " + getChecksumName(getChecksum()) + " " +
                                    m_completedChecksum + ", but its parts should make " + expected + ".");
    }
}

CS3UploadResult CS3Upload::makeResult(const String& eTag) const {
    return {.eTag = eTag,
            .size = m_storedBytes,
            .partCount = static_cast<int>(m_parts.size()),
            .checksum = m_completedChecksum};
}

void CS3Upload::giveUp() noexcept {
    // A part that arrives after the deletion would stay.
    m_queue = nullptr;
    if (!m_uploadId.isEmpty() && !m_keepsParts) {
        deleteParts();
    }
}

void CS3Upload::deleteParts() noexcept {
    try {
        const P<CTransferQueue> queue =
            m_control.makeCleaningQueue(zet::make<CS3RequestPolicy>(m_client, makeBriefPolicy()));
        m_control.start(
            *queue, zet::make<CJob>(CSteps{.prepare =
                                               [this](CNetRequest& request) {
                                                   m_client.prepareAbortMultipartUploadRequest(
                                                       request, m_target.bucket, m_target.key, m_uploadId);
                                                   // It may cancel all requests of a program that stops.
                                                   request.setTransferProgress(nullptr);
                                                   request.setFullRequestTimeout(
                                                       zet::CTimeSpan::fromSeconds(longestDeletion));
                                               },
                                           .check = [](CNetRequest&) {}}));
        queue->finish();
    } catch (...) {
        logFailedDeletion();
    }
}

// ---- requests --------------------------------------------------------------------------------------------

CTransferQueue& CS3Upload::getQueue() {
    if (!m_queue) {
        m_policy = zet::make<CS3RequestPolicy>(m_client, m_settings.retryPolicy);
        m_queue = m_control.makeQueue(m_policy, m_parallelParts);
    }
    return *m_queue;
}

void CS3Upload::run(const CSteps& steps) {
    m_control.checkContinue();
    try {
        m_control.start(getQueue(), zet::make<CJob>(steps));
        m_queue->finish();
    } catch (...) {
        m_queue = nullptr;
        throw;
    }
}

/// For the last requests of an upload.
void CS3Upload::runBriefly(const CSteps& steps) {
    (void)getQueue();
    m_policy->setRetryPolicy(makeBriefPolicy());
    run(steps);
}

}  // namespace vexil
