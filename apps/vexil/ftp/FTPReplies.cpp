#include "apps/vexil/ftp/FTPReplies.h"

#include "zet/ParseNumber.h"
#include "zet/TimeFields.h"

#include <algorithm>

namespace vexil::app {

namespace {

constexpr int replyFileStatus = 213;
constexpr int replyGoodbye = 221;
constexpr int replyFileActionDone = 250;
constexpr int replyAuthAccepted = 234;
constexpr int replyPathMade = 257;
constexpr int firstRefusal = 400;
constexpr int firstFinalRefusal = 500;
constexpr int replyBadArgument = 501;
constexpr int replyFileUnavailable = 550;
constexpr int replyNameNotAllowed = 553;

int getReplyCode(const CError& error) {
    const auto* const transferError = dynamic_cast<const CCURLError*>(&error);
    return transferError ? transferError->getResponseCode() : 0;
}

/// The second line of a reply, which contains the facts in a reply to MLST; "" if there is only one line.
String getSecondLine(const String& text) {
    const std::size_t begin = std::min(text.find(L'\n'), text.length() - 1) + 1;
    const std::size_t end = std::min(text.find(L'\n', begin), text.length());
    return text.substr(begin, end - begin);
}

}  // namespace

bool hasReply(const CNetRequest& request, int code) {
    const TArray<CNetReply> replies = request.getReplies();
    return std::any_of(replies.begin(), replies.end(),
                       [code](const CNetReply& reply) { return reply.getCode() == code; });
}

String describeReply(const CNetReply& reply) {
    String text = reply.getText();
    text.replaceAll("\n", " ");
    text.trim();
    const String code = String::fromInt(reply.getCode());
    return text.isEmpty() ? code : code + " " + text;
}

String describeReply(const CNetRequest& request, int code) {
    String text;
    for (const CNetReply& reply : request.getReplies()) {
        if (reply.getCode() == code) {
            text = describeReply(reply);
        }
    }
    return text;
}

CNetReply getReplyFromEnd(const CNetRequest& request, int position) {
    TArray<CNetReply> replies = request.getReplies();
    std::erase_if(replies, [](const CNetReply& reply) { return reply.getCode() == replyGoodbye; });
    const auto count = static_cast<std::size_t>(position);
    if (count > replies.size()) {
        throw CError("The server has not replied to every command.");
    }
    return replies[replies.size() - count];
}

bool isTransient(int code) {
    return code >= firstRefusal && code < firstFinalRefusal;
}

bool isUnknownCommand(int code) {
    return code == 500 || code == 502 || code == 504;
}

std::optional<CFTPDirEntry> findInfo(const CNetReply& reply) {
    String line = getSecondLine(reply.getText());
    if (reply.getCode() != replyFileActionDone || !line.startsWith(" ")) {
        return std::nullopt;
    }
    line.trimLeft();
    try {
        return CFTPDirEntry(line);
    } catch (const CError&) {
        // Another reply of several lines.
        return std::nullopt;
    }
}

TArray<CFTPDirEntry> findInfos(const CNetRequest& request) {
    TArray<CFTPDirEntry> infos;
    for (const CNetReply& reply : request.getReplies()) {
        if (const auto info = findInfo(reply)) {
            infos.push_back(*info);
        }
    }
    return infos;
}

std::optional<int64> findSize(const CNetReply& reply) {
    if (reply.getCode() != replyFileStatus) {
        return std::nullopt;
    }
    const int64 size = zet::parseInt64(reply.getText().trimmed(), -1);
    return size < 0 ? std::nullopt : std::optional(size);
}

std::optional<String> findMadePath(const CNetReply& reply) {
    const String text = reply.getText();
    if (reply.getCode() != replyPathMade || !text.startsWith("\"")) {
        return std::nullopt;
    }
    String path;
    for (std::size_t i = 1; i < text.length(); ++i) {
        // A quote within the path is doubled; a NUL follows the last character.
        if (text[i] == L'"' && text[++i] != L'"') {
            return path;
        }
        path += text[i];
    }
    return std::nullopt;
}

TArray<CNetReply> findRefusals(const CNetRequest& request) {
    TArray<CNetReply> refusals;
    for (const CNetReply& reply : request.getReplies()) {
        if (reply.getCode() >= firstRefusal) {
            refusals.push_back(reply);
        }
    }
    return refusals;
}

CCURLError makeRefusal(const CNetRequest& request, const CNetReply& reply) {
    return CCURLError(CURLE_QUOTE_ERROR, "QUOT command failed with " + String::fromInt(reply.getCode()),
                      "ftp", reply.getCode(), describeReply(reply), "", request.getURL(), "");
}

bool isRefusedFile(const CError& error) {
    const int code = getReplyCode(error);
    return code == replyFileUnavailable || code == replyNameNotAllowed || code == replyBadArgument;
}

bool isMisreadRefusal(const CError& error) {
    return error.getDomain() == "curl" && error.getCode() == CURLE_FTP_WEIRD_PASV_REPLY &&
           getReplyCode(error) >= firstRefusal;
}

bool isBrokenDataHandshake(const CError& error) {
    const int code = getReplyCode(error);
    return error.getDomain() == "curl" && error.getCode() == CURLE_SSL_CONNECT_ERROR && code > 0 &&
           code != replyAuthAccepted;
}

bool isUnknownCommand(const CError& error) {
    return isUnknownCommand(getReplyCode(error));
}

void throwRefusal(const String& message, const CError& error) {
    throw CError(message, "ftp", getReplyCode(error), error.getProps());
}

String makeFileMark(const CFTPDirEntry& entry) {
    const zet::CTime time = entry.getModifiedTime();
    constexpr int64 microsecondsPerSecond = 1'000'000;
    return time.isSet() ? makeTimeValue({time.getMicroseconds() / microsecondsPerSecond, 0}) : String();
}

String makeTimeValue(const CFileTime& time) {
    constexpr int64 firstSecond = -62'135'596'800;  // of the year 1
    constexpr int64 endSecond = 253'402'300'800;    // of the year 9999
    if (time.seconds < firstSecond || time.seconds >= endSecond) {
        return String();
    }
    const zet::CTimeFields fields(zet::CTime::fromCTime(time.seconds));
    int64 digits = 1;  // before the year, to keep its zeros
    const auto add = [&digits](int64 factor, int number) { digits = digits * factor + number; };
    add(10'000, fields.getYear());
    for (const int number :
         {fields.getMonth(), fields.getDay(), fields.getHour(), fields.getMinute(), fields.getSecond()}) {
        add(100, number);
    }
    return String::fromInt(digits).substr(1);
}

bool isSameFile(const CFTPDirEntry& first, const CFTPDirEntry& second) {
    return first.getSize() == second.getSize() && first.getModifiedTime().isSet() &&
           first.getModifiedTime() == second.getModifiedTime();
}

}  // namespace vexil::app
