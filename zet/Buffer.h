#pragma once

#include "zet/Base.h"
#include "zet/Export.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

namespace zet {

/// Throws the CError "A buffer cannot hold more than 2147483647 elements."
[[noreturn]] ZET_API void throwBufferTooLarge();
/// Throws the CInvalidArgError "size is negative" for a member of TBuffer.
[[noreturn]] ZET_API void throwNegativeBufferSize(const char* member);

/// Growable array of plain elements with a used size, such as the bytes of a body.
///
/// Grows by doubling. New elements are not cleared. It is counted, but also a value: copies are deep. Sizes
/// are counts of elements, at most 2147483647: more is a CError, less than 0 a CInvalidArgError. The buffer
/// is unchanged after an error. One thread at a time.
template <class T>
class TBuffer : public virtual CBase {
    static_assert(std::is_trivially_copyable_v<T>, "elements are moved as bytes");

public:
    /// Empty, without memory.
    TBuffer() noexcept = default;
    /// \param used  number of elements, of undefined content
    explicit TBuffer(int used) { setUsed(used); }
    TBuffer(const TBuffer& other) : IBase(other), CBase(other) { append(other.m_data, other.m_used); }
    TBuffer(TBuffer&& other) noexcept { swap(other); }
    /// Copies the elements, or takes them from a buffer that is moved.
    TBuffer& operator=(TBuffer other) noexcept {
        swap(other);
        return *this;
    }
    ~TBuffer() override { std::free(m_data); }

    /// @{

    /// The elements, of which getUsed() are in use. Null before memory was reserved. Valid until the buffer
    /// grows, is assigned to, swapped or destroyed.
    [[nodiscard]] T* getData() noexcept { return m_data; }
    [[nodiscard]] const T* getData() const noexcept { return m_data; }
    /// @}

    /// @{

    /// The used elements, for loops and for functions that take a range. Valid as long as getData().
    [[nodiscard]] std::span<T> span() noexcept { return {m_data, static_cast<std::size_t>(m_used)}; }
    [[nodiscard]] std::span<const T> span() const noexcept {
        return {m_data, static_cast<std::size_t>(m_used)};
    }
    [[nodiscard]] T* begin() noexcept { return m_data; }
    [[nodiscard]] const T* begin() const noexcept { return m_data; }
    [[nodiscard]] T* end() noexcept { return m_data + m_used; }
    [[nodiscard]] const T* end() const noexcept { return m_data + m_used; }
    /// @}

    /// Number of elements in use.
    [[nodiscard]] int getUsed() const noexcept { return m_used; }
    /// Number of elements for which there is memory, at least getUsed().
    [[nodiscard]] int getCapacity() const noexcept { return m_capacity; }

    /// Shrinks or grows the used size; keeps the memory. The content of new elements is undefined.
    void setUsed(int used) {
        if (used < 0) {
            throwNegativeBufferSize("setUsed");
        }
        reserve(used);
        m_used = used;
    }

    /// Copies `count` elements after the used ones. `data` may be null if `count` is 0. It must not point
    /// into this buffer, which may move.
    void append(const T* data, int count) {
        if (count < 0) {
            throwNegativeBufferSize("append");
        }
        if (count > std::numeric_limits<int>::max() - m_used) {
            throwBufferTooLarge();
        }
        if (count > 0) {
            const int end = m_used + count;
            reserve(end);
            std::memcpy(m_data + m_used, data, static_cast<std::size_t>(count) * sizeof(T));
            m_used = end;
        }
    }

    /// Reserves memory for at least `capacity` elements. Never shrinks.
    void reserve(int capacity) {
        if (capacity > m_capacity) {
            grow(capacity);
        }
    }

    /// Exchanges elements and memory. The reference counts stay.
    void swap(TBuffer& other) noexcept {
        std::swap(m_data, other.m_data);
        std::swap(m_used, other.m_used);
        std::swap(m_capacity, other.m_capacity);
    }

private:
    void grow(int capacity) {
        const int doubled = m_capacity > std::numeric_limits<int>::max() / 2 ? std::numeric_limits<int>::max()
                                                                             : m_capacity * 2;
        const int wanted = doubled > capacity ? doubled : capacity;
        // realloc moves large blocks by remapping pages, so a body of a gigabyte is never in memory twice.
        // NOLINTNEXTLINE(clang-analyzer-optin.portability.UnixAPI): `wanted` > `m_capacity` >= 0
        void* memory = std::realloc(m_data, static_cast<std::size_t>(wanted) * sizeof(T));
        if (!memory) {
            throw std::bad_alloc();
        }
        m_data = static_cast<T*>(memory);
        m_capacity = wanted;
    }

    T* m_data = nullptr;
    int m_used = 0;
    int m_capacity = 0;
};

}  // namespace zet
