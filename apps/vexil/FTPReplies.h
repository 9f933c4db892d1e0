/// \file
/// What the replies of an FTP server say, beyond success and failure.
#pragma once

#include "vexil/ftp/FTPDirEntry.h"
#include "vexil/net/NetRequest.h"

#include <optional>

namespace vexil::app {

/// What the answers to MLST among the replies of the last transfer tell, in their order. Those that cannot be read are
/// left out.
TArray<CFTPDirEntry> findInfos(const CNetRequest& request);

/// What the last answer to SIZE among the replies of the last transfer tells, in bytes; none where there is none.
std::optional<int64> findSize(const CNetRequest& request);

/// All refusals (replies of 400 and more of one line) among the replies of the last transfer, in their order.
TArray<String> findRefusals(const CNetRequest& request);

/// Whether the server does not know the command that has failed (replies 500 and 502), or not this use of it (504).
bool isUnknownCommand(const CError& error);
/// Whether the server has refused to do something with a file or directory (replies 550, 553, 501), be it missing or
/// forbidden.
bool isRefusedFile(const CError& error);

/// Whether two tell of the same unchanged file: size and time are the same, and the time is known.
bool isSameFile(const CFTPDirEntry& first, const CFTPDirEntry& second);

}  // namespace vexil::app
