#pragma once

#include "apps/vexil/index/GzipWriter.h"
#include "apps/vexil/index/IndexEntry.h"
#include "vexil/BaseTypes.h"

namespace vexil::app {

/// Writes an index: lines of JSON, compressed by gzip. docs/index-format.md describes the format.
class CIndexWriter {
public:
    /// \param out  gets the compressed bytes; must outlive the writer
    explicit CIndexWriter(zet::IOutStream& out);

    /// The entries come in any order.
    /// \throws CError if the path or the target is too long for a line; the index can be continued
    void add(const CIndexEntry& entry);
    /// Writes the last line. A reader refuses an index without it.
    void finish();

private:
    void writeLine(std::string line);

    CGzipWriter m_out;
    int64 m_entries = 0;
};

}  // namespace vexil::app
