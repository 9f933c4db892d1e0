#include "vexil/net/NetRequest.h"

#include "vexil/net/NetRequestParts.h"
#include "vexil/net/NetRequestSetup.h"
#include "vexil/net/ServerCommands.h"

#include <utility>

namespace vexil {

INetRequestSetup::~INetRequestSetup() = default;

CNetRequest::CNetRequest()
    : m_parts(std::make_unique<CNetRequestParts>()), m_handle(m_parts->curl.getHandle()) {
    setDefaultOptions();
}

CNetRequest::~CNetRequest() {
    // First: its options point to other members.
    m_parts->curl.close(m_parts->connections.mayHaveOwn());
}

void CNetRequest::reset() {
    CNetRequestParts& parts = *m_parts;
    parts.requestBody.dropSource();
    parts.doneListener = nullptr;
    parts.watch.reset();
    setReceiveBufferLimits(-1, -1);
    setDefaultReceiveDataStream();
    setServerInfoToUpdate(nullptr);
    // Before method and upload are cleared: the last use decides an automatic verbose setting.
    beginAsync(CURLE_OK);
    parts.isHTTP = false;
    parts.curl.reset();
    parts.connections.noteReset();
    parts.requestBody.reset();
    parts.httpMethod.clear();
    parts.upload = false;
    parts.customHTTPHeaders = nullptr;
    parts.ftpPreCommands = {};
    parts.ftpPostCommands = {};
    parts.mailRecipients = {};
    {
        // An object that is released may add others.
        TList<P<IBase>> old;
        old.swap(parts.dependencies);
    }
    setDefaultOptions();
    setProgressOptions();
}

void CNetRequest::resetForPerform() {
    CNetRequestParts& parts = *m_parts;
    parts.watch.begin();
    parts.responseBody.forgetCut();
    if (parts.customHTTPHeaders) {
        parts.curl.setPointer(CURLOPT_HTTPHEADER, parts.customHTTPHeaders->getSList());
    }
    parts.setChangedList(CURLOPT_PREQUOTE, parts.ftpPreCommands);
    parts.setChangedList(CURLOPT_POSTQUOTE, parts.ftpPostCommands);
    parts.setChangedList(CURLOPT_MAIL_RCPT, parts.mailRecipients);
    parts.requestBody.handOverPostBody(parts.isPost());
    parts.verboseLog.begin(parts.isUpload());
    parts.async.forgetTransfer();
    parts.responseHead.clear();
    parts.responseBody.begin();
    parts.requestBody.rewind();
}

void CNetRequest::addDependencyObject(IBase* object) {
    // Kept first: there may be no memory for the list.
    P<IBase> dependency = object;
    m_parts->dependencies.push_back(std::move(dependency));
}

void CNetRequest::setUserData(IBase* data) {
    m_parts->userData = data;
}

P<IBase> CNetRequest::getUserData() const {
    return m_parts->userData;
}

// ---- connections -----------------------------------------------------------------------------------------

/// The connections of the driver; null for the request's own.
void CNetRequest::setConnectionPools(const P<CConnectionPools>& pools) noexcept {
    m_parts->connections.setPools(m_parts->curl, pools);
}

void CNetRequest::setKeepsOwnConnections(bool keepsOwn) noexcept {
    m_parts->connections.setKeepsOwn(keepsOwn);
}

void CNetRequestParts::borrowConnections() {
    const bool hasLastingCommand = (!isHTTP && connections.hasLastingCommand()) ||
                                   vexil::hasLastingCommand(ftpPreCommands.head) ||
                                   vexil::hasLastingCommand(ftpPostCommands.head);
    if (hasLastingCommand || !connections.canBorrow()) {
        chooseConnections();
    } else {
        curl.check(connections.borrow(curl));
    }
}

void CNetRequestParts::restoreReuse() noexcept {
    if (watch.isCancelled() && !isHTTP) {
        connections.restoreReuse(curl);
    }
}

// ---- lists -----------------------------------------------------------------------------------------------

void CNetRequestParts::setList(CURLoption option, ListOption& slot, CNetStringList* list) {
    // Kept even if libcurl refuses it: only this call may refer to it.
    const P<CNetStringList> next = list;
    const P<CNetStringList> old = slot.list;
    curl_slist* const head = list ? list->getSList() : nullptr;
    curl.setPointer(option, head);
    slot = {next, head};
}

void CNetRequestParts::setChangedList(CURLoption option, ListOption& slot) {
    if (slot.list && slot.list->getSList() != slot.head) {
        setList(option, slot, slot.list);
    }
}

}  // namespace vexil
