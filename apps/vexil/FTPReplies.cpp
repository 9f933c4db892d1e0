#include "apps/vexil/FTPReplies.h"

#include "vexil/ftp/FTPGetInfoResult.h"
#include "vexil/net/CURLError.h"
#include "zet/ParseNumber.h"

namespace vexil::app {

namespace {

constexpr int replyFileStatus = 213;
constexpr int replyBadArgument = 501;
constexpr int replyFileUnavailable = 550;
constexpr int replyNameNotAllowed = 553;

void addInfo(TArray<CFTPDirEntry>& infos, const String& firstLine, const String& factLine) {
    CNetStringList reply;
    reply.add(firstLine);
    reply.add(factLine);
    try {
        infos.push_back(*CFTPGetInfoResult(reply).getInfo());
    } catch (const CError&) {
        // Some other reply of several lines.
    }
}

int getReplyCode(const CError& error) {
    const auto* const transferError = dynamic_cast<const CCURLError*>(&error);
    return transferError ? transferError->getResponseCode() : 0;
}

}  // namespace

TArray<CFTPDirEntry> findInfos(const CNetRequest& request) {
    TArray<CFTPDirEntry> infos;
    String lineBefore;
    for (const P<CNetStringList::CIterator> lines = request.getResponseInfo().createIterator();
         lines->next();) {
        if (lineBefore.startsWith("250-") && lines->getEntry().startsWith(" ")) {
            addInfo(infos, lineBefore, lines->getEntry());
        }
        lineBefore = lines->getEntry();
    }
    return infos;
}

std::optional<int64> findSize(const CNetRequest& request) {
    const String reply = request.getResponseText(replyFileStatus);
    const int64 size = zet::parseInt64(reply.substr(std::min<std::size_t>(4, reply.length())).trimmed(), -1);
    return size < 0 ? std::nullopt : std::optional(size);
}

TArray<String> findRefusals(const CNetRequest& request) {
    TArray<String> refusals;
    for (const P<CNetStringList::CIterator> lines = request.getResponseInfo().createIterator();
         lines->next();) {
        const String line = lines->getEntry().trimmed();
        if ((line.startsWith("4") || line.startsWith("5")) && line.find(L' ') == 3) {
            refusals.push_back(line);
        }
    }
    return refusals;
}

bool isUnknownCommand(const CError& error) {
    const int code = getReplyCode(error);
    return code == 500 || code == 502 || code == 504;
}

bool isRefusedFile(const CError& error) {
    const int code = getReplyCode(error);
    return code == replyFileUnavailable || code == replyNameNotAllowed || code == replyBadArgument;
}

bool isSameFile(const CFTPDirEntry& first, const CFTPDirEntry& second) {
    return first.getSize() == second.getSize() && first.getModifiedTime().isSet() &&
           first.getModifiedTime() == second.getModifiedTime();
}

}  // namespace vexil::app
