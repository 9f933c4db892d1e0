#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/ftp/FTPDirEntry.h"

#include <string>
#include <string_view>

namespace vexil {

/// A directory's entries as an FTP server lists them (MLSD, RFC 3659, 7). A value; copies share the entries.
class VEXIL_API CFTPListDirResult : public virtual CBase {
public:
    /// Reads a listing, one entry a line; lines end with CR, LF or both, empty ones count for nothing.
    /// \param listing  UTF-8
    /// \throws CError for bytes that are not UTF-8, and of the first line that is no entry
    explicit CFTPListDirResult(const TBuffer<unsigned char>& listing);
    /// Reads a listing as the constructor does, but goes on after what it cannot read: one bad name does not hide the
    /// others. The rest is in getUnreadableLines().
    static CFTPListDirResult parseLeniently(const TBuffer<unsigned char>& listing);
    CFTPListDirResult(const CFTPListDirResult&) = default;
    CFTPListDirResult(CFTPListDirResult&&) = default;
    CFTPListDirResult& operator=(const CFTPListDirResult&) = default;
    CFTPListDirResult& operator=(CFTPListDirResult&&) = default;
    ~CFTPListDirResult() override;

    /// In the order of the listing. The directory itself ("."), its parent and links are among them on servers that
    /// list them, with an unknown type.
    const TArray<P<CFTPDirEntry>>& getEntries() const noexcept { return m_entries; }
    /// What parseLeniently() could not read, in the order of the listing: the bytes of each line, without its end. A line
    /// without a fact belongs to the one before it, whose name then holds the end of a line: both come as one here, with
    /// LF between them. Always empty after the constructor.
    const TArray<std::string>& getUnreadableLines() const noexcept { return m_unreadableLines; }

private:
    CFTPListDirResult() = default;
    bool addEntry(std::string_view line);

    TArray<P<CFTPDirEntry>> m_entries;
    TArray<std::string> m_unreadableLines;
};

}  // namespace vexil
