/// \file
/// What differs between the systems.
#pragma once

#include "vexil/BaseTypes.h"

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace vexil::app {

enum class StandardStream { Output, Error };

/// Opens the standard streams that are closed on the null device, so that no file or connection takes the place of
/// one. They stay unusable: reading and writing fail with EBADF. Ends the process with ExitCode::Failed if there is no
/// null device. To be called before anything opens a file.
void openClosedStreams();

/// Whether standard output can be written to: it was open when the program started, and for writing.
bool isOutputOpen();

/// Prepares the process: a closed pipe or an exhausted file size limit becomes an error of the write, and
/// standard input and standard output pass bytes as they are. The limit of open descriptors is raised to what many
/// transfers need, if the system allows it.
void initializePlatform();

/// The arguments in UTF-8 (on Linux: the bytes as given), without the program's name.
std::vector<std::string> getArguments(int argc, char** argv);

/// A variable of the environment in the same form; none when it is not set.
std::optional<std::string> getEnvironmentVariable(const char* name);

bool isTerminal(StandardStream stream);
/// How wide the terminal is; 0 when it does not tell.
int getTerminalColumns(StandardStream stream);

/// Writes to standard error. Where it takes nothing, an interrupt ends this.
/// \return how many bytes were written
std::size_t writeStandardError(const char* data, std::size_t size) noexcept;

/// The names in a folder, in no order, also of one whose path is longer than the runtime of C++ can take on Windows.
/// \param failure  set when the folder cannot be read, cleared otherwise
std::vector<std::filesystem::path> listFolder(const std::filesystem::path& folder, std::error_code& failure);

/// What a path leads to; a link is one, and so is a junction of Windows: it is not followed.
/// \param failure  set when it cannot be looked at, cleared otherwise
std::filesystem::file_status getEntryStatus(const std::filesystem::path& path, std::error_code& failure);

/// Whether others than the file's owner may read it. False where the system has no such rights.
bool isReadableByOthers(const std::filesystem::path& file);

/// When a file was changed, to compare with another time of the same file. In units of the system: a file may be of a year
/// that the clocks of C++ cannot count.
struct FileTime {
    int64 high;
    int64 low;
    bool operator==(const FileTime&) const = default;
};
/// Nothing if the system does not tell it.
std::optional<FileTime> getFileTime(const std::filesystem::path& file);

/// The number of this process.
int64 getProcessID();
/// Whether a process of this number may be running on this computer.
bool isProcessRunning(int64 id);
/// This computer and this user, the same in every run.
std::string describeOwner();

/// Opens a file or pipe to read bytes from. A pipe waits for one who writes to it, unless a signal comes.
/// \return null for a failure, with `errno` set
std::FILE* openForReading(const std::filesystem::path& file);

/// Whether the system keeps the certificates that it trusts in a store that libcurl reads on request alone
/// (CURLSSLOPT_NATIVE_CA), and in no file that it finds by itself.
bool hasCertificateStore();

/// Why a file cannot have this name on this system, as the end of a sentence; "" when it can.
String findNameProblem(const String& name);

}  // namespace vexil::app
