#include "zet/FileInStream.h"

#include "zet/DisplayText.h"
#include "zet/InvalidArgError.h"

#include <algorithm>
#include <system_error>

namespace zet {

namespace fs = std::filesystem;

CFileInStream::CFileInStream(const fs::path& path) : m_path(path) {
    std::error_code failure;
    const fs::file_status status = fs::status(path, failure);
    if (status.type() == fs::file_type::not_found) {
        throw CInvalidArgError("CFileInStream", "there is no file '" + toDisplayPath(path) + "'");
    }
    if (failure) {
        check("Cannot open", failure.default_error_condition().value());
    }
    // Opening a pipe would wait for a writer.
    if (!fs::is_regular_file(status)) {
        throw CInvalidArgError("CFileInStream", "'" + toDisplayPath(path) + "' is not a regular file");
    }
    open();
}

CFileInStream::~CFileInStream() = default;

void CFileInStream::open() {
    // Read the time first: then a file that replaces this one afterwards is noticed.
    m_changeTime = findChangeTime(m_path);
    check("Cannot open", m_file.openForReading(m_path));
    measure();
}

void CFileInStream::measure() {
    // Of the open file: another file may have its name now.
    check("Cannot read", m_file.getSize(m_size));
    if (m_size > 0) {
        return;
    }
    char byte = 0;
    std::size_t count = 0;
    check("Cannot read", m_file.read(&byte, 1, count));
    if (count > 0) {
        throw CError("Cannot read the file '" + toDisplayPath(m_path) +
                         "': the system does not report its size.",
                     "system");
    }
}

int CFileInStream::read(void* buffer, int maxLength) {
    const int64 wanted = std::min<int64>(maxLength, m_size - m_position);
    if (wanted <= 0) {
        return 0;
    }
    std::size_t count = 0;
    check("Cannot read", m_file.read(buffer, static_cast<std::size_t>(wanted), count));
    if (count == 0) {
        throw CError("The file '" + toDisplayPath(m_path) + "' became shorter while it was read.", "system");
    }
    m_position += static_cast<int64>(count);
    return static_cast<int>(count);
}

void CFileInStream::seek(int64 position) {
    if (position < 0 || position > m_size) {
        throw CError("The position is outside the stream.");
    }
    check("Cannot seek in", m_file.seek(position));
    m_position = position;
}

bool CFileInStream::hasChanged() const {
    std::error_code failure;
    const auto size = fs::file_size(m_path, failure);
    if (failure || static_cast<int64>(size) != m_size) {
        return true;
    }
    return findChangeTime(m_path) != m_changeTime;
}

void CFileInStream::checkUnchanged() const {
    if (hasChanged()) {
        throw CError("The file '" + toDisplayPath(m_path) +
                         "' was changed while it was stored: "
                         "the stored content may be neither the old nor the new one.",
                     "system");
    }
}

void CFileInStream::check(const char* what, int systemError) const {
    if (systemError != 0) {
        throw CError(String(what) + " the file '" + toDisplayPath(m_path) +
                         "': " + describeSystemError(systemError),
                     "system", systemError);
    }
}

}  // namespace zet
