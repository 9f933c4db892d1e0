#include "apps/vexil/FileOutStream.h"

#include "apps/vexil/Text.h"

#include <algorithm>
#include <cerrno>

namespace vexil::app {

CFileOutStream::CFileOutStream(const std::filesystem::path& path, const std::filesystem::path& name)
    : m_name(name) {
    m_file.pubsetbuf(nullptr, 0);
    errno = 0;
    if (!m_file.open(path, std::ios::out | std::ios::trunc | std::ios::binary)) {
        fail("Cannot create", errno);
    }
}

CFileOutStream::~CFileOutStream() = default;

void CFileOutStream::write(const void* data, int length) {
    errno = 0;
    if (m_file.sputn(static_cast<const char*>(data), length) != length) {
        fail("Cannot write", errno);
    }
    m_position += length;
    m_size = std::max(m_size, m_position);
}

void CFileOutStream::seek(int64 position) {
    errno = 0;
    if (m_file.pubseekpos(position, std::ios::out) != std::streampos(position)) {
        fail("Cannot seek in", errno);
    }
    m_position = position;
}

void CFileOutStream::close() {
    errno = 0;
    if (m_file.is_open() && !m_file.close()) {
        fail("Cannot write", errno);
    }
}

void CFileOutStream::fail(const char* what, int systemError) const {
    throw CError(String(what) + " the file '" + describe(m_name) + "': " + describeSystemError(systemError),
                 "system", systemError);
}

}  // namespace vexil::app
