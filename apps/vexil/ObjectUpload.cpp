#include "apps/vexil/ObjectUpload.h"

#include "apps/vexil/AnswerCheck.h"
#include "apps/vexil/Context.h"
#include "apps/vexil/Interrupt.h"
#include "vexil/net/CURLError.h"

namespace vexil::app {

namespace {

constexpr int maxFurtherUploads = 5;
constexpr int maxWrongContents = 2;
constexpr int statusContinue = 100;

/// Whether the client would have tried again, had no interim answer stood before the failure.
bool isBrokenBehindContinue(const CError& error) {
    const auto* const transferError = dynamic_cast<const CCURLError*>(&error);
    if (!transferError || transferError->getDomain() != "curl" ||
        transferError->getResponseCode() != statusContinue) {
        return false;
    }
    const CCURLError withoutAnswer(static_cast<CURLcode>(error.getCode()), "", "", 0, "", "", "", "");
    return CS3Client::shouldRetryRequest(withoutAnswer);
}

}  // namespace

CObjectUpload::CObjectUpload(CContext& context, const P<CFileInStream>& file, const String& bucket,
                             const String& key, const String& contentType)
    : m_context(context), m_file(file), m_bucket(bucket), m_key(key), m_contentType(contentType) {}

void CObjectUpload::prepare(CNetRequest& request) {
    m_file->seek(0);
    m_context.getClient().preparePutObjectRequest(request, m_bucket, m_key, m_file, m_file->getSize(),
                                                  m_contentType);
}

void CObjectUpload::checkAnswer(CNetRequest& request) {
    checkAnswerIsComplete(request);
    if (m_context.verifiesETags()) {
        TMap<String, String> sent;
        request.getCustomHTTPHeaders()->fillMap(sent);
        m_hasWrongContent = true;
        checkContentMD5(request, sent["content-md5"]);
        m_hasWrongContent = false;
    }
}

bool CObjectUpload::isToBeginAnew(const CError& error) {
    if (m_hasWrongContent) {
        m_hasWrongContent = false;
        return m_wrongContents++ < maxWrongContents;
    }
    return m_furtherUploads++ < maxFurtherUploads && isBrokenBehindContinue(error);
}

bool CObjectUpload::canBeginAnew(CNetRequest&, const CError& error) {
    CInterrupt::throwIfRequested();
    if (!isToBeginAnew(error)) {
        return false;
    }
    m_context.getConsole().message(Verbosity::Info, "vexil: the upload failed (" + error.getMessage() +
                                                        "); beginning it again.");
    return true;
}

}  // namespace vexil::app
