#include "apps/vexil/s3/ObjectDownload.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/session/TransferMonitor.h"
#include "apps/vexil/transfer/ResponseCheck.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/ErrorClassification.h"
#include "zet/ParseNumber.h"

#include <utility>

namespace vexil::app {

namespace {

constexpr int statusPreconditionFailed = 412;
constexpr int statusRangeNotSatisfiable = 416;

// Only a strong ETag guarantees the same bytes (RFC 9110, 8.8.1).
bool isStrong(const String& eTag) {
    return !eTag.isEmpty() && !eTag.startsWith("W/");
}

bool isSuccess(int status) {
    return status >= 200 && status <= 299;
}

// After a successful status only the network can have failed, not this program.
bool isBrokenOnTheWay(const CError& error, int status) {
    const bool isOurs = error.getDomain() == "system" || dynamic_cast<const CInvalidArgError*>(&error);
    const bool isLibcurls = error.getDomain() == "curl";
    const bool isStopped = isLibcurls && (error.getCode() == CURLE_ABORTED_BY_CALLBACK ||
                                          error.getCode() == CURLE_OUT_OF_MEMORY);
    return isSuccess(status) && !isOurs && !isStopped;
}

}  // namespace

/// May refuse an object before its first bytes.
class CObjectDownload::COutStream : public CMD5OutStream {
public:
    COutStream(CObjectDownload& download, const P<zet::IOutStream>& out)
        : CMD5OutStream(out), m_download(download) {}

