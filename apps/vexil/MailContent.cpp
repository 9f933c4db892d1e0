#include "apps/vexil/MailContent.h"

#include "apps/vexil/Console.h"
#include "apps/vexil/FileInStream.h"
#include "apps/vexil/Interrupt.h"
#include "apps/vexil/Text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace vexil::app {

namespace {

constexpr int blockSize = 65536;

// A file that is opened is read to the end that it had then.
P<TBuffer<unsigned char>> readFile(const std::filesystem::path& path) {
    const P<CFileInStream> file = new CFileInStream(path);
    P<TBuffer<unsigned char>> content = new TBuffer<unsigned char>;
    std::array<unsigned char, blockSize> block;
    while (const int count = file->read(block.data(), blockSize)) {
        content->append(block.data(), count);
    }
    return content;
}

std::string readStandardInput() {
    std::string content;
    std::array<char, blockSize> block;
    // Not std::cin: to that a failed read is the end of the input.
    for (std::size_t count = blockSize; count == blockSize;) {
        errno = 0;
        count = std::fread(block.data(), 1, blockSize, stdin);
        const int systemError = errno;
        CInterrupt::throwIfRequested();
        if (std::ferror(stdin) != 0) {
            throw CError("Cannot read standard input: " + describeSystemError(systemError), "system",
                         systemError);
        }
        content.append(block.data(), count);
    }
    return content;
}

std::string readText(const std::string& file) {
    if (file == "-") {
        return readStandardInput();
    }
    const P<TBuffer<unsigned char>> content = readFile(toPath(file));
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
                        "vexil: warning: the text is not UTF-8; what could not be read is replaced");
        return String::fromUTF8Lossy(bytes);
    }
}

P<CMimeMessage> makeMailAttachment(const std::filesystem::path& file) {
    return CMimeMessage::createAttachment(getAttachmentName(file), "application/octet-stream",
                                          readFile(file));
}

}  // namespace vexil::app
