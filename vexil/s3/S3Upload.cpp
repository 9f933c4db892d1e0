#include "vexil/s3/S3Upload.h"

#include "sigil/Digest.h"
#include "sigil/Hex.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3HexDigit.h"
#include "vexil/s3/S3RequestPolicy.h"
#include "vexil/s3/S3UploadSource.h"
#include "zet/Log.h"
#include "zet/ParseNumber.h"

#include <algorithm>
#include <utility>

namespace vexil {

namespace {

constexpr int maxWrongContents = 2;
constexpr std::size_t md5Digits = 32;
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

String withoutQuotes(const String& eTag) {
    const bool isQuoted = eTag.length() >= 2 && eTag.startsWith("\"") && eTag.endsWith("\"");
    return isQuoted ? eTag.substr(1, eTag.length() - 2) : eTag;
}

bool isMD5(const String& text) {
    const std::string digits = text.toUTF8();
    return digits.size() == md5Digits &&
           std::all_of(digits.begin(), digits.end(), [](char digit) { return getHexDigitValue(digit) >= 0; });
}

/// Whether an ETag can be that of an object whose parts have an MD5: 32 digits, "-", the number of parts.
bool isMD5OfParts(const String& eTag) {
    return eTag.length() > md5Digits && isMD5(eTag.substr(0, md5Digits)) && eTag[md5Digits] == L'-';
}

void appendBytes(TBuffer<unsigned char>& bytes, const String& hexDigits) {
    for (std::size_t i = 0; i + 1 < hexDigits.length(); i += 2) {
        const auto byte = static_cast<unsigned char>(getHexDigitValue(hexDigits[i]) * 16 +
                                                     getHexDigitValue(hexDigits[i + 1]));
        bytes.append(&byte, 1);
    }
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

}  // namespace

/// What a job does.
struct CS3Upload::CSteps {
    std::function<void(CNetRequest&)> prepare;
    std::function<void(CNetRequest&)> check;  // throws to try again if the error is temporary
    std::function<void(CNetRequest&)> succeed = [](CNetRequest&) {};
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

    const CSteps m_steps;
};

/// Shows the progress, observes the deadline, and calls the observer of the caller.
class CS3Upload::CObserver : public virtual CBase, public ITransferObserver {
public:
    /// \param upload  must outlive it
    /// \param mayEnd  whether cancel token, deadline and observers may end the requests
    CObserver(const CS3Upload& upload, bool mayEnd) : m_upload(upload), m_mayEnd(mayEnd) {}

    void checkContinue() override {
        if (m_mayEnd) {
            m_upload.checkContinue();
            m_upload.showProgress();
            forward([](ITransferObserver& observer) { observer.checkContinue(); });
        }
    }
    void onStart(CNetRequest& request) override {
        forward([&](ITransferObserver& observer) { observer.onStart(request); });
    }
    void onProgress(CNetRequest& request) override {
        forward([&](ITransferObserver& observer) { observer.onProgress(request); });
    }
    void onEnd(CNetRequest& request) override {
        forward([&](ITransferObserver& observer) { observer.onEnd(request); });
    }
    void onFatalFailure(CNetRequest& request) override {
        forward([&](ITransferObserver& observer) { observer.onFatalFailure(request); });
    }
    void onGivenUp(CNetRequest& request) override {
        forward([&](ITransferObserver& observer) { observer.onGivenUp(request); });
    }

private:
    template <class Call>
    void forward(const Call& call) {
        if (const P<ITransferObserver> observer = m_upload.m_settings.requestObserver) {
            call(*observer);
        }
    }

    const CS3Upload& m_upload;
    const bool m_mayEnd;
};

CS3Upload::CS3Upload(CS3Client& client, const CS3TransferSettings& settings, CS3UploadTarget target,
                     int64 size)
    : m_client(client), m_settings(settings), m_target(std::move(target)), m_size(size),
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
        [&result](const String& eTag, const String&) { result.eTag = eTag; }));
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
    getQueue().start(zet::make<CJob>(makeSendSteps(
        open,
        [this, number, size](CNetRequest& request, zet::IInStream* data) {
            m_client.prepareUploadPartRequest(request, m_target.bucket, m_target.key, m_uploadId, number,
                                              data, size, m_target.options.customerKey);
        },
        [this, number, size](const String& eTag, const String& md5) {
            m_parts[number] = {{number, eTag}, md5};
            m_storedBytes += size;
        })));
}

void CS3Upload::addPart(int number, int64 size, const String& eTag, const String& md5) {
    m_parts[number] = {{number, eTag}, md5};
    m_storedBytes += size;
    m_count->add(size);
}

void CS3Upload::finishParts() {
    if (m_queue) {
        m_queue->finish();
    }
}

/// Each try opens the bytes again, so that it begins at their beginning.
CS3Upload::CSteps
CS3Upload::makeSendSteps(const Open& open, const std::function<void(CNetRequest&, zet::IInStream*)>& prepare,
                         const std::function<void(const String& eTag, const String& md5)>& onStored) {
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
            .check = [this, state](CNetRequest& request) { checkETag(request, state->wrongContents); },
            .succeed =
                [onStored](CNetRequest& request) {
                    const String eTag = findHeader(request.getResponseHeaderMap(), "etag");
                    const bool isPlain = !CS3Client::getContentMD5(request.getResponseHeaderMap()).isEmpty();
                    onStored(eTag, isPlain ? withoutQuotes(eTag).toLower() : String());
                }};
}

