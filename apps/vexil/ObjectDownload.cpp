#include "apps/vexil/ObjectDownload.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/Interrupt.h"
#include "apps/vexil/Text.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/ErrorClassification.h"

namespace vexil::app {

namespace {

constexpr int statusPreconditionFailed = 412;

String getHeader(const CNetRequest& request, const char* name) {
    const auto& headers = request.getResponseHeaderMap();
    const auto found = headers.find(name);
    return found == headers.end() ? String() : found->second;
}

// Only a strong ETag promises the same bytes (RFC 9110, 8.8.1).
bool isStrong(const String& eTag) {
    return !eTag.isEmpty() && !eTag.startsWith("W/");
}

bool isSuccess(int status) {
    return status >= 200 && status <= 299;
}

// Behind a successful status only the way of the bytes can have failed: in the network, not here.
bool isBrokenOnTheWay(const CError& error, int status) {
    const bool isOurs = error.getDomain() == "system" || dynamic_cast<const CInvalidArgError*>(&error);
    const bool isLibcurls = error.getDomain() == "curl";
    const bool isStopped = isLibcurls && (error.getCode() == CURLE_ABORTED_BY_CALLBACK ||
                                          error.getCode() == CURLE_OUT_OF_MEMORY);
    return isSuccess(status) && !isOurs && !isStopped;
}

}  // namespace

CObjectDownload::CObjectDownload(CContext& context, const String& bucket, const String& key)
    : m_context(context), m_bucket(bucket), m_key(key) {}

void CObjectDownload::run(zet::IOutStream& out) {
    const int64 start = out.getPosition();
    for (;;) {
        const int64 written = out.getPosition() - start;
        try {
            m_context.getSetup().setRequiredETag(written > 0 ? m_eTag : String());
            m_context.getClient().getObject(m_context.getRequest(), m_bucket, m_key, written, -1, &out);
            m_context.getSetup().setRequiredETag("");
            if (written > 0) {
                checkContinuation(written);
            }
            return;
        } catch (const CError& error) {
            m_context.getSetup().setRequiredETag("");
            const int64 received = out.getPosition() - start;
            if (written > 0 && getHTTPStatusCodeFromError(error) == statusPreconditionFailed) {
                throwReplaced();
            }
            if (!canContinue(error, received)) {
                throw;
            }
            // Not every service heeds the condition.
            if (written > 0) {
                checkContinuation(written);
            }
            m_context.getConsole().message(Verbosity::Info, "vexil: '" + printable(m_key) +
                                                                "' broke off after " + formatBytes(received) +
                                                                " (" + printable(error.getMessage()) +
                                                                "); going on from there.");
        }
    }
}

void CObjectDownload::checkContinuation(int64 written) const {
    const CNetRequest& request = m_context.getRequest();
    if (getHeader(request, "etag") != m_eTag) {
        throwReplaced();
    }
    const String wanted = "bytes " + String::fromInt(written) + "-";
    if (const String range = getHeader(request, "content-range"); !range.startsWith(wanted)) {
        throw CError("The server went on with other bytes of the object '" + printable(m_key) +
                     "' than those that were missing (Content-Range: '" + printable(range) + "').");
    }
}

void CObjectDownload::throwReplaced() const {
    throw CError("The object '" + printable(m_key) + "' was replaced by another one while it was read.");
}

bool CObjectDownload::canContinue(const CError& error, int64 written) {
    CNetRequest& request = m_context.getRequest();
    if (CInterrupt::isRequested() || m_continuations >= maxContinuations ||
        !isBrokenOnTheWay(error, request.getResponseCode())) {
        return false;
    }
    if (written == 0) {
        m_eTag.clear();
    } else if (m_eTag.isEmpty()) {
        m_eTag = getHeader(request, "etag");
        if (!isStrong(m_eTag)) {
            return false;
        }
    }
    ++m_continuations;
    return true;
}

}  // namespace vexil::app
