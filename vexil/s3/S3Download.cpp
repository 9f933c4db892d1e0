#include "vexil/s3/S3Download.h"

#include "vexil/async/FunctionTransferJob.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/net/HTTPContentRange.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3PartSize.h"
#include "vexil/s3/S3RequestPolicy.h"
#include "vexil/s3/S3UploadedParts.h"
#include "zet/DisplayText.h"
#include "zet/Log.h"
#include "zet/ParseNumber.h"

#include <algorithm>
#include <utility>

namespace vexil {

namespace {

constexpr int statusPartialContent = 206;
constexpr int statusNotFound = 404;
constexpr int statusPreconditionFailed = 412;
constexpr int statusRangeNotSatisfiable = 416;
constexpr int64 maxParts = 1'000'000;
// How often a part is requested again after bytes that were not asked for.
constexpr int maxWrongRanges = 2;
// How often an object without a first byte is looked at.
constexpr int maxHeads = 3;

// Only a strong ETag guarantees the same bytes (RFC 9110, 8.8.1).
bool isStrong(const String& eTag) {
    return !eTag.isEmpty() && !eTag.startsWith("W/");
}

bool isSuccess(int status) {
    return status >= 200 && status <= 299;
}

CError makeConflict(const String& text) {
    CError error(text);
    error.setKind(ErrorKind::Conflict);
    return error;
}

int64 findContentLength(const TMap<String, String>& headers) {
    return zet::parseInt64(findHeader(headers, "content-length"), int64{-1});
}

/// Null if the header is missing or cannot be read.
P<CHTTPContentRange> findContentRange(const TMap<String, String>& headers) {
    try {
        return CHTTPContentRange::parse(findHeader(headers, "content-range"));
    } catch (const CError&) {
        return nullptr;
    }
}

}  // namespace

// ---- parts -----------------------------------------------------------------------------------------------

/// A part, and what is known about its object. While a request runs, its worker uses it.
struct CS3DownloadPart : public virtual CBase {
    int64 number = 0;
    int64 offset = 0;
    int64 length = 0;  // of the first part: the wanted one until the object's size is known
    IS3DownloadTarget::Writer writer;

    String eTag;
    int64 size = -1;               // of the object, -1 until it is known
    TMap<String, String> headers;  // of the last successful response
    int64 received = 0;
    int64 begin = 0;  // what was there before the current request
    bool hasHead = false;
    bool hasChanged = false;
    bool asksForHead = false;
    int heads = 0;
    int wrongRanges = 0;

    bool isComplete() const noexcept { return received == length; }
    bool isToBeComplete() const noexcept { return begin == length; }
    /// Whether the last response was not about a range.
    bool hasHeadersOfObject() const noexcept { return length == 0 || length == size; }

    /// Takes the head of a successful response.
    void acceptHead(int status, const TMap<String, String>& responseHeaders);

private:
    void acceptFirstHead(int status);
    void checkRange(int status);
    [[noreturn]] void throwWrongRange(int status);
};

void CS3DownloadPart::acceptHead(int status, const TMap<String, String>& responseHeaders) {
    headers = responseHeaders;
    if (size < 0) {
        acceptFirstHead(status);
    } else {
        // Some services ignore the condition.
        hasChanged = isStrong(eTag) && !(findHeader(headers, "etag") == eTag);
        if (hasChanged) {
            throw makeConflict("The object was replaced by another one while it was read.");
        }
        if (!isToBeComplete()) {
            checkRange(status);
        }
    }
    hasHead = true;
}

void CS3DownloadPart::acceptFirstHead(int status) {
    int64 objectSize = findContentLength(headers);
    if (status == statusPartialContent) {
        const P<CHTTPContentRange> range = findContentRange(headers);
        const bool isFirst = range && range->getUnit() == "bytes" && range->getFirst() == 0 &&
                             range->getEntireContentSize() > 0 &&
                             range->getLast() == std::min(length, range->getEntireContentSize()) - 1;
        if (!isFirst) {
            throwWrongRange(status);
        }
        objectSize = range->getEntireContentSize();
    } else if (objectSize < 0 || objectSize > length) {
        throw CError("The server responded to the request for a part of the object with all of it: it cannot "
                     "be read in parts.");
    }
    size = objectSize;
    length = std::min(length, size);
    eTag = findHeader(headers, "etag");
}

void CS3DownloadPart::checkRange(int status) {
    // Another response than the first one, of an object that is not larger than a part.
    const bool isWhole =
        status != statusPartialContent && begin == 0 && length == size && findContentLength(headers) == size;
    if (isWhole) {
        return;
    }
    const P<CHTTPContentRange> range = findContentRange(headers);
    if (status != statusPartialContent || !range) {
        throwWrongRange(status);
    }
    const int64 total = range->getEntireContentSize();
    if (!(range->getUnit() == "bytes") || range->getFirst() != offset + begin ||
        range->getLast() != offset + length - 1 || (total != -1 && total != size)) {
        throwWrongRange(status);
    }
}

void CS3DownloadPart::throwWrongRange(int status) {
    const String range = findHeader(headers, "content-range");
    const String text =
        "The server responded to the request for bytes " + String::fromInt(offset + begin) + " to " +
        String::fromInt(offset + length - 1) + " of the object with status " + String::fromInt(status) +
        " and " + (range.isEmpty() ? String("no Content-Range") : "'" + zet::toDisplayText(range) + "'") +
        ".";
    if (wrongRanges++ < maxWrongRanges) {
        throw makeTransientError(text);
    }
    CError error(text);
    error.setKind(ErrorKind::InvalidData);
    throw error;
}

/// Gives the body of a response to a part.
class CS3Download::CSink : public virtual CBase, public CNetRequest::IRestartableDataSink {
public:
    /// Download and queue must outlive it.
    CSink(CS3Download& download, CTransferQueue& queue, const P<CS3DownloadPart>& part,
          const P<CNetRequest::IDataSink>& errorSink)
        : m_download(download), m_queue(queue), m_part(part), m_errorSink(errorSink) {}
    ~CSink() override = default;

