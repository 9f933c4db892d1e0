#include "apps/vexil/s3/ObjectUpload.h"

#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/s3/ObjectMark.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/transfer/ResponseCheck.h"

namespace vexil::app {

namespace {

constexpr int maxWrongContents = 2;

}  // namespace

CObjectUpload::CObjectUpload(CS3Access& access, const P<CFileInStream>& file, const String& bucket,
                             const String& key, const CS3PutOptions& options)
    : m_access(access), m_file(file), m_bucket(bucket), m_key(key), m_options(options) {}

void CObjectUpload::prepare(CNetRequest& request) {
    m_file->seek(0);
    m_access.getClient().preparePutObjectRequest(request, m_bucket, m_key, m_file, m_file->getSize(),
                                                 m_options);
    m_detour.apply(m_access.getClient(), request);
}

void CObjectUpload::checkResponse(CNetRequest& request) {
    checkResponseIsComplete(request);
    if (m_access.verifiesETags()) {
        m_hasWrongContent = true;
        checkContent(request);
        m_hasWrongContent = false;
    }
    const auto& headers = request.getResponseHeaderMap();
    if (const auto eTag = headers.find("etag"); eTag != headers.end()) {
        m_mark = makeObjectMark(eTag->second);
    }
}

void CObjectUpload::checkContent(CNetRequest& request) const {
    TMap<String, String> sent;
    request.getCustomHTTPHeaders()->fillMap(sent);
    if (const auto md5 = sent.find("content-md5"); md5 != sent.end()) {
        checkContentMD5(request, md5->second);
        return;
    }
    try {
        m_access.getClient().checkResponse(request);
    } catch (const CError& error) {
        // Not a temporary error: this object decides how often it is tried again.
        throw CError(error.getMessage() +
                     " (if the ETags of this server only look like an MD5: --no-verify-etag)");
    }
}

bool CObjectUpload::canBeginAgain(CNetRequest&, const CError& error) {
    CInterrupt::throwIfRequested();
    const bool hasCondition = !m_options.ifMatch.isEmpty() || !m_options.ifNoneMatch.isEmpty();
    if (!m_hasWrongContent || hasCondition || m_wrongContents++ >= maxWrongContents) {
        return false;
    }
    m_hasWrongContent = false;
    m_access.getConsole().message(Verbosity::Info, "vexil: the upload failed (" + error.getMessage() +
                                                       "); starting it again.");
    return true;
}

bool CObjectUpload::canFallBack(CNetRequest& request, const CError& error) {
    return m_detour.find(m_access.getClient(), request, error);
}

}  // namespace vexil::app
