#include "vexil/net/CURLError.h"
#include "vexil/net/TryWatch.h"
#include "vexil/s3/S3ChecksumCheck.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3ContentMD5.h"
#include "vexil/s3/S3Error.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3Refusal.h"
#include "vexil/s3/S3ResponseCheck.h"
#include "vexil/s3/S3SigningError.h"
#include "vexil/s3/S3UploadSource.h"
#include "zet/Log.h"

#include <algorithm>
#include <initializer_list>

namespace vexil {

namespace {

constexpr int retryDelay = 100;  // milliseconds

bool isOneOf(const String& text, std::initializer_list<const char*> candidates) {
    return std::any_of(candidates.begin(), candidates.end(),
                       [&text](const char* candidate) { return text == candidate; });
}

bool isPassingTransferError(const CCURLError& error) {
    if (error.getDomain() != "curl") {
        return false;
    }
    switch (error.getCode()) {
    case CURLE_COULDNT_CONNECT:
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
        return true;
    default:
        return false;
    }
}

String describeFailure(const CError& error) {
    if (const auto* const s3Error = dynamic_cast<const CS3Error*>(&error)) {
        return "Received " + s3Error->getS3Code() + " response from S3";
    }
    return "Got error during S3 request: " + error.getMessage();
}

/// True if the caller cancelled the transfer; the response received before that does not matter.
bool isCancelled(const CNetRequest& request, const std::exception& error) {
    const auto* const transferError = dynamic_cast<const CCURLError*>(&error);
    return request.isCancellable() && transferError && transferError->getDomain() == "curl" &&
           transferError->getCode() == CURLE_ABORTED_BY_CALLBACK;
}

P<CS3ErrorResponse> parseErrorResponse(const TBuffer<unsigned char>& body) {
    try {
        return new CS3ErrorResponse(reinterpret_cast<const char*>(body.getData()), body.getUsed());
    } catch (const CError&) {
        return nullptr;
    }
}

String decodeBody(const TBuffer<unsigned char>& body) {
    try {
        return String::fromUTF8(
            {reinterpret_cast<const char*>(body.getData()), static_cast<std::size_t>(body.getUsed())});
    } catch (const std::exception& error) {
        zet::logError(error, "Error converting S3 response data to string object.");
        return String();
    }
}

void logUnknownBody(const TBuffer<unsigned char>& body) {
    const P<zet::CXMLElement> element = new zet::CXMLElement("S3ResponseData");
    element->setText(decodeBody(body));
    zet::logError(*element, "S3 returned an error, but the response data is not a valid S3 error response.");
}

}  // namespace

int CS3Client::performRequest(CNetRequest& request) {
    CTryWatch watch(m_recordsTries, m_metrics);
    m_tries = {};
    CRetryPolicy::Failures failures;
    for (int tries = 1;; ++tries) {
        std::optional<std::chrono::milliseconds> pause;
        watch.begin();
        try {
            try {
                performSigned(request);
                if (m_retryPolicy) {
                    checkResponseIsComplete(request);
                    m_retryPolicy->onSuccess();
                }
                watch.end(request, nullptr);
                m_tries = watch.takeLog();
                return tries;
            } catch (std::exception& error) {
                if (!isCancelled(request, error)) {
                    tryThrowBetterError(error, request);
                }
                throw;
            }
        } catch (CError& error) {
            watch.end(request, &error);
            pause = decidePause(request, error, tries, failures);
            if (!pause) {
                watch.attachTo(error);
                m_tries = watch.takeLog();
                throw;
            }
        }
        watch.onRetry(*pause);
        pauseBeforeRetry(request, *pause);
        if (isVersion4() || m_retryPolicy) {
            signAgain(request);
        }
    }
}

std::optional<std::chrono::milliseconds> CS3Client::decidePause(CNetRequest& request, const CError& error,
                                                                int tries, CRetryPolicy::Failures& failures) {
    if (isCancelled(request, error)) {
        return std::nullopt;
    }
    if (m_retryPolicy) {
        return decidePauseOfPolicy(request, error, failures);
    }
    // A stream that cannot be read again decides before the log promises another try.
    if ((shouldRetryRequest(error) && !rewindUpload(request)) || !logAndDecideRetry(error, tries)) {
        return std::nullopt;
    }
    return std::chrono::milliseconds(retryDelay);
}

std::optional<std::chrono::milliseconds>
CS3Client::decidePauseOfPolicy(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures) {
    // With version 4 what could be learnt has been tried. With version 2 the next try has the time of its
    // moment; a wrong clock stays wrong.
    const bool isHopeless =
        dynamic_cast<const CS3SigningError*>(&error) && (isVersion4() || failures.count > 0);
    if (isHopeless || !m_retryPolicy->isTemporary(error) || !rewindUpload(request)) {
        return std::nullopt;
    }
    const auto pause = m_retryPolicy->decidePause(
        error, failures, CRetryPolicy::hasMovedBytes(request, error), CRetryPolicy::findRetryAfter(request));
    if (pause) {
        zet::logInfo(describeFailure(error) + " (try " + String::fromInt(failures.count) + "). Waiting " +
                     String::fromInt(pause->count()) + "ms and retrying.");
    }
    return pause;
}

void CS3Client::pauseBeforeRetry(const CNetRequest& request, std::chrono::milliseconds pause) {
    const auto milliseconds = static_cast<int>(pause.count());
    const P<CCancelToken> token = m_retryPolicy ? request.getCancelToken() : nullptr;
    if (!token) {
        waitBeforeRetry(milliseconds);
    } else if (!token->pause(milliseconds)) {
        token->throwIfCancelled();
    }
}

void CS3Client::checkResponse(CNetRequest& request) const {
    try {
        request.checkAsyncResult();
    } catch (std::exception& error) {
        if (!isCancelled(request, error)) {
            tryThrowBetterError(error, request);
        }
        throw;
    }
    checkResponseIsComplete(request);
    if (const int status = request.getResponseCode(); status < 200 || status > 299) {
        throw CError("The status line '" + request.getHTTPStatusLine() + "' is not a success.");
    }
    TMap<String, String> sent;
    if (const P<CNetHeaders> headers = request.getCustomHTTPHeaders()) {
        headers->fillMap(sent);
    }
    if (sent.contains("x-amz-copy-source")) {
        throwCopyError(request);
    }
    if (const P<CS3UploadSource> source = findUploadSource(request)) {
        source->verify(request.getResponseHeaderMap());
    } else if (m_verifiesETag && sent.contains("content-md5")) {
        verifyContentMD5(request.getResponseHeaderMap(), findHeader(sent, "content-md5"));
    }
    verifySentChecksum(request, sent);
}

bool CS3Client::logAndDecideRetry(const CError& error, int tries) const {
    // What could be learnt from it has been tried.
    const bool isHopeless = isVersion4() && dynamic_cast<const CS3SigningError*>(&error);
    if (isHopeless || !shouldRetryRequest(error)) {
        return false;
    }
    if (shouldSlowDown(error)) {
        zet::logWarning(error, "Received slowdown response from S3");
    }
    const String text = describeFailure(error) + " (try " + String::fromInt(tries) + ").";
    if (tries > m_maxRetries) {
        zet::logError(error, text + " Too many retries. Giving up!");
        return false;
    }
    zet::logInfo(text + " Waiting 100ms and retrying.");
    return true;
}

void CS3Client::extractErrorCodes(const std::exception& error, String& s3Code, String& httpCode) {
    const auto* const s3Error = dynamic_cast<const CS3Error*>(&error);
    s3Code = s3Error ? s3Error->getS3Code() : String();
    const auto* const anyError = dynamic_cast<const CError*>(&error);
    httpCode = anyError ? anyError->getProps().lookup("responseCode") : String();
}

bool CS3Client::shouldRetryRequest(const std::exception& error) {
    String s3Code;
    String httpCode;
    extractErrorCodes(error, s3Code, httpCode);
    if (!s3Code.isEmpty()) {
        return isOneOf(s3Code, {"InternalError", "SlowDown", "IncompleteBody", "InvalidDigest",
                                "OperationAborted", "RequestTimeTooSkewed"});
    }
    if (!httpCode.isEmpty()) {
        return isOneOf(httpCode, {"500", "503", "400", "409"});
    }
    const auto* const transferError = dynamic_cast<const CCURLError*>(&error);
    return transferError && isPassingTransferError(*transferError);
}

bool CS3Client::shouldSlowDown(const std::exception& error) {
    String s3Code;
    String httpCode;
    extractErrorCodes(error, s3Code, httpCode);
    return s3Code.isEmpty() ? httpCode == "503" : s3Code == "SlowDown";
}

bool CS3Client::isNotFoundError(const std::exception& error) {
    String s3Code;
    String httpCode;
    extractErrorCodes(error, s3Code, httpCode);
    return httpCode == "404" || isOneOf(s3Code, {"NoSuchKey", "NoSuchBucket"});
}

bool CS3Client::isPreconditionFailed(const std::exception& error) {
    String s3Code;
    String httpCode;
    extractErrorCodes(error, s3Code, httpCode);
    return httpCode == "412" || s3Code == "PreconditionFailed";
}

bool CS3Client::isNotModified(const std::exception& error) {
    String s3Code;
    String httpCode;
    extractErrorCodes(error, s3Code, httpCode);
    return httpCode == "304" || s3Code == "NotModified";
}

void CS3Client::tryThrowBetterError(std::exception& error, const TBuffer<unsigned char>& body) {
    const auto* const transferError = dynamic_cast<const CCURLError*>(&error);
    if (!transferError || transferError->getResponseCode() < 1 || body.getUsed() == 0) {
        return;
    }
    if (const P<CS3ErrorResponse> response = parseErrorResponse(body)) {
        throw CS3Error(*response, transferError->getResponseCode(), transferError->getURL(),
                       transferError->getHTTPMethod());
    }
    logUnknownBody(body);
}

void CS3Client::tryThrowBetterError(std::exception& error, CNetRequest& request) {
    try {
        tryThrowBetterError(error, *request.getDefaultReceiveBuffer());
    } catch (const CS3Error& refusal) {
        throwSigningError(request, refusal);
        throw;
    }
}

}  // namespace vexil