void CS3Upload::checkETag(CNetRequest& request, int& wrongContents) const {
    const TMap<String, String>& headers = request.getResponseHeaderMap();
    if (findHeader(headers, "etag").isEmpty()) {
        throw CError("Error: ETag header was expected but not included in response.");
    }
    const String sent = getSentMD5(request);
    const String stored = CS3Client::getContentMD5(headers);
    if (!m_settings.verifiesETags || sent.isEmpty() || stored.isEmpty() || stored == sent) {
        return;
    }
    const String text =
        "The content has the MD5 " + sent + ", but the service has stored the MD5 " + stored + ".";
    if (wrongContents++ < maxWrongContents) {
        throw makeTransientError(text);
    }
    throw makeWrongContentError(text);
}

// ---- end of parts ----------------------------------------------------------------------------------------

String CS3Upload::complete() {
    TArray<CS3UploadedPart> parts;
    for (const auto& [number, part] : m_parts) {
        parts.push_back(part.uploaded);
    }
    int tries = 0;
    String eTag;
    try {
        run({.prepare =
                 [&](CNetRequest& request) {
                     ++tries;
                     m_client.prepareCompleteMultipartUploadRequest(request, m_target.bucket, m_target.key,
                                                                    m_uploadId, parts, m_target.options);
                     request.setLowSpeedLimit(1, zet::CTimeSpan::fromSeconds(longestCompletion));
                 },
             .check =
                 [&](CNetRequest& request) {
                     eTag = CS3Client::readCompletedETag(*request.getDefaultReceiveBuffer());
                 }});
    } catch (const CError& error) {
        // The response to a completion that has succeeded may be lost.
        const bool mayHaveSucceeded = isTransientError(error) || tries > 1;
        eTag = mayHaveSucceeded ? findStoredETag() : String();
        if (eTag.isEmpty()) {
            throw;
        }
        // The object may be older, and have the same content.
        deleteParts();
    }
    return eTag;
}

/// As most services make it: the MD5 of the MD5s of the parts, "-", their number. "" if an MD5 is unknown.
String CS3Upload::makeExpectedETag() const {
    TBuffer<unsigned char> md5s;
    for (const auto& [number, part] : m_parts) {
        if (!isMD5(part.md5)) {
            return String();
        }
        appendBytes(md5s, part.md5);
    }
    const P<sigil::IDigest> digest = sigil::CDigestType_MD5().createDigest();
    digest->update(md5s.getData(), md5s.getUsed());
    TBuffer<unsigned char> hash;
    digest->finish(hash);
    return sigil::hexEncode(hash) + "-" + String::fromInt(static_cast<int64>(m_parts.size()));
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
    if (size >= 0 && size != m_storedBytes) {
        throw makeWrongContentError("The object has " + String::fromInt(size) + " bytes instead of " +
                                    String::fromInt(m_storedBytes) + ".");
    }
    showProgress();
    return makeResult(eTag);
}

void CS3Upload::checkStoredETag(const String& eTag) const {
    const String expected = makeExpectedETag();
    if (m_settings.verifiesETags && !expected.isEmpty() && isMD5OfParts(eTag) && !(eTag == expected)) {
        throw makeWrongContentError("The object has the ETag " + eTag + ", but its parts should make " +
                                    expected + ".");
    }
}

CS3UploadResult CS3Upload::makeResult(const String& eTag) const {
    return {.eTag = eTag, .size = m_storedBytes, .partCount = static_cast<int>(m_parts.size())};
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
        CTransferQueue queue(zet::make<CS3RequestPolicy>(m_client, makeBriefPolicy()), 1,
                             zet::make<CObserver>(*this, false));
        queue.start(zet::make<CJob>(CSteps{.prepare =
                                               [this](CNetRequest& request) {
                                                   m_client.prepareAbortMultipartUploadRequest(
                                                       request, m_target.bucket, m_target.key, m_uploadId);
                                                   // It may cancel all requests of a program that stops.
                                                   request.setTransferProgress(nullptr);
                                                   request.setFullRequestTimeout(
                                                       zet::CTimeSpan::fromSeconds(longestDeletion));
                                               },
                                           .check = [](CNetRequest&) {}}));
        queue.finish();
    } catch (const CError& error) {
        if (!CS3Client::isNotFoundError(error)) {
            zet::logWarning(error, "The parts of an upload that has failed could not be deleted.");
        }
    } catch (...) {
        zet::logWarning("The parts of an upload that has failed could not be deleted.");
    }
}

// ---- requests --------------------------------------------------------------------------------------------

CTransferQueue& CS3Upload::getQueue() {
    if (!m_queue) {
        m_policy = zet::make<CS3RequestPolicy>(m_client, m_settings.retryPolicy);
        m_queue = zet::make<CTransferQueue>(m_policy, m_parallelParts, zet::make<CObserver>(*this, true));
        m_queue->setCancelToken(m_settings.cancelToken);
    }
    return *m_queue;
}

void CS3Upload::run(const CSteps& steps) {
    checkContinue();
    try {
        getQueue().start(zet::make<CJob>(steps));
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

void CS3Upload::checkContinue() const {
    if (m_settings.cancelToken) {
        m_settings.cancelToken->throwIfCancelled();
    }
    if (m_settings.deadline && CRetryPolicy::Clock::now() >= *m_settings.deadline) {
        throw CCURLError(CURLE_OPERATION_TIMEDOUT, "the deadline of the transfer has passed", "", 0, "", "",
                         "", "");
    }
}

void CS3Upload::showProgress() const {
    if (m_settings.observer) {
        m_settings.observer->onProgress(m_count->get(), m_size);
    }
}

}  // namespace vexil
