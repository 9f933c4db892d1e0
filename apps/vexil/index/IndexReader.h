#pragma once

#include "apps/vexil/index/GzipReader.h"
#include "apps/vexil/index/IndexEntry.h"
#include "vexil/BaseTypes.h"

#include <optional>

namespace vexil::app {

/// Reads an index that CIndexWriter has written, entry by entry. The bytes may come from anybody: an entry
/// whose path would lead out of the folder is refused.
class CIndexReader {
public:
    /// \param in  the compressed bytes, at their beginning; must outlive the reader
    /// \throws CIndexError if this is no index, CIndexVersionError for one of a newer format
    explicit CIndexReader(zet::IInStream& in);

    /// The next entry; nullopt after the last one.
    /// \throws CIndexError that names the line if the index is damaged or incomplete
    std::optional<CIndexEntry> findNext();

private:
    void expectEnd();
    bool readLine();
    [[noreturn]] void fail(const String& problem) const;

    CGzipReader m_in;
    std::string m_line;
    int64 m_lineNumber = 0;
    int64 m_entries = 0;
};

}  // namespace vexil::app
