// The reply lines of one transfer, each with its line end as libcurl passes it on.
#include "fuzz/FuzzInput.h"
#include "vexil/ftp/FTPGetInfoResult.h"

#include <algorithm>

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vexil;
    std::string_view rest = vexil_fuzz::textOf(data, size);
    vexil_fuzz::parseOrRefuse([&] {
        CNetStringList lines;
        while (!rest.empty()) {
            const std::string_view bytes = rest.substr(0, std::min(rest.find('\n'), rest.size() - 1) + 1);
            rest.remove_prefix(bytes.size());
            const String line = String::fromUTF8(bytes);
            // Such a line is never added to a list.
            if (line.find(L'\0') == String::npos) {
                lines.add(line);
            }
        }
        vexil_fuzz::require(CFTPGetInfoResult(lines).getInfo() != nullptr);
    });
    return 0;
}
