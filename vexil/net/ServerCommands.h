#pragma once

#include <curl/curl.h>

namespace vexil {

/// Whether a command of a caller to an FTP server or mail server may change how the connection treats later
/// commands (CWD, TYPE, SITE UMASK). False only for commands that are known not to.
bool isLastingCommand(const char* command) noexcept;
/// Whether one of a list is such a command. A "*" before a command is libcurl's.
bool hasLastingCommand(const curl_slist* commands) noexcept;

}  // namespace vexil
