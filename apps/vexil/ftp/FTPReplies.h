/// \file
/// What the replies of an FTP server say, beyond success and failure. All of it is read from the replies' codes: no reply
/// is missing because of its bytes.
#pragma once

#include "vexil/ftp/FTPDirEntry.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/NetReply.h"
#include "vexil/net/NetRequest.h"

#include <optional>

namespace vexil::app {

/// Whether there was a reply of this code in the last transfer.
bool hasReply(const CNetRequest& request, int code);
/// The last reply of this code in the last transfer as one line, its code in front; "" when there was none.
String describeReply(const CNetRequest& request, int code);
/// A reply as one line, its code in front.
String describeReply(const CNetReply& reply);
/// One of the last replies of the last transfer. Goodbyes (221) do not count: libcurl may have closed another connection
/// meanwhile.
/// \param position  1 for the last one, 2 for the one before it
/// \throws CError when there were not so many
CNetReply getReplyFromEnd(const CNetRequest& request, int position);

/// Whether a code means "not now" (RFC 959, 4.2: 400 to 499).
bool isTransient(int code);
/// Whether a code means that the server does not know the command (500 and 502), or not this use of it (504).
bool isUnknownCommand(int code);

/// What a reply to MLST tells; none for a refusal, and for a reply that cannot be read.
std::optional<CFTPDirEntry> findInfo(const CNetReply& reply);
/// What the replies to MLST among the replies of the last transfer tell, in their order. Those that cannot be read are
/// left out.
TArray<CFTPDirEntry> findInfos(const CNetRequest& request);

/// What a reply to SIZE tells, in bytes; none for any other reply.
std::optional<int64> findSize(const CNetReply& reply);

/// The path that a reply to MKD names; none if it names none (RFC 959, appendix II).
std::optional<String> findMadePath(const CNetReply& reply);

/// All refusals (replies of 400 and more) among the replies of the last transfer, in their order.
TArray<CNetReply> findRefusals(const CNetRequest& request);

/// A refusal after which libcurl went on, as the error that it would have been.
CCURLError makeRefusal(const CNetRequest& request, const CNetReply& reply);

/// Whether the server has refused to do something with a file or directory (replies 550, 553, 501), be it missing or
/// forbidden.
bool isRefusedFile(const CError& error);

/// Whether the server has refused a transfer, which libcurl took for a reply to PASV: over TLS it gives the data connection
/// up first if the server closes that.
bool isMisreadRefusal(const CError& error);
/// Whether a connection for data has ended before it was encrypted. That of the control connection comes first of all, or
/// after the reply to AUTH.
bool isBrokenDataHandshake(const CError& error);
/// Whether the server does not know the command (see isUnknownCommand()).
bool isUnknownCommand(const CError& error);
/// Throws a refusal that libcurl tells in other words.
/// \param message  what has failed
/// \param error    a failed transfer
[[noreturn]] void throwRefusal(const String& message, const CError& error);

/// Whether two tell of the same unchanged file: size and time are the same, and the time is known.
bool isSameFile(const CFTPDirEntry& first, const CFTPDirEntry& second);

}  // namespace vexil::app
