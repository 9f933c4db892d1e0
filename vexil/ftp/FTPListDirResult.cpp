#include "vexil/ftp/FTPListDirResult.h"

#include <algorithm>

namespace vexil {

CFTPListDirResult::CFTPListDirResult(const TBuffer<unsigned char>& listing) {
    const String text = String::fromUTF8(
        {reinterpret_cast<const char*>(listing.getData()), static_cast<std::size_t>(listing.getUsed())});
    std::wstring_view rest = text.view();
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find_first_of(L"\r\n"), rest.size());
        if (end > 0) {
            m_entries.push_back(new CFTPDirEntry(String(rest.substr(0, end))));
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
}

CFTPListDirResult::~CFTPListDirResult() = default;

}  // namespace vexil