    void write(const void* data, int length, int httpStatus,
               const TMap<String, String>& responseHeaders) override {
        if (!isSuccess(httpStatus)) {
            m_errorSink->write(data, length, httpStatus, responseHeaders);
            return;
        }
        if (!m_part->hasHead) {
            acceptHead(httpStatus, responseHeaders);
        }
        if (length > m_part->length - m_part->received) {
            throw CError("The server sent more bytes than it had announced.");
        }
        m_part->writer(m_part->received, data, length);
        m_part->received += length;
        m_download.m_doneBytes += length;
    }
    void restart() override {
        m_download.m_doneBytes -= m_part->received - m_part->begin;
        m_part->received = m_part->begin;
        m_part->hasHead = false;
    }

private:
    void acceptHead(int status, const TMap<String, String>& headers) {
        const bool isFirst = m_part->size < 0;
        m_part->acceptHead(status, headers);
        if (isFirst && m_part->size > m_part->length) {
            m_download.handOver(*m_part);
            m_queue.wake();
        }
    }

    CS3Download& m_download;
    CTransferQueue& m_queue;
    const P<CS3DownloadPart> m_part;
    const P<CNetRequest::IDataSink> m_errorSink;
};

/// Fetches a part. Its failure ends the queue.
class CS3Download::CJob : public virtual CBase, public ITransferJob, private ITransfer {
public:
    /// The download must outlive it.
    CJob(CS3Download& download, const P<CS3DownloadPart>& part) : m_download(download), m_part(part) {}
    ~CJob() override = default;

    [[nodiscard]] ITransfer& getTransfer() override { return *this; }
    void onSuccess(CNetRequest&) override {
        --m_download.m_running;
        m_download.m_fetched.push_back(m_part->number);
    }
    void onFailure(const CError& error) override { error.throwClone(); }

private:
    void prepare(CNetRequest& request) override { m_download.prepare(request, *m_part); }
    void checkResponse(CNetRequest& request) override { m_download.checkResponse(request, *m_part); }
    [[nodiscard]] bool isComplete() const override { return m_part->size >= 0 && m_part->isComplete(); }
    [[nodiscard]] bool canFallBack(CNetRequest&, const CError& error) override {
        return m_download.canFallBack(*m_part, error);
    }

