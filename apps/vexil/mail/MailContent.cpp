#include "apps/vexil/mail/MailContent.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/Console.h"
#include "apps/vexil/files/InterruptibleFile.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/platform/Platform.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string_view>

namespace vexil::app {

namespace {

constexpr int blockSize = 65536;

using FileHandle = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
using Bytes = TBuffer<unsigned char>;

/// Reads everything to the end of a stream of unknown size.
P<Bytes> readToEnd(std::FILE* stream, const String& name) {
    P<Bytes> content = new Bytes;
    std::array<unsigned char, blockSize> block;
    // Not with a C++ stream, which takes a failed read for the end, and which an interrupt does not stop.
    for (std::size_t count = blockSize; count == blockSize;) {
        errno = 0;
        count = std::fread(block.data(), 1, blockSize, stream);
        const int systemError = errno;
        CInterrupt::throwIfRequested();
        if (std::ferror(stream) != 0) {
            throw CError("Cannot read " + name + ": " + describeSystemError(systemError), "system",
                         systemError);
        }
        content->append(block.data(), static_cast<int>(count));
    }
    return content;
}

bool isPipe(const std::filesystem::path& path) {
    const std::filesystem::file_status status = std::filesystem::status(path);
    return std::filesystem::is_fifo(status) || std::filesystem::is_character_file(status);
}

P<Bytes> readPipe(const std::filesystem::path& path) {
    const String name = "'" + describe(path) + "'";
    errno = 0;
    const FileHandle file(openForReading(path), &std::fclose);
    const int systemError = errno;
    CInterrupt::throwIfRequested();
    if (!file) {
        throw CError("Cannot open " + name + ": " + describeSystemError(systemError), "system", systemError);
    }
    return readToEnd(file.get(), name);
}

// A regular file is read to the end that it had when it was opened.
P<Bytes> readFile(const std::filesystem::path& path) {
    if (isPipe(path)) {
        return readPipe(path);
    }
    const P<CFileInStream> file = new CInterruptibleFile(path);
    P<Bytes> content = new Bytes;
    std::array<unsigned char, blockSize> block;
    while (const int count = file->read(block.data(), blockSize)) {
        content->append(block.data(), count);
    }
    return content;
}

std::string readText(const std::string& file) {
    const P<Bytes> content = file == "-" ? readToEnd(stdin, "standard input") : readFile(toPath(file));
    return {reinterpret_cast<const char*>(content->getData()), static_cast<std::size_t>(content->getUsed())};
}

String getAttachmentName(const std::filesystem::path& file) {
    const std::u8string bytes = file.filename().u8string();
    std::wstring name(
        String::fromUTF8Lossy({reinterpret_cast<const char*>(bytes.data()), bytes.size()}).view());
    std::replace_if(
        name.begin(), name.end(), [](wchar_t c) { return static_cast<std::uint32_t>(c) < U' ' || c == 127; },
        L'_');
    return name;
}

}  // namespace

String readMailText(const std::string& file, CConsole& console) {
    const std::string bytes = readText(file);
    try {
        return String::fromUTF8(bytes);
    } catch (const CError&) {
        console.message(Verbosity::Warning,
                        "vexil: warning: the text is not UTF-8; unreadable bytes are replaced");
        return String::fromUTF8Lossy(bytes);
    }
}

P<CMimeMessage> makeMailAttachment(const std::filesystem::path& file) {
    return CMimeMessage::createAttachment(getAttachmentName(file), "application/octet-stream",
                                          readFile(file));
}

}  // namespace vexil::app
