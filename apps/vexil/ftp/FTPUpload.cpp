#include "apps/vexil/ftp/FTPUpload.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/ftp/FTPReplies.h"
#include "apps/vexil/platform/Interrupt.h"
#include "vexil/net/CURLError.h"

#include <utility>

namespace vexil::app {

namespace {

constexpr int probeSeconds = 10;

constexpr int replyConnectionOpen = 125;
constexpr int replyTransferBegins = 150;
constexpr int replyTransferDone = 226;
constexpr int replyPassive = 227;
constexpr int replyExtendedPassive = 229;
constexpr int replyFileActionDone = 250;
constexpr int replyPending = 350;
constexpr int replyFileUnavailable = 550;
constexpr int replyNameNotAllowed = 553;

void throwIfTransient(CNetRequest& request, const CNetReply& reply) {
    if (isTransient(reply.getCode())) {
        throw makeRefusal(request, reply);
    }
}

bool isSuccess(int code) {
    return code >= 200 && code <= 299;
}

/// Whether a running transfer failed before all data was sent.
bool isBrokenOff(CNetRequest& request) {
    if (!hasReply(request, replyTransferBegins) && !hasReply(request, replyConnectionOpen)) {
        return false;
    }
    try {
        request.checkAsyncResult();
    } catch (const CCURLError& error) {
        return error.getCode() == CURLE_SEND_ERROR;
    }
    return false;
}

// Some servers do not rename onto an existing file.
bool mayBeInTheWay(const CNetRequest& request, const CError& error) {
    const auto* const transferError = dynamic_cast<const CCURLError*>(&error);
    if (!transferError || !hasReply(request, replyPending)) {
        return false;
    }
    const int reply = transferError->getResponseCode();
    return reply == replyFileUnavailable || reply == replyNameNotAllowed;
}

}  // namespace

CFTPUpload::CFTPUpload(CFTPAccess& access, CRemoteParts& parts, const P<CFileInStream>& file,
                       const String& path, bool createMissingDirs, const std::optional<CFileTime>& time)
    : m_access(access), m_parts(parts), m_file(file), m_path(path), m_part(makePartPath(path)),
      m_probe(makePartPath(path)), m_oldFile(m_part + "-old"), m_createMissingDirs(createMissingDirs),
      m_time(time ? makeTimeValue(*time) : String()) {}

// ---- requests --------------------------------------------------------------------------------------------

void CFTPUpload::prepare(CNetRequest& request) {
    if (m_isUnderWay) {
        considerFailure(request);
    }
    m_isUnderWay = true;
    switch (m_step) {
    case Step::Look:
        prepareCommands(request, {"*MLST " + m_path});
        break;
    case Step::Enter:
        prepareCommands(request, {"*CWD " + m_path});
        break;
    case Step::Store:
        prepareStore(request);
        break;
    case Step::Probe:
        prepareProbe(request);
        break;
    case Step::Verify:
        prepareCommands(request, {"*TYPE I", "*SIZE " + m_path});
        break;
    case Step::Check:
        // Some servers report sizes only in this mode.
        prepareCommands(request, {"*TYPE I", "*SIZE " + m_part, "*MLST " + m_path});
        break;
    default:
        prepareMove(request);
        break;
    }
}

// A failed step may have been done, or not.
void CFTPUpload::considerFailure(CNetRequest& request) {
    if (m_step == Step::Probe) {
        throwIfNoRoom(request);
        m_step = Step::Store;
    } else if (m_isStored || hasStored(request)) {
        m_step = Step::Check;
    } else if (m_step == Step::Store) {
        notePart(request);
        if (isBrokenOff(request)) {
            m_step = Step::Probe;
        }
    }
}

// A part that was never begun cannot be left. The command is sent only after a data connection was offered.
void CFTPUpload::notePart(const CNetRequest& request) {
    m_hasBegun = m_hasBegun || hasReply(request, replyPassive) || hasReply(request, replyExtendedPassive);
    if (!m_hasBegun) {
        m_parts.remove(m_part);
    }
}

// The connection may end with the reply to SIZE. If the replies belong to another transfer, no file is found.
bool CFTPUpload::hasStored(const CNetRequest& request) const {
    return m_step == Step::Store &&
           (hasReply(request, replyTransferDone) || hasReply(request, replyFileActionDone));
}

// With the "*" libcurl continues after a refusal (CURLOPT_PREQUOTE); the reply decides.
void CFTPUpload::prepareCommands(CNetRequest& request, const std::vector<String>& commands) {
    m_access.getFTP().getClient().prepareGetInfoRequest(request, m_path);
    const P<CNetStringList> list = new CNetStringList;
    for (const String& command : commands) {
        list->add(command);
    }
    request.setFTPCustomPreCommands(list);
}

void CFTPUpload::prepareStore(CNetRequest& request) {
    m_parts.add(m_part);
    m_isStored = false;
    m_file->seek(0);
    m_access.getFTP().getClient().prepareUploadRequest(request, m_part, m_file.get(), m_file->getSize(),
                                                       m_createMissingDirs);
    const P<CNetStringList> commands = new CNetStringList;
    commands->add("*SIZE " + m_part);
    request.setFTPCustomPostCommands(commands);
}

// libcurl does not read why a server has closed the data connection before all data was sent. A file this
// small is already sent completely, and the reply is read.
void CFTPUpload::prepareProbe(CNetRequest& request) {
    static constexpr char content[16384] = {};
    m_parts.add(m_probe);
    m_access.getFTP().getClient().prepareUploadRequest(request, m_probe, content, sizeof content, false);
    request.setOptionInt(CURLOPT_SERVER_RESPONSE_TIMEOUT, probeSeconds);
    const P<CNetStringList> commands = new CNetStringList;
    commands->add("*DELE " + m_probe);
    request.setFTPCustomPostCommands(commands);
}

// Nothing is deleted before the new file has the name.
void CFTPUpload::prepareMove(CNetRequest& request) {
    m_isMoveTried = true;
    std::vector<String> commands;
    if (m_step == Step::Replace) {
        m_hasReplaced = true;
        m_parts.addReplaced(m_oldFile, m_path);
        commands = {"RNFR " + m_path, "RNTO " + m_oldFile};
    }
    // Before it has the name: another run may store another content under that name at any time.
    m_setsTime = !m_time.isEmpty() && m_access.getFTP().knowsMFMT();
    if (m_setsTime) {
        commands.push_back("*MFMT " + m_time + " " + m_part);
    }
    commands.push_back("RNFR " + m_part);
    commands.push_back("RNTO " + m_path);
    if (m_hasReplaced) {
        commands.push_back("*DELE " + m_oldFile);
    }
    commands.push_back("*MLST " + m_path);
    prepareCommands(request, commands);
}

// ---- replies ---------------------------------------------------------------------------------------------

void CFTPUpload::checkResponse(CNetRequest& request) {
    switch (m_step) {
    case Step::Look:
        m_step = checkLook(request);
        break;
    case Step::Enter:
        m_step = checkEnter(request);
        break;
    case Step::Store:
        m_step = checkStored(request);
        break;
    case Step::Probe:
        m_step = checkProbed(request);
        break;
    case Step::Verify:
        m_step = checkVerified(request);
        break;
    case Step::Check:
        m_step = decideFurtherStep(request);
        break;
    default:
        m_step = checkMoved(request);
        break;
    }
    m_isUnderWay = false;
}

CFTPUpload::Step CFTPUpload::checkLook(CNetRequest& request) const {
    const CNetReply info = getReplyFromEnd(request, 1);
    throwIfTransient(request, info);
    checkIsNoDirectory(info);
    return isUnknownCommand(info.getCode()) ? Step::Enter : Step::Store;
}

CFTPUpload::Step CFTPUpload::checkEnter(CNetRequest& request) const {
    const CNetReply reply = getReplyFromEnd(request, 1);
    throwIfTransient(request, reply);
    if (isSuccess(reply.getCode())) {
        throwIsDirectory();
    }
    return Step::Store;
}

CFTPUpload::Step CFTPUpload::checkStored(CNetRequest& request) {
    const CNetReply reply = getReplyFromEnd(request, 1);
    m_isStored = m_hasBegun = true;
    throwIfTransient(request, reply);
    const auto size = findSize(reply);
    m_isCut = size && *size != m_file->getSize();
    if (m_isCut) {
        m_isStored = false;
        throw CError("The server has stored " + formatNumberOf(*size, "byte") + " of " +
                     formatCount(m_file->getSize()) + ".");
    }
    return Step::Move;
}

CFTPUpload::Step CFTPUpload::checkProbed(const CNetRequest& request) {
    if (isSuccess(getReplyFromEnd(request, 1).getCode())) {
        m_parts.remove(m_probe);
    }
    if (m_sendError) {
        m_sendError->throwClone();
    }
    return Step::Store;
}

CFTPUpload::Step CFTPUpload::checkVerified(CNetRequest& request) const {
    const CNetReply reply = getReplyFromEnd(request, 1);
    throwIfTransient(request, reply);
    if (findSize(reply) != m_file->getSize()) {
        throw CError("The server has stored the file, but not under its name.");
    }
    return Step::Done;
}

CFTPUpload::Step CFTPUpload::decideFurtherStep(CNetRequest& request) {
    const CNetReply partSize = getReplyFromEnd(request, 2);
    const CNetReply info = getReplyFromEnd(request, 1);
    throwIfTransient(request, partSize);
    throwIfTransient(request, info);
    if (findSize(partSize) == m_file->getSize()) {
        checkIsNoDirectory(info);
        return decideMove(info);
    }
    const auto found = findInfo(info);
    const bool isMoved = m_isMoveTried && partSize.getCode() == replyFileUnavailable && found &&
                         found->getType() != zet::IFileInfoBase::TypeDirectory &&
                         found->getSize() == m_file->getSize();
    if (!isMoved) {
        return Step::Store;
    }
    checkName(info);
    m_mark = makeFileMark(*found);
    m_parts.remove(m_part);
    keepNoReplaced(false);
    return Step::Done;
}

CFTPUpload::Step CFTPUpload::decideMove(const CNetReply& info) const {
    if (!m_moveError) {
        return Step::Move;
    }
    if (isSuccess(info.getCode()) || isUnknownCommand(info.getCode())) {
        return Step::Replace;
    }
    // The file does not exist, or was already moved away.
    if (!m_hasReplaced) {
        m_moveError->throwClone();
    }
    return Step::Move;
}

CFTPUpload::Step CFTPUpload::checkMoved(CNetRequest& request) {
    const CNetReply info = getReplyFromEnd(request, 1);
    throwIfTransient(request, info);
    m_parts.remove(m_part);
    keepNoReplaced(m_hasReplaced && isSuccess(getReplyFromEnd(request, 2).getCode()));
    noteTime(request);
    if (!isSuccess(info.getCode()) && !isUnknownCommand(info.getCode())) {
        return Step::Verify;
    }
    checkName(info);
    const auto found = findInfo(info);
    if (found && found->getSize() != m_file->getSize()) {
        throw CError("The server has " + formatNumberOf(found->getSize(), "byte") + " instead of " +
                     formatCount(m_file->getSize()) + " under the file's name.");
    }
    if (found && m_mark.isEmpty()) {
        m_mark = makeFileMark(*found);
    }
    return Step::Done;
}

void CFTPUpload::noteTime(const CNetRequest& request) {
    if (!m_setsTime) {
        return;
    }
    const int code = getReplyFromEnd(request, m_hasReplaced ? 5 : 4).getCode();
    if (isSuccess(code)) {
        m_mark = m_time;
    } else if (isUnknownCommand(code)) {
        m_access.getFTP().noteUnknownMFMT();
    }
}

void CFTPUpload::keepNoReplaced(bool isDeleted) {
    if (m_hasReplaced) {
        m_parts.removeReplaced(m_oldFile);
        if (!isDeleted) {
            // Once more at the end.
            m_parts.add(m_oldFile);
        }
    }
}

void CFTPUpload::checkName(const CNetReply& info) const {
    const auto found = findInfo(info);
    if (found && !(getServerName("/" + found->getName()) == getServerName(m_path))) {
        throw CError("The server has stored the file under another name: '" + found->getName() + "'.");
    }
}

void CFTPUpload::checkIsNoDirectory(const CNetReply& info) const {
    const auto found = findInfo(info);
    if (found && found->getType() == zet::IFileInfoBase::TypeDirectory) {
        throwIsDirectory();
    }
}

void CFTPUpload::throwIsDirectory() const {
    throw CError("On the server '" + m_path + "' is a directory, which no file replaces", "ftp");
}

void CFTPUpload::throwIfNoRoom(const CNetRequest& request) const {
    const TArray<CNetReply> refusals = findRefusals(request);
    if (!refusals.empty()) {
        throwRefusal(
            "The server accepts no more of the file: its disk, or the quota of this user, may be full",
            makeRefusal(request, refusals.back()));
    }
}

void CFTPUpload::throwIfRenamingIsUnknown(const CNetRequest& request, const CError& error) const {
    if ((m_step == Step::Move || m_step == Step::Replace) && !hasReply(request, replyPending) &&
        isUnknownCommand(error)) {
        throwRefusal(
            "The server cannot rename files, and a file is not stored under its name before it is complete",
            error);
    }
}

// ---- failures --------------------------------------------------------------------------------------------

bool CFTPUpload::canBeginAgain(CNetRequest&, const CError&) {
    CInterrupt::throwIfRequested();
    // The data connection ended early, and the server took what it had for the whole file.
    return std::exchange(m_isCut, false);
}

bool CFTPUpload::canFallBack(CNetRequest& request, const CError& error) {
    CInterrupt::throwIfRequested();
    throwIfRenamingIsUnknown(request, error);
    if (m_step == Step::Probe) {
        throwIfNoRoom(request);
        (m_sendError ? *m_sendError : error).throwClone();
    }
    if (m_step == Step::Store) {
        notePart(request);
        if (isMisreadRefusal(error)) {
            throwRefusal("The server refuses to store the file", error);
        }
        throwIfOnlyThisBreaks(m_access.getFTP().getPolicy(), error);
        if (!m_sendError && isBrokenOff(request)) {
            m_sendError = error.clone();
            m_step = Step::Probe;
            // The step is done, and prepare() chooses the next one.
            m_isUnderWay = false;
            return true;
        }
    }
    if (m_step == Step::Replace && m_moveError && !hasReply(request, replyPending)) {
        m_moveError->throwClone();
    }
    if (m_step != Step::Move || m_moveError || !mayBeInTheWay(request, error)) {
        return false;
    }
    m_moveError = error.clone();
    m_step = Step::Check;
    return true;
}

}  // namespace vexil::app
