#include "zet/Thread.h"

#include <pthread.h>

namespace zet {

namespace {

constexpr std::size_t maxNameBytes = 15;

bool continuesCharacter(char byte) noexcept {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace

void CThread::nameCurrentThread(const String& name) noexcept {
    try {
        std::string utf8 = name.toUTF8();
        if (utf8.size() > maxNameBytes) {
            std::size_t end = maxNameBytes;
            while (end > 0 && continuesCharacter(utf8[end])) {
                --end;
            }
            utf8.resize(end);
        }
        pthread_setname_np(pthread_self(), utf8.c_str());
    } catch (const std::exception&) {
        // A thread without a name works, too.
    }
}

}  // namespace zet
