#include "apps/vexil/files/FileInStream.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Interrupt.h"

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
    // Opening a pipe would wait for a writer.
    if (!fs::is_regular_file(status)) {
        throw CInvalidArgError("CFileInStream", "'" + describe(path) + "' is not a regular file");
    }
    // Read the size first: then a file that replaces this one afterwards is noticed.
    m_time = getFileTime(path);
    m_file.pubsetbuf(nullptr, 0);
    errno = 0;
    if (!m_file.open(path, std::ios::in | std::ios::binary)) {
        fail("Cannot open", errno);
    }
    // Of the open file: another file may have its name now.
    m_size = m_file.pubseekoff(0, std::ios::end, std::ios::in);
    char byte = 0;
    if (m_size < 0 || (m_size == 0 && readBytes(&byte, 1) > 0)) {
        throw CError("Cannot read the file '" + describe(path) + "': the system does not report its size.",
                     "system");
    }
    seek(0);
}

CFileInStream::~CFileInStream() = default;

int CFileInStream::read(void* buffer, int maxLength) {
    CInterrupt::throwIfRequested();
    const std::streamsize wanted = std::min<int64>(maxLength, m_size - m_position);
    if (wanted <= 0) {
        return 0;
    }
    const std::streamsize count = readBytes(buffer, wanted);
    if (count <= 0) {
        throw CError("The file '" + describe(m_path) + "' became shorter while it was read.", "system");
    }
    m_position += count;
    return static_cast<int>(count);
}

std::streamsize CFileInStream::readBytes(void* buffer, std::streamsize wanted) {
    try {
        return m_file.sgetn(static_cast<char*>(buffer), wanted);
    } catch (const std::ios_base::failure& error) {
        fail("Cannot read", error.code().value());
    }
}

void CFileInStream::seek(int64 position) {
    errno = 0;
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
    return getFileTime(m_path) != m_time;
}

void CFileInStream::checkUnchanged() const {
    if (hasChanged()) {
        throw CError("The file '" + describe(m_path) +
                         "' was changed while it was stored: "
                         "the stored content may be neither the old nor the new one.",
                     "system");
    }
}

void CFileInStream::fail(const char* what, int systemError) const {
    throw CError(String(what) + " the file '" + describe(m_path) + "': " + describeSystemError(systemError),
                 "system", systemError);
}

}  // namespace vexil::app
