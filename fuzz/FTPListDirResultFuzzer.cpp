// A whole listing.
#include "fuzz/FuzzInput.h"
#include "vexil/ftp/FTPListDirResult.h"

#include <algorithm>

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vexil;
    vexil_fuzz::parseOrRefuse([&] {
        TBuffer<unsigned char> buffer;
        buffer.append(data, static_cast<int>(size));
        const CFTPListDirResult listing(buffer);
        const auto isLineEnd = [](std::uint8_t byte) { return byte == '\r' || byte == '\n'; };
        const auto lineEnds = std::count_if(data, data + size, isLineEnd);
        vexil_fuzz::require(listing.getEntries().size() <= static_cast<std::size_t>(lineEnds) + 1);
        for (const P<CFTPDirEntry>& entry : listing.getEntries()) {
            vexil_fuzz::require(entry->getName().view().find_first_of(L"\r\n") == std::wstring_view::npos);
        }
    });
    return 0;
}
