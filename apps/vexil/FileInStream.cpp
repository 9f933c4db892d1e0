#include "apps/vexil/FileInStream.h"

#include "apps/vexil/Interrupt.h"
#include "apps/vexil/Text.h"

#include <algorithm>
#include <cerrno>
#include <ios>
#include <system_error>

namespace vexil::app {

namespace fs = std::filesystem;

CFileInStream::CFileInStream(const fs::path& path) : m_path(path) {
    const fs::file_status status = fs::status(path);
    if (!fs::exists(status)) {
        throw CInvalidArgError("CFileInStream", "there is no file '" + describe(path) + "'");
    }
    // Opening a pipe would wait for somebody who writes to it.
    if (!fs::is_regular_file(status)) {
        throw CInvalidArgError("CFileInStream", "'" + describe(path) + "' is not a regular file");
    }
    m_file.pubsetbuf(nullptr, 0);
    errno = 0;
    if (!m_file.open(path, std::ios::in | std::ios::binary)) {
        fail("Cannot open", errno);
    }
    m_size = static_cast<int64>(fs::file_size(path));
    m_time = fs::last_write_time(path);
}

CFileInStream::~CFileInStream() = default;

int CFileInStream::read(void* buffer, int maxLength) {
    CInterrupt::throwIfRequested();
    const std::streamsize wanted = std::min<int64>(maxLength, m_size - m_position);
    if (wanted <= 0) {
        return 0;
    }
    std::streamsize count = 0;
    try {
        count = m_file.sgetn(static_cast<char*>(buffer), wanted);
    } catch (const std::ios_base::failure& error) {
        fail("Cannot read", error.code().value());
    }
    if (count <= 0) {
        throw CError("The file '" + describe(m_path) + "' became shorter while it was read.", "system");
    }
    m_position += count;
    return static_cast<int>(count);
}

void CFileInStream::seek(int64 position) {
    if (m_file.pubseekpos(position, std::ios::in) != std::streampos(position)) {
        fail("Cannot seek in", errno);
    }
    m_position = position;
}

bool CFileInStream::hasChanged() const {
    std::error_code failure;
    const auto size = fs::file_size(m_path, failure);
    if (failure || static_cast<int64>(size) != m_size) {
        return true;
    }
    return fs::last_write_time(m_path, failure) != m_time || failure;
}

void CFileInStream::fail(const char* what, int systemError) const {
    throw CError(String(what) + " the file '" + describe(m_path) + "': " + describeSystemError(systemError),
                 "system", systemError);
}

}  // namespace vexil::app
