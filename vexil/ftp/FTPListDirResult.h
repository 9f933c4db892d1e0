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
    /// Reads a listing, one entry per line. Lines end with CR, LF or both; empty lines are ignored.
    /// \param listing  UTF-8
    /// \throws CError for bytes that are not UTF-8, and for the first line that is not an entry
    explicit CFTPListDirResult(const TBuffer<unsigned char>& listing);
    /// Reads a listing as the constructor does, but continues after lines that it cannot read: one bad name
    /// does not hide the other entries. The unreadable lines are in getUnreadableLines().
    [[nodiscard]] static CFTPListDirResult parseLeniently(const TBuffer<unsigned char>& listing);
    CFTPListDirResult(const CFTPListDirResult&) = default;
    CFTPListDirResult(CFTPListDirResult&&) = default;
    CFTPListDirResult& operator=(const CFTPListDirResult&) = default;
    CFTPListDirResult& operator=(CFTPListDirResult&&) = default;
    ~CFTPListDirResult() override;

    /// The entries in the order of the listing. If the server lists the directory itself ("."), its parent or
    /// links, they are included, with an unknown type.
    const TArray<P<CFTPDirEntry>>& getEntries() const noexcept { return m_entries; }
    /// The lines that parseLeniently() could not read, in the order of the listing, as bytes without the line
    /// end. A line without a fact belongs to the line before it, whose name then contains a line end: both
    /// are one element here, with LF between them. Always empty after the constructor.
    const TArray<std::string>& getUnreadableLines() const noexcept { return m_unreadableLines; }

private:
    CFTPListDirResult() = default;
    bool addEntry(std::string_view line);

    TArray<P<CFTPDirEntry>> m_entries;
    TArray<std::string> m_unreadableLines;
};

}  // namespace vexil