    CS3Download& m_download;
    const P<CS3DownloadPart> m_part;
};

// ---- the download ----------------------------------------------------------------------------------------

CS3Download::CS3Download(CS3Client& client, const CS3TransferSettings& settings,
                         const CS3DownloadSource& source, IS3DownloadTarget& target)
    : m_client(client), m_settings(settings), m_source(source), m_target(target),
      m_control(client, settings,
                [this] {
                    return CS3TransferControl::CProgress{m_doneBytes, m_size};
                }),
      m_partSize(settings.partSize == 0 ? defaultPartSize : settings.partSize) {}

CS3Download::~CS3Download() = default;

CS3DownloadResult CS3Download::run() {
    try {
        const CS3PartState left = m_target.findLeft();
        if (!tryToContinue(left)) {
            findFacts();
            fetchAll({});
        }
    } catch (const CError& error) {
        m_queue = nullptr;
        if (getHTTPStatusCodeFromError(error) == statusNotFound) {
            m_target.giveUp();
        }
        throw;
    } catch (...) {
        m_queue = nullptr;
        throw;
    }
    m_queue = nullptr;
    m_control.showProgress();
    // A file that has its name is a success, so nothing may fail after that.
    CS3DownloadResult result{
        .eTag = m_eTag, .size = m_size, .resumedBytes = m_resumedBytes, .check = m_digest.getCheck()};
    m_target.commit(m_size);
    return result;
}

/// \return false if there is nothing that belongs to the object of now
bool CS3Download::tryToContinue(const CS3PartState& left) {
    const String& wanted = m_source.options.ifMatch;
    const bool isUseful = !left.done.empty() && (wanted.isEmpty() || wanted == left.eTag);
    if (!isUseful) {
        m_target.startOver();
        return false;
    }
    m_isContinuing = true;
    const int64 chosenPartSize = std::exchange(m_partSize, left.partSize);
    m_eTag = left.eTag;
    m_size = left.size;
    for (std::size_t i = 0; i < left.done.size(); ++i) {
        const int64 offset = static_cast<int64>(i) * m_partSize;
        m_resumedBytes += left.done[i] ? std::min(m_partSize, m_size - offset) : 0;
    }
    m_doneBytes = m_resumedBytes;
    try {
        confirm();
    } catch (const CError&) {
        m_queue = nullptr;
        if (!m_isStale) {
            throw;
        }
        zet::logInfo("The object has changed since an earlier download: it is read from the beginning.");
        m_target.startOver();
        m_isContinuing = false;
        m_partSize = chosenPartSize;
        m_eTag = String();
        m_size = -1;
        m_resumedBytes = 0;
        m_doneBytes = 0;
        m_running = 0;
        return false;
    }
    fetchAll(left);
    return true;
}

/// Asks whether the object is still that of the earlier download.
void CS3Download::confirm() {
    const P<CS3DownloadPart> part = make<CS3DownloadPart>();
    part->eTag = m_eTag;
    part->size = m_size;
    start(part);
    finishAll();
    m_fetched.clear();
    takeFacts(getFacts(*part));
}

void CS3Download::findFacts() {
    const P<CS3DownloadPart> part = makePart(0);
    start(part);
    takeFacts(waitForFacts(*part));
    if (m_size > m_partSize && !isStrong(m_eTag)) {
        throw CError("The object has no strong ETag, so it cannot be read in parts.");
    }
    if (getPartCount() > maxParts) {
        throw CError("The object has more than " + String::fromInt(maxParts) +
                     " parts: choose a larger part size.");
    }
}

CS3Download::CFacts CS3Download::getFacts(const CS3DownloadPart& part) {
    return {.eTag = part.eTag,
            .size = part.size,
            .headers = part.headers,
            .hasHeadersOfObject = part.hasHeadersOfObject()};
}

/// Of an object with more parts, as soon as they have come; otherwise when the part is complete.
CS3Download::CFacts CS3Download::waitForFacts(const CS3DownloadPart& part) {
    while (m_running > 0) {
        if (std::optional<CFacts> facts = takeHandedOver()) {
            return *std::move(facts);
        }
        getQueue().finishOne();
    }
    return getFacts(part);
}

/// Called on the worker.
void CS3Download::handOver(const CS3DownloadPart& part) {
    CFacts facts = getFacts(part);
    const zet::CMutexLock lock(m_factsMutex);
    m_handedOver = std::move(facts);
}

std::optional<CS3Download::CFacts> CS3Download::takeHandedOver() {
    const zet::CMutexLock lock(m_factsMutex);
    return std::exchange(m_handedOver, std::nullopt);
}

void CS3Download::takeFacts(const CFacts& facts) {
    m_eTag = facts.eTag;
    m_size = facts.size;
    m_isConfirmed = true;
    chooseCheck(facts);
}

// An object for which the first response is enough costs no further request.
void CS3Download::chooseCheck(const CFacts& facts) {
    useDigest(facts.headers, facts.hasHeadersOfObject);
    const bool canAsk = asksForChecksum() && isStrong(m_eTag) && !facts.hasHeadersOfObject;
    if (m_digest.getCheck() == S3ContentCheck::None && canAsk) {
        useDigest(findChecksums(), true);
    }
}

void CS3Download::useDigest(const TMap<String, String>& headers, bool hasChecksums) {
    m_digest = CS3ContentDigest(
        m_source.key, headers,
        {.hasETag = m_settings.verifiesETags, .hasChecksums = hasChecksums && asksForChecksum()});
    if (m_digest.needsPartSize()) {
        choosePartSize(headers);
    }
}

/// The metadata saves the requests for the parts. Some services do not know such requests.
void CS3Download::choosePartSize(const TMap<String, String>& headers) {
    const int64 told = findPartSizeInMetadata(headers);
    if (m_digest.canHavePartSize(told, m_size)) {
        m_digest.setPartSize(told, S3PartSizeSource::Metadata);
        return;
    }
    m_digest.setParts(findParts(), m_size);
}

CS3UploadedParts CS3Download::findParts() {
    return findUploadedParts([this](int number) { return findLengthOfPart(number); }, m_digest.getPartCount(),
                             m_size);
}

/// The headers of the object, because those of a part may have a checksum of the part.
TMap<String, String> CS3Download::findChecksums() {
    TMap<String, String> headers;
    CS3GetOptions options = makePinnedOptions(m_eTag);
    options.asksForChecksum = true;
    ask(
        options, [&headers](CNetRequest& request) { headers = request.getResponseHeaderMap(); },
        [](const CError& error) {
            zet::logInfo("The checksums of the object cannot be read: " + error.getMessage());
        });
    // Some services ignore the condition.
    return findHeader(headers, "etag") == m_eTag ? headers : TMap<String, String>();
}

/// The length of a part of the upload; -1 if the service does not tell it.
int64 CS3Download::findLengthOfPart(int number) {
    int64 length = -1;
    CS3GetOptions options = makePinnedOptions(m_eTag);
    options.partNumber = number;
    ask(
        options,
        [&length](CNetRequest& request) { length = findContentLength(request.getResponseHeaderMap()); },
        [](const CError& error) {
            zet::logInfo(
                "The parts of the upload cannot be found, so the content is not compared with them: " +
                error.getMessage());
        });
    return length;
}

/// Gets the headers of the object, while parts may run.
void CS3Download::ask(const CS3GetOptions& options, const std::function<void(CNetRequest&)>& onSuccess,
                      const std::function<void(const CError&)>& onFailure) {
    bool isDone = false;
    m_control.start(getQueue(), makeTransferJob(
                                    [&](CNetRequest& request) {
                                        m_client.prepareGetObjectHeadersRequest(request, m_source.bucket,
                                                                                m_source.key, options);
                                    },
                                    [&](CNetRequest& request) {
                                        onSuccess(request);
                                        isDone = true;
                                    },
                                    [&](const CError& error) {
                                        onFailure(error);
                                        isDone = true;
                                    }));
    while (!isDone) {
        getQueue().finishOne();
    }
}

void CS3Download::fetchAll(const CS3PartState& left) {
    if (m_size > 0) {
        CS3PartState object = left;
        object.eTag = m_eTag;
        object.size = m_size;
        object.partSize = m_partSize;
        m_target.begin(object, m_digest, [this] {
            m_control.checkContinue();
            m_control.showProgress();
        });
        settle();
        for (int64 number = left.done.empty() ? 1 : 0; number < getPartCount(); ++number) {
            if (!left.done.empty() && left.done[static_cast<std::size_t>(number)]) {
                continue;
            }
            while (number >= m_target.getLimit()) {
                getQueue().finishOne();
                settle();
            }
            start(makePart(number));
            settle();
        }
        finishAll();
    }
    verify();
}

void CS3Download::verify() {
    if (m_digest.finish() || canExplainDifference()) {
        return;
    }
    m_target.giveUp();
    throw m_digest.makeError();
}

/// Asks the service for the parts if their size comes from the metadata, which may be wrong.
/// \return true unless the content is wrong
bool CS3Download::canExplainDifference() {
    if (!m_digest.hasPartSizeOfMetadata()) {
        return false;
    }
    const CS3UploadedParts parts = findParts();
    if (!m_digest.hasWrongMetadata(parts)) {
        return false;
    }
    m_digest.setParts(parts, m_size);
    if (m_digest.getCheck() != S3ContentCheck::None && m_target.readAgain()) {
        return m_digest.finish();
    }
    m_digest.giveUp();
    return true;
}

void CS3Download::start(const P<CS3DownloadPart>& part) {
    m_control.checkContinue();
    ++m_running;
    m_control.start(getQueue(), make<CJob>(*this, part));
}

void CS3Download::settle() {
    m_target.finishParts(std::exchange(m_fetched, {}));
}

void CS3Download::finishAll() {
    while (m_running > 0) {
        getQueue().finishOne();
        if (m_isConfirmed) {
            settle();
        }
    }
}

// ---- requests --------------------------------------------------------------------------------------------

P<CS3DownloadPart> CS3Download::makePart(int64 number) {
    const P<CS3DownloadPart> part = make<CS3DownloadPart>();
    part->number = number;
    part->offset = number * m_partSize;
    part->length = m_size < 0 ? m_partSize : std::min(m_partSize, m_size - part->offset);
    part->eTag = m_eTag;
    part->size = m_size;
    part->writer = m_target.openPart(number, part->offset, part->length);
    return part;
}

int64 CS3Download::getPartCount() const noexcept {
    return m_size / m_partSize + (m_size % m_partSize > 0 ? 1 : 0);
}

bool CS3Download::asksForChecksum() const noexcept {
    return m_settings.verifiesChecksums || m_source.options.asksForChecksum;
}

/// For the object that is known.
CS3GetOptions CS3Download::makePinnedOptions(const String& eTag) const {
    CS3GetOptions options = m_source.options;
    options.ifMatch = isStrong(eTag) ? eTag : String();
    options.ifNoneMatch = String();
    options.ifModifiedSince = zet::CTime();
    options.ifUnmodifiedSince = zet::CTime();
    return options;
}

void CS3Download::prepare(CNetRequest& request, CS3DownloadPart& part) {
    if (!isStrong(part.eTag)) {
        // What has come may belong to another object.
        m_doneBytes -= part.received;
        part.received = 0;
    }
    part.begin = part.received;
    const bool isHead = part.asksForHead || (part.size >= 0 && part.isComplete());
    CS3GetOptions options = part.size < 0 ? m_source.options : makePinnedOptions(part.eTag);
    // Only these responses tell about the object.
    options.asksForChecksum = (part.size < 0 || isHead) && asksForChecksum();
    const int64 length = isHead ? 0 : part.length - part.begin;
    m_client.prepareGetObjectRequest(request, m_source.bucket, m_source.key, part.offset + part.begin, length,
                                     options);
    request.setReceiveDataSink(
        make<CSink>(*this, getQueue(), P<CS3DownloadPart>(&part), request.getDefaultReceiveSink()));
}

void CS3Download::checkResponse(CNetRequest& request, CS3DownloadPart& part) const {
    if (part.asksForHead) {
        part.asksForHead = false;
        if (findContentLength(request.getResponseHeaderMap()) == 0) {
            part.acceptHead(request.getResponseCode(), request.getResponseHeaderMap());
        }
        return;
    }
    if (!part.hasHead) {
        part.acceptHead(request.getResponseCode(), request.getResponseHeaderMap());
    }
    if (!part.isComplete()) {
        throw makeTransientError("Received " + String::fromInt(part.received) + " of the " +
                                 String::fromInt(part.length) + " bytes of the part.");
    }
}

bool CS3Download::canFallBack(CS3DownloadPart& part, const CError& error) {
    const int status = getHTTPStatusCodeFromError(error);
    if (part.size < 0) {
        // An empty object has no first byte.
        part.asksForHead = status == statusRangeNotSatisfiable && part.heads++ < maxHeads;
        return part.asksForHead;
    }
    if (part.hasChanged || status == statusPreconditionFailed || status == statusRangeNotSatisfiable) {
        m_isStale = m_isContinuing && !m_isConfirmed;
        if (!m_isStale) {
            m_target.giveUp();
        }
        throw makeChangedError();
    }
    return false;
}

CError CS3Download::makeChangedError() const {
    return makeConflict("The object '" + zet::toDisplayText(m_source.key) +
                        "' was replaced by another one while it was read.");
}

CTransferQueue& CS3Download::getQueue() {
    if (!m_queue) {
        m_queue = m_control.makeQueue(make<CS3RequestPolicy>(m_client, m_settings.retryPolicy),
                                      m_settings.parallelParts);
    }
    return *m_queue;
}

}  // namespace vexil
