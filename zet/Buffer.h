#pragma once

#include "zet/Base.h"
#include "zet/Export.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

namespace zet {

/// Throws the CError "A buffer cannot hold more than 2147483647 elements."
[[noreturn]] ZET_API void throwBufferTooLarge();
/// Throws the CInvalidArgError "size is negative", of which `member` of TBuffer is the place.
[[noreturn]] ZET_API void throwNegativeBufferSize(const char* member);

/// Growable array of plain elements with a used size: where the bytes of a body land, once.
///
/// Grows by doubling and does not clear what it grows. Counted, but just as much a value: copies are deep.
/// Sizes are counts of elements, at most 2147483647; more is a CError, less than 0 a CInvalidArgError. After
/// an error the buffer is as before. One thread at a time.
template <class T>
class TBuffer : public virtual CBase {
    static_assert(std::is_trivially_copyable_v<T>, "elements are moved as bytes");

public:
    /// Empty, without memory of its own yet.
    TBuffer() noexcept = default;
    /// So many elements of undefined content.
    explicit TBuffer(int used) { setUsed(used); }
    TBuffer(const TBuffer& other) : IBase(other), CBase(other) { append(other.m_data, other.m_used); }
    TBuffer(TBuffer&& other) noexcept { swap(other); }
    /// Copies the elements, or takes them over from a buffer that is moved.
    TBuffer& operator=(TBuffer other) noexcept {
        swap(other);
        return *this;
    }
    ~TBuffer() override { std::free(m_data); }

    /// @{

    /// The elements: getUsed() of them count. Null before anything was reserved; valid until the buffer
    /// grows, is assigned to or swapped, or ends.
    T* getData() noexcept { return m_data; }
    const T* getData() const noexcept { return m_data; }
    /// @}

    /// Elements in use.
    int getUsed() const noexcept { return m_used; }
    /// Elements that there is memory for, at least getUsed().
    int getCapacity() const noexcept { return m_capacity; }

    /// Shrinks or grows the used size; the memory stays. The content of what is grown is not defined.
    void setUsed(int used) {
        if (used < 0) {
            throwNegativeBufferSize("setUsed");
        }
        reserve(used);
        m_used = used;
    }

    /// Copies `count` elements behind the used ones. `data` may be null where `count` is 0; it must not point
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

    /// Makes room for at least so many elements; never shrinks.
    void reserve(int capacity) {
        if (capacity > m_capacity) {
            grow(capacity);
        }
    }

    /// Exchanges elements and memory; the reference counts stay.
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
        // realloc moves big blocks by remapping pages: a body of a gigabyte is never there twice.
        // NOLINTNEXTLINE(clang-analyzer-optin.portability.UnixAPI): `wanted` is above `m_capacity`, so above 0.
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
