#pragma once

#include "zet/OutStream.h"

#include <string_view>
#include <vector>
#include <zlib.h>

namespace vexil::app {

/// Compresses bytes into a stream, in the format of gzip (RFC 1952).
class CGzipWriter {
public:
    /// \param out  must outlive the writer
    explicit CGzipWriter(zet::IOutStream& out);
    ~CGzipWriter();
    CGzipWriter(const CGzipWriter&) = delete;
    CGzipWriter& operator=(const CGzipWriter&) = delete;

    void write(std::string_view bytes);
    /// Writes what is left. Nothing may be written after it.
    void finish();

private:
    void compress(int flush);

    zet::IOutStream& m_out;
    z_stream m_stream{};
    std::vector<char> m_block;
};

}  // namespace vexil::app
