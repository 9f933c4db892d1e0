#include "apps/vexil/Platform.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>
// windows.h goes before it.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <shellapi.h>
#include <string_view>
#include <sys/stat.h>

namespace vexil::app {

void initializePlatform() {
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

bool isReadableByOthers(const std::filesystem::path&) {
    return false;
}

int createForOwner(const std::filesystem::path& file) {
    const int descriptor =
        _wopen(file.c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY, _S_IREAD | _S_IWRITE);
    if (descriptor < 0) {
        return errno;
    }
    _close(descriptor);
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
        return "has a character that Windows does not allow in a name";
    }
    if (text.ends_with(L'.') || text.ends_with(L' ')) {
        return "ends in a full stop or a blank, which Windows drops";
    }
    const String stem = name.substr(0, name.find(L'.')).toLower();
    if (std::find(devices.begin(), devices.end(), stem.view()) != devices.end()) {
        return "is the name of a device of Windows";
    }
    return String();
}

}  // namespace vexil::app
