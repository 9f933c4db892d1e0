#include "vexil/net/NetRequest.h"

#include "vexil/net/ConnectionChoice.h"
#include "vexil/net/GlobalInit.h"
#include "vexil/net/NetRequestSetup.h"
#include "vexil/net/PostBody.h"
#include "vexil/net/ReplyAssembler.h"
#include "vexil/net/VerboseRecord.h"
#include "zet/Log.h"

#include <utility>

namespace vexil {

INetRequestSetup::~INetRequestSetup() = default;

CNetRequest::IDataSource::~IDataSource() = default;

CNetRequest::IDataSink::~IDataSink() = default;

CNetRequest::IRestartableDataSink::~IRestartableDataSink() = default;

CNetRequest::IDoneListener::~IDoneListener() = default;

CNetRequest::ITransferProgress::~ITransferProgress() = default;

CNetRequest::ICancelWaker::~ICancelWaker() = default;

CNetRequest::CNetRequest()
    : m_errorBuffer(CURL_ERROR_SIZE), m_connections(std::make_unique<CConnectionChoice>()),
      m_replies(std::make_unique<CReplyAssembler>()), m_verboseRecord(std::make_unique<CVerboseRecord>()) {
    CGlobalInit::get();
    clearErrorBuffer();
    m_responseInfo = new CNetStringList;
    m_asyncDoneSignal = new zet::CSignal;
    m_defaultReceiveBuffer = new TBuffer<unsigned char>;
    m_defaultReceiveStream = new zet::CBufferStream(m_defaultReceiveBuffer);
    m_defaultReceiveSink = new CStreamDataSink(m_defaultReceiveStream);
    m_receiveSink = m_defaultReceiveSink;
    m_handle.reset(curl_easy_init());
    if (!m_handle) {
        throw CError("Error creating curl easy handle.");
    }
    setDefaultOptions();
}

CNetRequest::~CNetRequest() {
    try {
        // Closing connections may call back (FTP says goodbye): nothing of this object is to be called then.
        if (m_handle) {
            curl_easy_reset(m_handle.get());
        }
        m_handle.reset();
    } catch (const std::exception& error) {
        zet::onExceptionInDestructorIgnored("vexil::CNetRequest", &error);
    } catch (...) {
        zet::onExceptionInDestructorIgnored("vexil::CNetRequest", nullptr);
    }
}

void CNetRequest::reset() {
    m_sendKeepAlive = nullptr;
    m_sendSource = nullptr;
    m_doneListener = nullptr;
    m_progress = nullptr;
    m_isCancellable = false;
    m_isWatched = false;
    setReceiveBufferLimits(-1, -1);
    m_tlsVersions = 0;
    setDefaultReceiveDataStream();
    setServerInfoToUpdate(nullptr);
    // Before method and upload are cleared: an automatic verbose setting is decided by the last use.
    beginAsync(CURLE_OK);
    m_url.clear();
    m_isHTTP = false;
    clearErrorBuffer();
    curl_easy_reset(m_handle.get());
    m_connections->noteReset();
    m_postBody = nullptr;
    m_httpMethod.clear();
    m_upload = false;
    m_sendDataSize = -1;
    m_customHTTPHeaders = nullptr;
    m_ftpPreCommands = {};
    m_ftpPostCommands = {};
    m_mailRecipients = {};
    {
        // What goes may add others.
        TList<P<IBase>> old;
        old.swap(m_dependencies);
    }
    resetForPerform();
    setDefaultOptions();
    setProgressOptions();
}

void CNetRequest::resetForPerform() {
    m_isCancelled = false;
    m_isUnsent = false;
    m_isBodyCut = false;
    if (m_customHTTPHeaders) {
        setOptionPtr(CURLOPT_HTTPHEADER, m_customHTTPHeaders->getSList());
    }
    setChangedListOption(CURLOPT_PREQUOTE, m_ftpPreCommands);
    setChangedListOption(CURLOPT_POSTQUOTE, m_ftpPostCommands);
    setChangedListOption(CURLOPT_MAIL_RCPT, m_mailRecipients);
    handOverPostBody();
    m_headerAssembler.reset();
    m_httpStatusLine.clear();
    m_statusLine = StatusLine::None;
    m_hasDroppedHeaderLine = false;
    m_lastParsedStatus = -1;
    if (m_verboseData == VerboseLogAutomatic) {
        m_verboseData = isUpload() ? VerboseLogReceived : VerboseLogBoth;
    }
    m_verboseRecord->clear();
    {
        const zet::CMutexLock lock(m_asyncMutex);
        m_pendingCallbackError = nullptr;
        m_isAnnounced = false;
    }
    m_responseInfo = new CNetStringList;
    m_replies->reset();
    m_defaultReceiveStream->seek(0);
    m_defaultReceiveBuffer->setUsed(0);
    // Both may take themselves off the request.
    if (m_restartableSink) {
        const P<IDataSink> sink = m_receiveSink;
        m_restartableSink->restart();
    }
    m_sendPosition = 0;
    const P<IDataSource> source = m_sendSource;
    if (source && source->getPosition() != 0) {
        source->seek(0);
    }
}

void CNetRequest::setConnectionPools(const P<CConnectionPools>& pools) noexcept {
    m_connections->setPools(m_handle.get(), pools);
}

void CNetRequest::setKeepsOwnConnections(bool keepsOwn) noexcept {
    m_connections->setKeepsOwn(keepsOwn);
}

void CNetRequest::chooseConnections() {
    checkOptionResult(m_connections->choose(m_handle.get(), !m_isHTTP));
}

void CNetRequest::addDependencyObject(IBase* object) {
    // Held first: there may be no memory for the list.
    P<IBase> dependency = object;
    m_dependencies.push_back(std::move(dependency));
}

bool CNetRequest::isUpload() const noexcept {
    return m_upload || m_httpMethod == "PUT";
}

}  // namespace vexil
