// One fact line of a listing.
#include "fuzz/FuzzInput.h"
#include "vexil/ftp/FTPDirEntry.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vexil;
    vexil_fuzz::parseOrRefuse([&] {
        const String line = String::fromUTF8(vexil_fuzz::textOf(data, size));
        const CFTPDirEntry entry(line);
        vexil_fuzz::require(line.view().ends_with((" " + entry.getName()).view()));
        vexil_fuzz::require(entry.getType() >= 0 && entry.getType() <= 2);
    });
    return 0;
}
