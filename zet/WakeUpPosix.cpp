#include "zet/Error.h"
#include "zet/PosixSelect.h"
#include "zet/WakeUp.h"

#include <cerrno>
#include <cstdint>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace zet {

CWakeUp::CWakeUp() : m_descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (m_descriptor < 0) {
        const int code = errno;
        throw CError("Error creating a wake-up descriptor: " +
                         String::fromUTF8Lossy(std::generic_category().message(code)),
                     "system", code);
    }
}

CWakeUp::~CWakeUp() {
    close(static_cast<int>(m_descriptor));
}

bool CWakeUp::canSelectNewDescriptors() const noexcept {
    const int next = dup(static_cast<int>(m_descriptor));
    if (next < 0) {
        return true;  // no new descriptor can be opened
    }
    close(next);
    return CPosixSelect::canSelect(next);
}

void CWakeUp::makeReadable() noexcept {
    // Cannot fail, because the counter is 0 or 1.
    eventfd_write(static_cast<int>(m_descriptor), 1);
}

void CWakeUp::makeUnreadable() noexcept {
    eventfd_t count;
    eventfd_read(static_cast<int>(m_descriptor), &count);
}

}  // namespace zet
