#include "apps/vexil/index/GzipReader.h"

#include "vexil/BaseTypes.h"

#include <algorithm>
#include <new>

namespace vexil::app {

namespace {

constexpr std::size_t blockSize = 64 * 1024;
constexpr int gzipWindow = 15 + 16;

}  // namespace

CGzipReader::CGzipReader(zet::IInStream& in) : m_in(in), m_input(blockSize), m_text(blockSize) {
    if (inflateInit2(&m_stream, gzipWindow) != Z_OK) {
        throw std::bad_alloc();
    }
}

CGzipReader::~CGzipReader() {
    inflateEnd(&m_stream);
}

bool CGzipReader::readLine(std::string& line, std::size_t maxLength) {
    line.clear();
    while (true) {
        const auto begin = m_text.begin() + static_cast<std::ptrdiff_t>(m_begin);
        const auto end = m_text.begin() + static_cast<std::ptrdiff_t>(m_end);
        const auto lineEnd = std::find(begin, end, '\n');
        line.append(begin, lineEnd);
        if (line.size() > maxLength) {
            throw CError("a line is longer than " + String::fromInt(static_cast<int64>(maxLength)) +
                         " bytes");
        }
        if (lineEnd != end) {
            m_begin = static_cast<std::size_t>(lineEnd - m_text.begin()) + 1;
            return true;
        }
        if (!expand()) {
            if (!line.empty()) {
                throw CError("the last line has no end");
            }
            return false;
        }
    }
}

/// \return false at the end
bool CGzipReader::expand() {
    m_begin = m_end = 0;
    while (m_end == 0 && !m_isComplete) {
        if (m_stream.avail_in == 0) {
            readInput();
        }
        m_stream.next_out = reinterpret_cast<Bytef*>(m_text.data());
        m_stream.avail_out = static_cast<uInt>(m_text.size());
        const int result = inflate(&m_stream, Z_NO_FLUSH);
        if (result != Z_OK && result != Z_STREAM_END) {
            throw CError(String("the compressed bytes are damaged: ") +
                         (m_stream.msg != nullptr ? m_stream.msg : "no gzip data"));
        }
        m_isComplete = result == Z_STREAM_END;
        m_end = m_text.size() - m_stream.avail_out;
    }
    return m_end > 0;
}

void CGzipReader::readInput() {
    const int length = m_in.read(m_input.data(), static_cast<int>(m_input.size()));
    if (length == 0) {
        throw CError("the compressed bytes end too early");
    }
    m_stream.next_in = reinterpret_cast<Bytef*>(m_input.data());
    m_stream.avail_in = static_cast<uInt>(length);
}

}  // namespace vexil::app
