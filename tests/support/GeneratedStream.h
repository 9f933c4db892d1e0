#pragma once

#include "zet/Error.h"
#include "zet/InStream.h"
#include "zet/OutStream.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>

namespace vexil_test {

/// Generates bytes when it is read, and compares written bytes with them. Any amount; nothing is stored.
class GeneratedStream : public virtual zet::CBase, public zet::IInStream, public zet::IOutStream {
public:
    explicit GeneratedStream(zet::int64 size) : m_size(size) {}

    int read(void* buffer, int maxLength) override {
        const int count = static_cast<int>(
            std::min<zet::int64>({zet::int64{maxLength}, zet::int64{period}, m_size - m_position}));
        std::memcpy(buffer, piece(m_position), static_cast<std::size_t>(count));
        m_position += count;
        return count;
    }
    void write(const void* data, int length) override {
        const auto* bytes = static_cast<const char*>(data);
        for (int count; length > 0; length -= count, bytes += count) {
            count = std::min(length, period);
            if (std::memcmp(bytes, piece(m_position), static_cast<std::size_t>(count)) != 0) {
                throw zet::CError("The bytes near " + zet::String::fromInt(m_position) + " differ.");
            }
            m_position += count;
        }
    }
    zet::int64 getSize() override { return m_size; }
    void seek(zet::int64 position) override { m_position = position; }
    zet::int64 getPosition() override { return m_position; }

private:
    static constexpr int period = 65521;  // a prime, so that swapped blocks are noticed

    /// Two periods, so that every piece is contiguous.
    static const std::string& pattern() {
        static const std::string bytes = [] {
            std::string made(2 * period, '\0');
            unsigned int state = 1;
            for (int i = 0; i < period; ++i) {
                state = state * 1664525u + 1013904223u;
                made[static_cast<std::size_t>(i)] = made[static_cast<std::size_t>(i + period)] =
                    static_cast<char>(state >> 24);
            }
            return made;
        }();
        return bytes;
    }
    static const char* piece(zet::int64 position) { return pattern().data() + position % period; }

    const zet::int64 m_size;
    zet::int64 m_position = 0;
};

}  // namespace vexil_test
