#pragma once

#include "zet/InStream.h"

#include <string>
#include <vector>
#include <zlib.h>

namespace vexil::app {

/// Reads lines of a text that is compressed in the format of gzip (RFC 1952).
class CGzipReader {
public:
    /// \param in  must outlive the reader
    explicit CGzipReader(zet::IInStream& in);
    ~CGzipReader();
    CGzipReader(const CGzipReader&) = delete;
    CGzipReader& operator=(const CGzipReader&) = delete;

    /// Reads a line, without its end.
    /// \param maxLength  in bytes
    /// \return false at the end of the text
    /// \throws CError if the bytes are damaged or end too early, for a line without end, and for a longer
    ///         line
    bool readLine(std::string& line, std::size_t maxLength);

private:
    bool expand();
    void readInput();

    zet::IInStream& m_in;
    z_stream m_stream{};
    std::vector<char> m_input;
    std::vector<char> m_text;
    std::size_t m_begin = 0;  // of the text that is not read yet
    std::size_t m_end = 0;
    bool m_isComplete = false;
};

}  // namespace vexil::app