    void write(const void* data, int length) override {
        m_download.checkRefusal();
        CMD5OutStream::write(data, length);
    }

private:
    CObjectDownload& m_download;
};

CObjectDownload::CObjectDownload(CS3Access& access, const String& bucket, const String& key,
                                 const P<zet::IOutStream>& out)
    : m_access(access), m_bucket(bucket), m_key(key), m_out(new COutStream(*this, out)),
      m_start(out->getPosition()) {}

int64 CObjectDownload::getWrittenBytes() const {
    return m_out->getPosition() - m_start;
}

void CObjectDownload::goOn(CPartStream& left, int64 size, const String& eTag) {
    left.keep(size, [this](const void* data, int length) {
        CInterrupt::throwIfRequested();
        m_out->count(data, length);
    });
    m_eTag = eTag;
    m_left = &left;
    ++m_continuations;
    m_access.getConsole().message(Verbosity::Info, "vexil: '" + printable(m_key) + "' continues after " +
                                                       formatBytes(size) +
                                                       " that an earlier program has left.");
}

void CObjectDownload::setRefusal(std::function<bool(int64 size, const String& eTag)> isRefused) {
    m_refusal = std::move(isRefused);
}

void CObjectDownload::checkRefusal() {
    if (!m_refusal || getWrittenBytes() > 0) {
        return;
    }
    const int64 size = zet::parseInt64(getResponseHeader(*m_request, "content-length"), int64{-1});
    m_isRefused = m_refusal(size, getResponseHeader(*m_request, "etag"));
    if (m_isRefused) {
        throw CError("The object '" + printable(m_key) + "' must be read in parts.");
    }
}

void CObjectDownload::prepare(CNetRequest& request) {
    m_request = &request;
    m_offset = getWrittenBytes();
    m_out->mark();
    CTransferMonitor::of(request).setOffset(m_offset);
    m_access.getClient().prepareGetObjectRequest(request, m_bucket, m_key, m_offset, -1, m_out);
    if (m_offset > 0 && !m_eTag.isEmpty()) {
        // RFC 9110, 13.1.1. The signature does not cover this header.
        request.getCustomHTTPHeaders()->add("If-Match", m_eTag);
    }
    m_detour.apply(m_access.getClient(), request);
}

void CObjectDownload::checkResponse(CNetRequest& request) {
    checkResponseIsComplete(request);
    // Bytes after a status line that could not be parsed, which libcurl calls a success.
    if (request.getDefaultReceiveBuffer()->getUsed() > 0) {
        throw CError("The status line '" + request.getHTTPStatusLine() + "' is not a success.");
    }
    checkResponseLength(request, getWrittenBytes() - m_offset);
    if (m_offset > 0) {
        checkContinuation(request);
    }
    checkContent(request);
}

void CObjectDownload::checkContent(CNetRequest& request) {
    // Bytes of an earlier transfer that are after the end of this one.
    const bool isTooLong = m_out->getSize() - m_start > getWrittenBytes();
    const String contentMD5 = m_out->getContentMD5();
    m_hasWrongContent = true;
    if (isTooLong) {
        m_restarts = maxRestarts;
        throw CError("The object '" + printable(m_key) + "' became shorter while it was read.");
    }
    if (m_access.verifiesETags()) {
        try {
            checkContentMD5(request, contentMD5);
        } catch (const CError&) {
            m_restarts = contentMD5 == m_wrongMD5 ? maxRestarts : m_restarts;
            m_wrongMD5 = contentMD5;
            throw;
        }
    }
    m_hasWrongContent = false;
}

bool CObjectDownload::tryToRestart() {
    m_hasWrongContent = false;
    if (m_restarts >= maxRestarts || CInterrupt::isRequested()) {
        return false;
    }
    try {
        m_out->restart();
    } catch (const CError&) {
        // The bytes are already in a pipe: report that they are wrong.
        return false;
    }
    ++m_restarts;
    m_eTag.clear();
    m_access.getConsole().message(Verbosity::Info,
                                  "vexil: '" + printable(m_key) +
                                      "' came with other content than its ETag says; fetching it again.");
    return true;
}

bool CObjectDownload::canBeginAgain(CNetRequest& request, const CError& error) {
    if (m_isRefused) {
        return false;
    }
    if (areLeftBytesUseless(request, error)) {
        return false;
    }
    if (m_hasWrongContent) {
        return tryToRestart();
    }
    const bool isContinuation = m_offset > 0;
    if (isContinuation && getHTTPStatusCodeFromError(error) == statusPreconditionFailed) {
        throwReplaced();
    }
    if (CInterrupt::isRequested() || !isBrokenOnTheWay(error, request.getResponseCode())) {
        return false;
    }
    if (getWrittenBytes() == 0) {
        m_eTag.clear();
    } else if (m_eTag.isEmpty() && !isStrong(getResponseHeader(request, "etag"))) {
        restartOrThrow(error);
        return true;
    } else {
        m_eTag = m_eTag.isEmpty() ? getResponseHeader(request, "etag") : m_eTag;
    }
    // Some services ignore the condition.
    if (isContinuation) {
        checkContinuation(request);
    }
    ++m_continuations;
    m_access.getConsole().message(Verbosity::Info,
                                  "vexil: '" + printable(m_key) + "' was interrupted after " +
                                      formatBytes(getWrittenBytes()) + " (" + printable(error.getMessage()) +
                                      "); continuing from there.");
    return true;
}

// Without a strong ETag the rest could belong to another object.
void CObjectDownload::restartOrThrow(const CError& error) {
    try {
        m_out->restart();
    } catch (const CError&) {
        // The bytes are already in a pipe.
        error.throwClone();
    }
    m_access.getConsole().message(Verbosity::Info, "vexil: '" + printable(m_key) + "' was interrupted (" +
                                                       printable(error.getMessage()) +
                                                       ") and has no strong ETag; fetching it again.");
}

bool CObjectDownload::isContinued(const CNetRequest& request) const {
    const String wanted = "bytes " + String::fromInt(m_offset) + "-";
    return getResponseHeader(request, "etag") == m_eTag &&
           getResponseHeader(request, "content-range").startsWith(wanted);
}

bool CObjectDownload::areLeftBytesUseless(CNetRequest& request, const CError& error) const {
    if (!m_left || m_hasWrongContent) {
        return m_left.get() != nullptr;
    }
    const int status = getHTTPStatusCodeFromError(error);
    return !m_isLeftConfirmed && (status == statusPreconditionFailed || status == statusRangeNotSatisfiable ||
                                  (isSuccess(request.getResponseCode()) && !isContinued(request)));
}

bool CObjectDownload::canFallBack(CNetRequest& request, const CError& error) {
    if (CInterrupt::isRequested() || m_isRefused) {
        return false;
    }
    if (m_detour.find(m_access.getClient(), request, error)) {
        return true;
    }
    if (!areLeftBytesUseless(request, error)) {
        return false;
    }
    m_left->keep(0, nullptr);
    m_out->restart();
    m_left = nullptr;
    m_hasWrongContent = false;
    m_eTag.clear();
    --m_continuations;
    m_access.getConsole().message(
        Verbosity::Info, "vexil: the part of '" + printable(m_key) +
                             "' that an earlier program has left cannot be used; fetching all of it.");
    return true;
}

void CObjectDownload::checkContinuation(const CNetRequest& request) {
    if (getResponseHeader(request, "etag") != m_eTag) {
        throwReplaced();
    }
    if (!isContinued(request)) {
        throw CError("The server continued the object '" + printable(m_key) +
                     "' with other bytes than the missing ones (Content-Range: '" +
                     printable(getResponseHeader(request, "content-range")) + "').");
    }
    m_isLeftConfirmed = true;
}

void CObjectDownload::throwReplaced() const {
    throw CError("The object '" + printable(m_key) + "' was replaced by another one while it was read.");
}

}  // namespace vexil::app
