#include "apps/vexil/ftp/FTPDownload.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPReplies.h"
#include "apps/vexil/session/TransferMonitor.h"
#include "vexil/net/CURLError.h"

namespace vexil::app {

namespace {

// With the "*" libcurl continues if the server does not know the command (CURLOPT_PREQUOTE).
P<CNetStringList> makeInfoCommand(const String& path) {
    const P<CNetStringList> commands = new CNetStringList;
    commands->add("*MLST " + path);
    return commands;
}

}  // namespace

CFTPDownload::CFTPDownload(CFTPAccess& access, const String& path, const P<zet::IOutStream>& out)
    : m_access(access), m_path(path), m_out(out), m_start(out->getPosition()) {}

int64 CFTPDownload::getWrittenBytes() const {
    return m_out->getPosition() - m_start;
}

void CFTPDownload::prepare(CNetRequest& request) {
    if (m_isUnderWay) {
        takeInfos(request);
        goOn();
    }
    m_isUnderWay = true;
    const int64 offset = getWrittenBytes();
    CTransferMonitor::of(request).setOffset(offset);
    m_access.getFTP().getClient().prepareDownloadRequest(request, m_path, offset, -1);
    request.setReceiveDataStream(m_out.get());
    request.setFTPCustomPreCommands(makeInfoCommand(m_path));
    if (offset > 0) {
        // The file was changed while the rest was read.
        request.setFTPCustomPostCommands(makeInfoCommand(m_path));
    }
}

void CFTPDownload::goOn() {
    const int64 written = getWrittenBytes();
    if (written == 0) {
        m_info.reset();
        return;
    }
    if (!m_info || !m_info->getModifiedTime().isSet()) {
        m_out->seek(m_start);
        return;
    }
    ++m_continuations;
    m_access.getConsole().message(Verbosity::Info, "vexil: '" + printable(m_path) +
                                                       "' was interrupted after " + formatBytes(written) +
                                                       "; continuing from there.");
}

void CFTPDownload::takeInfos(const CNetRequest& request) {
    for (const CFTPDirEntry& info : findInfos(request)) {
        if (m_info && m_continuations > 0 && !isSameFile(*m_info, info)) {
            throw CError("The file '" + m_path + "' was changed while it was read.");
        }
        m_info = info;
    }
}

void CFTPDownload::checkResponse(CNetRequest& request) {
    takeInfos(request);
    m_isUnderWay = false;
    const int64 written = getWrittenBytes();
    if (m_out->getSize() - m_start > written) {
        throw CError("The file '" + m_path + "' became shorter while it was read.");
    }
    // If the server does not report it in this way, libcurl has sent SIZE and compared.
    if (m_info && m_info->getSize() != written) {
        throw CError("Received " + String::fromInt(written) + " of the " +
                     String::fromInt(m_info->getSize()) + " bytes that the server reported.");
    }
}

bool CFTPDownload::canFallBack(CNetRequest& request, const CError& error) {
    const auto* const refusal = dynamic_cast<const CCURLError*>(&error);
    if (refusal && error.getCode() == CURLE_REMOTE_FILE_NOT_FOUND && !findInfos(request).empty()) {
        throw CError("The server refuses this for '" + m_path + "'", "ftp", refusal->getResponseCode(),
                     error.getProps());
    }
    if (isMisreadRefusal(error)) {
        throwRefusal("The server refuses this for '" + m_path + "'", error);
    }
    throwIfOnlyThisBreaks(m_access.getFTP().getPolicy(), error);
    return false;
}

}  // namespace vexil::app
