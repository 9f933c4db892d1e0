#include "zet/Base.h"

#include <cassert>
#include <exception>
#include <functional>
#include <new>

namespace zet {

namespace {

/// Blocks that operator new has returned and in which no object is constructed yet.
///
/// Several blocks are open if the arguments of a constructor are built with `new`, too. The virtual base
/// IBase is constructed before every other part of an object. So the first IBase inside an open block belongs
/// to the complete object. Counted members of this object are constructed later and find the block closed.
class COpenBlocks {
public:
    void open(void* memory, std::size_t size) noexcept {
        // An object beyond this depth is never deleted: a leak is better than a double delete.
        if (m_count < capacity) {
            m_blocks[m_count++] = {static_cast<const char*>(memory), size};
        }
    }

    bool closeAround(const void* address) noexcept {
        const char* byte = static_cast<const char*>(address);
        for (int i = m_count - 1; i >= 0; --i) {
            const Block& block = m_blocks[i];
            if (!std::less<>()(byte, block.begin) && std::less<>()(byte, block.begin + block.size)) {
                remove(i);
                return true;
            }
        }
        return false;
    }

private:
    struct Block {
        const char* begin;
        std::size_t size;
    };

    void remove(int index) noexcept {
        for (int i = index + 1; i < m_count; ++i) {
            m_blocks[i - 1] = m_blocks[i];
        }
        --m_count;
    }

    static constexpr int capacity = 32;
    Block m_blocks[capacity];
    int m_count = 0;
};

thread_local COpenBlocks t_openBlocks;

}  // namespace

void* IBase::operator new(std::size_t size) {
    void* memory = ::operator new(size);
    t_openBlocks.open(memory, size);
    return memory;
}

void IBase::operator delete(void* memory) noexcept {
    // The block is still open if an argument of the constructor threw.
    t_openBlocks.closeAround(memory);
    ::operator delete(memory);
}

#ifndef NDEBUG

namespace {

unsigned char countExceptions() noexcept {
    return static_cast<unsigned char>(std::uncaught_exceptions());
}

}  // namespace

IBase::IBase() noexcept
    : m_isHeapObject(t_openBlocks.closeAround(this)), m_exceptionsAtConstruction(countExceptions()) {}

IBase::~IBase() {
    const int references = m_references;
    const bool isDeletedByP = references == deletedByP;
    assert((isDeletedByP || references == 0) &&
           "an object is destroyed while a P refers to it, which will use it or delete it once more");
    // Another exception in flight than at the construction: the constructor has probably thrown.
    assert((isDeletedByP || !m_isHeapObject || countExceptions() != m_exceptionsAtConstruction) &&
           "an object made by new is destroyed otherwise than by its last P, such as by delete or "
           "std::unique_ptr");
}

#else

IBase::IBase() noexcept : m_isHeapObject(t_openBlocks.closeAround(this)) {}

IBase::~IBase() = default;

#endif

CBase::~CBase() = default;

}  // namespace zet
