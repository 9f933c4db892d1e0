#include "apps/vexil/FTPUpload.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/FTPPath.h"
#include "apps/vexil/FTPReplies.h"
#include "apps/vexil/Interrupt.h"
#include "apps/vexil/Text.h"
#include "vexil/net/CURLError.h"

#include <utility>

namespace vexil::app {

namespace {

constexpr int maxFurtherUploads = 5;
constexpr int replyPending = 350;
constexpr int replyFileUnavailable = 550;
constexpr int replyNameNotAllowed = 553;

}  // namespace

CFTPUpload::CFTPUpload(CContext& context, CRemoteParts& parts, const P<CFileInStream>& file,
                       const String& path, const String& part, bool createMissingDirs)
    : m_context(context), m_parts(parts), m_file(file), m_path(path), m_part(part),
      m_createMissingDirs(createMissingDirs) {}

void CFTPUpload::prepare(CNetRequest& request) {
    // A move that broke may have moved the part, or not.
    if (m_isUnderWay) {
        m_step = Step::Store;
    }
    m_isUnderWay = true;
    if (m_step != Step::Store) {
        prepareMove(request);
        return;
    }
    m_parts.add(m_part);
    m_file->seek(0);
    m_context.getFTP().getClient().prepareUploadRequest(request, m_part, m_file.get(), m_file->getSize(),
                                                        m_createMissingDirs);
    const P<CNetStringList> commands = new CNetStringList;
    commands->add("*SIZE " + m_part);
    request.setFTPCustomPostCommands(commands);
}

void CFTPUpload::prepareMove(CNetRequest& request) {
    m_context.getFTP().getClient().prepareMoveFileRequest(request, m_part, m_path, false);
    const P<CNetStringList> commands = new CNetStringList;
    // Nothing is deleted before the new file has the name.
    const String oldFile = m_part + "-old";
    if (m_step == Step::Replace) {
        commands->add("RNFR " + m_path);
        commands->add("RNTO " + oldFile);
    }
    commands->add("RNFR " + m_part);
    commands->add("RNTO " + m_path);
    if (m_step == Step::Replace) {
        commands->add("*DELE " + oldFile);
    }
    commands->add("*MLST " + m_path);
    request.setFTPCustomPreCommands(commands);
}

void CFTPUpload::checkAnswer(CNetRequest& request) {
    m_isUnderWay = false;
    if (m_step == Step::Store) {
        checkStored(request);
        m_step = Step::Move;
    } else {
        m_parts.remove(m_part);
        checkMoved(request);
        m_step = Step::Done;
    }
}

void CFTPUpload::checkStored(const CNetRequest& request) {
    const auto size = findSize(request);
    m_isCut = size && *size != m_file->getSize();
    if (m_isCut) {
        throw CError("The server has stored " + formatNumberOf(*size, "byte") + " of " +
                     formatCount(m_file->getSize()) + ".");
    }
}

void CFTPUpload::checkMoved(const CNetRequest& request) const {
    const TArray<CFTPDirEntry> infos = findInfos(request);
    if (infos.empty()) {
        // The server does not know the command, or not the name.
        if (!request.getResponseText(replyFileUnavailable).isEmpty()) {
            throw CError("The server has stored the file, but not under its name.");
        }
        return;
    }
    const CFTPDirEntry& info = infos.back();
    if (!(getServerName("/" + info.getName()) == getServerName(m_path))) {
        throw CError("The server has stored the file under another name: '" + info.getName() + "'.");
    }
    if (info.getSize() != m_file->getSize()) {
        throw CError("The server has " + formatNumberOf(info.getSize(), "byte") + " instead of " +
                     formatCount(m_file->getSize()) + " under the file's name.");
    }
}

bool CFTPUpload::canBeginAnew(CNetRequest& request, const CError& error) {
    CInterrupt::throwIfRequested();
    // Whoever ended the data connection early has left the server in the belief that this was all.
    if (m_step == Step::Store && std::exchange(m_isCut, false)) {
        return ++m_furtherUploads <= maxFurtherUploads;
    }
    if (m_step == Step::Replace && m_moveError && request.getResponseText(replyPending).isEmpty()) {
        m_moveError->throwClone();
    }
    if (m_step != Step::Move || !canReplace(request, error)) {
        return false;
    }
    m_moveError = error.clone();
    m_step = Step::Replace;
    m_isUnderWay = false;
    return true;
}

// Some servers do not rename onto a file that is there.
bool CFTPUpload::canReplace(const CNetRequest& request, const CError& error) {
    const auto* const transferError = dynamic_cast<const CCURLError*>(&error);
    if (!transferError || request.getResponseText(replyPending).isEmpty()) {
        return false;
    }
    const int reply = transferError->getResponseCode();
    return reply == replyFileUnavailable || reply == replyNameNotAllowed;
}

}  // namespace vexil::app
