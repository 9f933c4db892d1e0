/// \file
/// What the replies of an FTP server mean, beyond success and failure. The codes decide, so replies with
/// bytes that are not UTF-8 are never missing.
#pragma once

#include "apps/vexil/base/FileTime.h"
#include "vexil/ftp/FTPDirEntry.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/NetReply.h"
#include "vexil/net/NetRequest.h"

#include <optional>

namespace vexil::app {

/// Whether there was a reply of this code in the last transfer.
bool hasReply(const CNetRequest& request, int code);
/// The last reply of this code in the last transfer as one line, after its code; "" if there was none.
String describeReply(const CNetRequest& request, int code);
/// A reply as one line, after its code.
String describeReply(const CNetReply& reply);
/// One of the last replies of the last transfer. Goodbyes (221) are ignored: libcurl may have closed another
/// connection during the transfer.
/// \param position  1 for the last reply, 2 for the one before it
/// \throws CError if there were fewer replies
CNetReply getReplyFromEnd(const CNetRequest& request, int position);

/// Whether a code means "not now" (RFC 959, 4.2: 400 to 499).
bool isTransient(int code);
/// Whether a code means that the server does not know the command (500 and 502), or not this use of it (504).
bool isUnknownCommand(int code);

/// The facts in a reply to MLST; nullopt for a refusal, and for a reply that cannot be read.
std::optional<CFTPDirEntry> findInfo(const CNetReply& reply);
/// The facts in the replies to MLST of the last transfer, in their order. Replies that cannot be read are
/// left out.
TArray<CFTPDirEntry> findInfos(const CNetRequest& request);

/// The size in a reply to SIZE, in bytes; nullopt for any other reply.
std::optional<int64> findSize(const CNetReply& reply);

/// The path in a reply to MKD; nullopt if it contains none (RFC 959, appendix II).
std::optional<String> findMadePath(const CNetReply& reply);

/// All refusals (replies of 400 and more) of the last transfer, in their order.
TArray<CNetReply> findRefusals(const CNetRequest& request);

/// A refusal after which libcurl continued, as an error.
CCURLError makeRefusal(const CNetRequest& request, const CNetReply& reply);

/// Whether the server has refused to do something with a file or directory (replies 550, 553, 501), because
/// it is missing or forbidden.
bool isRefusedFile(const CError& error);

/// Whether the server has refused a transfer and libcurl took the refusal for a reply to PASV: over TLS, if
/// the server closes the data connection, libcurl gives it up first.
bool isMisreadRefusal(const CError& error);
/// Whether a data connection has ended before it was encrypted. The handshake of the control connection comes
/// first of all, or after the reply to AUTH.
bool isBrokenDataHandshake(const CError& error);
/// Whether the server does not know the command (see isUnknownCommand()).
bool isUnknownCommand(const CError& error);
/// Throws a refusal that libcurl reports with other words.
/// \param message  what has failed
/// \param error    a failed transfer
[[noreturn]] void throwRefusal(const String& message, const CError& error);

/// What tells the content of a file from another one of the same size: the time of the last change, as
/// makeTimeValue() writes it; "" if it is unknown.
String makeFileMark(const CFTPDirEntry& entry);
/// A time as commands and listings have it, in whole seconds (RFC 3659, 2.3); "" for years beyond 9999 or
/// before 1.
String makeTimeValue(const CFileTime& time);

/// Whether both describe the same unchanged file: size and time are equal, and the time is known.
bool isSameFile(const CFTPDirEntry& first, const CFTPDirEntry& second);

}  // namespace vexil::app
