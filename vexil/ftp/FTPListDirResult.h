#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/ftp/FTPDirEntry.h"

namespace vexil {

/// A directory's entries as an FTP server lists them (MLSD, RFC 3659, 7). A value; copies share the entries.
class VEXIL_API CFTPListDirResult : public virtual CBase {
public:
    /// Reads a listing, one entry a line; lines end with CR, LF or both, empty ones count for nothing.
    /// \param listing  UTF-8
    /// \throws CError for bytes that are not UTF-8, and of the first line that is no entry
    explicit CFTPListDirResult(const TBuffer<unsigned char>& listing);
    CFTPListDirResult(const CFTPListDirResult&) = default;
    CFTPListDirResult(CFTPListDirResult&&) = default;
    CFTPListDirResult& operator=(const CFTPListDirResult&) = default;
    CFTPListDirResult& operator=(CFTPListDirResult&&) = default;
    ~CFTPListDirResult() override;

    /// In the order of the listing. The directory itself ("."), its parent and links are among them on servers that
    /// list them, with an unknown type.
    const TArray<P<CFTPDirEntry>>& getEntries() const noexcept { return m_entries; }

private:
    TArray<P<CFTPDirEntry>> m_entries;
};

}  // namespace vexil
