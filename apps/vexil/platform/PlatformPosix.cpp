#include "apps/vexil/base/ExitCode.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/platform/Platform.h"

#include <climits>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vexil::app {

namespace {

constexpr rlim_t wantedDescriptors = 4096;
constexpr int pollMilliseconds = 100;

// A transfer has up to four descriptors: its file, its connection, and two while a host name is resolved.
void raiseDescriptorLimit() {
    rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < wantedDescriptors) {
        limit.rlim_cur = std::min(limit.rlim_max, wantedDescriptors);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

int getDescriptor(StandardStream stream) {
    return stream == StandardStream::Output ? STDOUT_FILENO : STDERR_FILENO;
}

}  // namespace

void openClosedStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) >= 0 || errno != EBADF) {
            continue;
        }
        // Open it in the unused direction, so that every use fails, as with a closed descriptor. open() uses
        // the lowest free number, which is this one.
        if (open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) != stream) {
            _exit(static_cast<int>(ExitCode::Failed));
        }
    }
}

bool isOutputOpen() {
    const int flags = fcntl(STDOUT_FILENO, F_GETFL);
    return flags >= 0 && (flags & O_ACCMODE) != O_RDONLY;
}

void initializePlatform() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    raiseDescriptorLimit();
}

std::vector<std::string> getArguments(int argc, char** argv) {
    return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

std::optional<std::string> getEnvironmentVariable(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

bool isTerminal(StandardStream stream) {
    return isatty(getDescriptor(stream)) == 1;
}

bool isInputTerminal() {
    return isatty(STDIN_FILENO) == 1;
}

int getTerminalColumns(StandardStream stream) {
    winsize size = {};
    return ioctl(getDescriptor(stream), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::size_t writeStandardError(const char* data, std::size_t size) noexcept {
    std::size_t written = 0;
    while (written < size) {
        pollfd errors = {STDERR_FILENO, POLLOUT, 0};
        const int ready = poll(&errors, 1, pollMilliseconds);
        if (ready == 0 && CInterrupt::isRequested()) {
            break;
        }
        if (ready == 0 || (ready < 0 && errno == EINTR)) {
            continue;
        }
        // A pipe that is ready accepts this many bytes at once. Of a larger block it may accept a part and
        // then wait.
        const ssize_t count =
            write(STDERR_FILENO, data + written, std::min<std::size_t>(size - written, PIPE_BUF));
        if (count < 0 && errno != EINTR && errno != EAGAIN) {
            break;
        }
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return written;
}

std::vector<std::filesystem::path> listFolder(const std::filesystem::path& folder, std::error_code& failure) {
    std::vector<std::filesystem::path> names;
    for (std::filesystem::directory_iterator next(folder, failure);
         !failure && next != std::filesystem::directory_iterator(); next.increment(failure)) {
        names.push_back(next->path().filename());
    }
    return names;
}

std::filesystem::file_status getEntryStatus(const std::filesystem::path& path, std::error_code& failure) {
    return std::filesystem::symlink_status(path, failure);
}

bool isReadableByOthers(const std::filesystem::path& file) {
    struct stat status = {};
    return stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           (status.st_mode & (S_IRGRP | S_IROTH)) != 0;
}

int64 getProcessID() {
    return getpid();
}

bool isProcessRunning(int64 id) {
    return kill(static_cast<pid_t>(id), 0) == 0 || errno == EPERM;
}

std::string describeOwner() {
    char host[HOST_NAME_MAX + 1] = {};
    // A name that is too long is cut, possibly without a final NUL.
    gethostname(host, sizeof host - 1);
    return std::string(host) + "\n" + std::to_string(geteuid());
}

int readStandardInput(void* buffer, int maxLength) {
    // A signal may come just before a call that would block, or to another thread.
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    while (!CInterrupt::isRequested()) {
        const int ready = poll(&input, 1, pollMilliseconds);
        if (ready == 0 || (ready < 0 && errno == EINTR)) {
            continue;
        }
        const ssize_t count =
            ready < 0 ? -1 : read(STDIN_FILENO, buffer, static_cast<std::size_t>(maxLength));
        if (count >= 0 || errno != EINTR) {
            return static_cast<int>(count);
        }
    }
    return 0;
}

std::FILE* startShellCommand(const std::string& command) {
    std::fflush(nullptr);  // it must not print again what waits in the buffers
    return popen(command.c_str(), "re");
}

int finishShellCommand(std::FILE* output) {
    const int status = pclose(output);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::FILE* openForReading(const std::filesystem::path& file) {
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    return descriptor < 0 ? nullptr : fdopen(descriptor, "rb");
}

std::optional<int64> getFileSystem(const std::filesystem::path& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? std::optional(static_cast<int64>(status.st_dev)) : std::nullopt;
}

bool hasCertificateStore() {
    return false;
}

String findNameProblem(const String&) {
    // "/" separates the names of a key, so no name contains it, and a listing cannot contain NUL.
    return String();
}

}  // namespace vexil::app
