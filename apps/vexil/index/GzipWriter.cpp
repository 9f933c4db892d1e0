#include "apps/vexil/index/GzipWriter.h"

#include "vexil/BaseTypes.h"

#include <algorithm>
#include <limits>
#include <new>

namespace vexil::app {

namespace {

constexpr std::size_t blockSize = 64 * 1024;
// zlib: 16 more than the size of the window, as a power of 2, is the format of gzip.
constexpr int gzipWindow = 15 + 16;
constexpr int memoryLevel = 8;

}  // namespace

CGzipWriter::CGzipWriter(zet::IOutStream& out) : m_out(out), m_block(blockSize) {
    if (deflateInit2(&m_stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, gzipWindow, memoryLevel,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::bad_alloc();
    }
}

CGzipWriter::~CGzipWriter() {
    deflateEnd(&m_stream);
}

void CGzipWriter::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t length = std::min<std::size_t>(bytes.size(), std::numeric_limits<uInt>::max());
        // zlib does not change the bytes, but its interface of C says nothing of it.
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));  // NOLINT
        m_stream.avail_in = static_cast<uInt>(length);
        compress(Z_NO_FLUSH);
        bytes.remove_prefix(length);
    }
}

void CGzipWriter::finish() {
    compress(Z_FINISH);
}

void CGzipWriter::compress(int flush) {
    do {
        m_stream.next_out = reinterpret_cast<Bytef*>(m_block.data());
        m_stream.avail_out = static_cast<uInt>(m_block.size());
        deflate(&m_stream, flush);
        const std::size_t length = m_block.size() - m_stream.avail_out;
        if (length > 0) {
            m_out.write(m_block.data(), static_cast<int>(length));
        }
    } while (m_stream.avail_out == 0);
}

}  // namespace vexil::app
