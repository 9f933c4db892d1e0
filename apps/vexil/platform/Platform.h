/// \file
/// Functions that differ between systems.
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

/// Opens closed standard streams on the null device, so that no file or connection gets their descriptors.
/// They stay unusable: reading and writing fail with EBADF. Ends the process with ExitCode::Failed if there
/// is no null device. Must be called before anything opens a file.
void openClosedStreams();

/// Whether standard output can be written to: it was open for writing when the program started.
bool isOutputOpen();

/// Prepares the process. A closed pipe or a reached limit of file size becomes an error of the write.
/// Standard input and output pass bytes unchanged. Raises the limit of open descriptors to what the largest
/// number of transfers needs, if the system permits.
void initializePlatform();

/// The arguments in UTF-8 (on Linux: the bytes as given), without the program's name.
std::vector<std::string> getArguments(int argc, char** argv);

/// A variable of the environment in the same form; nullopt if it is not set.
std::optional<std::string> getEnvironmentVariable(const char* name);

bool isTerminal(StandardStream stream);
/// Whether standard input is a terminal, where a user can reply.
bool isInputTerminal();
/// The width of the terminal in columns; 0 if it is unknown.
int getTerminalColumns(StandardStream stream);

/// Writes to standard error. An interrupt ends a write that blocks.
/// \return the number of bytes written
std::size_t writeStandardError(const char* data, std::size_t size) noexcept;

/// The names in a folder, in no order. On Windows its path may be longer than the C++ runtime accepts.
/// \param failure  set if the folder cannot be read, cleared otherwise
std::vector<std::filesystem::path> listFolder(const std::filesystem::path& folder, std::error_code& failure);

/// The type of a path. A link, also a junction of Windows, is not followed.
/// \param failure  set if the path cannot be examined, cleared otherwise
std::filesystem::file_status getEntryStatus(const std::filesystem::path& path, std::error_code& failure);

/// Whether users other than its owner may read the file. False if the system has no such rights.
bool isReadableByOthers(const std::filesystem::path& file);

/// The ID of this process.
int64 getProcessID();
/// Whether a process with this ID may be running on this computer.
bool isProcessRunning(int64 id);
/// A text for this computer and this user, the same in every run.
std::string describeOwner();

/// Reads from standard input as soon as it has bytes. An interrupt ends the wait, except on Windows.
/// \return number of bytes; 0 at the end, or after an interrupt; -1 for a failure, with `errno` set
int readStandardInput(void* buffer, int maxLength);

/// Starts a command of the shell. It has the standard input and the standard error of this process.
/// \return its standard output, for finishShellCommand(); null for a failure, with `errno` set
std::FILE* startShellCommand(const std::string& command);
/// Closes the output of a command, and waits for its end.
/// \return its exit code; -1 if a signal has ended it
int finishShellCommand(std::FILE* output);

/// Opens a file or pipe for reading bytes. A pipe waits for a writer, unless a signal comes.
/// \return null for a failure, with `errno` set
std::FILE* openForReading(const std::filesystem::path& file);

/// A number for the file system of an entry; nullopt if the entry cannot be examined. On Windows it is the
/// same for all: the place where another volume is mounted counts as a link there (getEntryStatus()), which
/// no walk follows.
std::optional<int64> getFileSystem(const std::filesystem::path& path);

/// Whether the system keeps its trusted certificates in a store that libcurl reads only on request
/// (CURLSSLOPT_NATIVE_CA), and not in a file that it finds itself.
bool hasCertificateStore();

/// Why a file cannot have this name on this system, as the end of a sentence; "" if it can.
String findNameProblem(const String& name);

}  // namespace vexil::app
