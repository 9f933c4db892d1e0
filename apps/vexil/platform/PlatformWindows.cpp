#include "apps/vexil/base/ExitCode.h"
#include "apps/vexil/platform/Platform.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>
// windows.h must be included before it.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <shellapi.h>
#include <string_view>
#include <sys/stat.h>

namespace vexil::app {

namespace {

namespace fs = std::filesystem;

bool wasOutputOpen = true;

struct CSearchCloser {
    using pointer = HANDLE;
    void operator()(HANDLE search) const noexcept { FindClose(search); }
};
using Search = std::unique_ptr<HANDLE, CSearchCloser>;

// In the words of the C++ library, as for other files, not in the language of the system.
std::error_code getLastFailure() {
    const std::error_code failure(static_cast<int>(GetLastError()), std::system_category());
    const std::error_condition condition = failure.default_error_condition();
    return condition.category() == std::generic_category()
               ? std::error_code(condition.value(), std::generic_category())
               : failure;
}

// With this prefix, which only absolute paths can have, a path may be longer than 260 units.
std::wstring makeUnlimited(const fs::path& path) {
    std::wstring whole(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    whole.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(whole.size()), whole.data(), nullptr));
    if (whole.starts_with(LR"(\\?\)") || whole.starts_with(LR"(\\.\)")) {
        return whole;
    }
    return whole.starts_with(LR"(\\)") ? LR"(\\?\UNC)" + whole.substr(1) : LR"(\\?\)" + whole;
}

Search find(const std::wstring& pattern, WIN32_FIND_DATAW& found, std::error_code& failure) {
    const HANDLE search = FindFirstFileW(pattern.c_str(), &found);
    failure = search == INVALID_HANDLE_VALUE ? getLastFailure() : std::error_code();
    return Search(failure ? nullptr : search);
}

// Files that are stored in a cloud are reparse points, too, but not links.
bool isLink(const WIN32_FIND_DATAW& entry) {
    return (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           IsReparseTagNameSurrogate(entry.dwReserved0);
}

}  // namespace

void openClosedStreams() {
    for (std::FILE* const stream : {stdin, stdout, stderr}) {
        if (_fileno(stream) >= 0) {
            continue;
        }
        wasOutputOpen = wasOutputOpen && stream != stdout;
        // Open it in the unused direction, so that every use fails, as with a closed stream.
        if (!std::freopen("NUL", stream == stdin ? "wb" : "rb", stream)) {
            std::_Exit(static_cast<int>(ExitCode::Failed));
        }
    }
}

bool isOutputOpen() {
    return wasOutputOpen;
}

void initializePlatform() {
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);
    SetConsoleOutputCP(CP_UTF8);
}

std::vector<std::string> getArguments(int, char**) {
    std::vector<std::string> arguments;
    int count = 0;
    if (wchar_t** texts = CommandLineToArgvW(GetCommandLineW(), &count)) {
        for (int i = 1; i < count; ++i) {
            arguments.push_back(String(texts[i]).toUTF8());
        }
        LocalFree(texts);
    }
    return arguments;
}

std::optional<std::string> getEnvironmentVariable(const char* name) {
    const wchar_t* value = _wgetenv(String(name).c_str());
    return value ? std::optional<std::string>(String(value).toUTF8()) : std::nullopt;
}

bool isTerminal(StandardStream stream) {
    return _isatty(_fileno(stream == StandardStream::Output ? stdout : stderr)) != 0;
}

// _isatty() takes the null device for a terminal.
bool isInputTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

