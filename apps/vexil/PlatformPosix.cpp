#include "apps/vexil/Platform.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vexil::app {

namespace {

constexpr rlim_t wantedDescriptors = 4096;

// A transfer has up to four descriptors: its file, its connection, and two while a name is looked up.
void raiseDescriptorLimit() {
    rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < wantedDescriptors) {
        limit.rlim_cur = std::min(limit.rlim_max, wantedDescriptors);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

}  // namespace

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
    return isatty(stream == StandardStream::Output ? STDOUT_FILENO : STDERR_FILENO) == 1;
}

bool isReadableByOthers(const std::filesystem::path& file) {
    struct stat status = {};
    return stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           (status.st_mode & (S_IRGRP | S_IROTH)) != 0;
}

String findNameProblem(const String&) {
    // "/" separates the names of a key, so none holds it, and NUL cannot stand in a listing.
    return String();
}

}  // namespace vexil::app