int getTerminalColumns(StandardStream stream) {
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    const HANDLE console =
        GetStdHandle(stream == StandardStream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
    return GetConsoleScreenBufferInfo(console, &info) ? info.srWindow.Right - info.srWindow.Left + 1 : 0;
}

std::size_t writeStandardError(const char* data, std::size_t size) noexcept {
    const std::size_t written = std::fwrite(data, 1, size, stderr);
    std::fflush(stderr);
    return written;
}

std::vector<fs::path> listFolder(const fs::path& folder, std::error_code& failure) {
    std::wstring pattern = makeUnlimited(folder);
    pattern += pattern.ends_with(L'\\') ? L"*" : LR"(\*)";
    std::vector<fs::path> names;
    WIN32_FIND_DATAW entry = {};
    const Search search = find(pattern, entry, failure);
    if (!search) {
        // The root of a drive has no entry for itself, and may contain no other one.
        if (GetLastError() == ERROR_FILE_NOT_FOUND) {
            failure.clear();
        }
        return names;
    }
    do {
        if (const std::wstring_view name = entry.cFileName; name != L"." && name != L"..") {
            names.emplace_back(name);
        }
    } while (FindNextFileW(search.get(), &entry));
    if (GetLastError() != ERROR_NO_MORE_FILES) {
        failure = getLastFailure();
    }
    return names;
}

fs::file_status getEntryStatus(const fs::path& path, std::error_code& failure) {
    const std::wstring whole = makeUnlimited(path);
    const DWORD attributes = GetFileAttributesW(whole.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        failure = getLastFailure();
        return fs::file_status(failure == std::errc::no_such_file_or_directory ? fs::file_type::not_found
                                                                               : fs::file_type::none);
    }
    failure.clear();
    // Only a search shows the type of a reparse point, but a search does not find the root of a drive.
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        WIN32_FIND_DATAW entry = {};
        if (!find(whole, entry, failure)) {
            // It may be a link, which must not be followed.
            return fs::file_status(fs::file_type::none);
        }
        if (isLink(entry)) {
            return fs::file_status(fs::file_type::symlink);
        }
    }
    return fs::file_status((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? fs::file_type::directory
                                                                        : fs::file_type::regular);
}

bool isReadableByOthers(const std::filesystem::path&) {
    return false;
}

int64 getProcessID() {
    return GetCurrentProcessId();
}

bool isProcessRunning(int64 id) {
    const HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(id));
    if (!process) {
        return GetLastError() == ERROR_ACCESS_DENIED;
    }
    const bool hasEnded = WaitForSingleObject(process, 0) == WAIT_OBJECT_0;
    CloseHandle(process);
    return !hasEnded;
}

std::string describeOwner() {
    return getEnvironmentVariable("COMPUTERNAME").value_or("") + "\n" +
           getEnvironmentVariable("USERNAME").value_or("");
}

int readStandardInput(void* buffer, int maxLength) {
    errno = 0;
    const std::size_t count = std::fread(buffer, 1, static_cast<std::size_t>(maxLength), stdin);
    return count == 0 && std::ferror(stdin) != 0 ? -1 : static_cast<int>(count);
}

std::FILE* startShellCommand(const std::string& command) {
    return _wpopen(String::fromUTF8(command).c_str(), L"rb");
}

int finishShellCommand(std::FILE* output) {
    return _pclose(output);
}

std::FILE* openForReading(const std::filesystem::path& file) {
    return _wfopen(file.c_str(), L"rb");
}

std::optional<int64> getFileSystem(const std::filesystem::path&) {
    return 0;
}

bool hasCertificateStore() {
    return true;
}

String findNameProblem(const String& name) {
    static constexpr std::array<std::wstring_view, 24> devices = {
        L"con",  L"prn",  L"aux",  L"nul",  L"conin$", L"conout$", L"com1", L"com2",
        L"com3", L"com4", L"com5", L"com6", L"com7",   L"com8",    L"com9", L"lpt1",
        L"lpt2", L"lpt3", L"lpt4", L"lpt5", L"lpt6",   L"lpt7",    L"lpt8", L"lpt9"};

    const std::wstring_view text = name.view();
    if (text.find_first_of(L"<>:\"/\\|?*") != std::wstring_view::npos) {
        return "contains a character that Windows does not allow in a name";
    }
    if (text.ends_with(L'.') || text.ends_with(L' ')) {
        return "ends in a full stop or a space, which Windows drops";
    }
    const String stem = name.substr(0, name.find(L'.')).toLower();
    if (std::find(devices.begin(), devices.end(), stem.view()) != devices.end()) {
        return "is the name of a device of Windows";
    }
    return String();
}

}  // namespace vexil::app
