#pragma once

#include "zet/Export.h"

#include <atomic>
#include <cstddef>

namespace zet {

/// Root of everything that is counted: the virtual base of all interfaces and classes.
///
/// The count starts at 0; `P<T>` adds to it and deletes the object when it falls back to 0. Only an object that `new`
/// made (std::make_unique calls it, too: no smart pointer but `P<T>` may own one) is ever deleted this way: one on the
/// stack, inside another object, in a container, of std::make_shared or thrown may be pointed to by a `P<T>` for a
/// while (but must outlive it; a debug build asserts that). Copying and assigning leaves both counts as they are.
///
/// Thread safety: the count may be changed from any thread.
class ZET_API IBase {
public:
    /// Counts one more reference. P calls it; nobody else should need to.
    void addRef() const noexcept { m_references.fetch_add(1, std::memory_order_relaxed); }
    /// Counts one reference less and deletes the object, if it is one to delete, with the last. P calls it.
    void release() const noexcept {
        if (m_references.fetch_sub(1, std::memory_order_acq_rel) == 1 && m_isHeapObject) {
            delete this;
        }
    }

    // The class-specific operators tell the constructor which complete object came from `new`.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* memory) noexcept;
    static void operator delete(void*, void*) noexcept {}

protected:
    IBase() noexcept;
    IBase(const IBase&) noexcept : IBase() {}
    IBase& operator=(const IBase&) noexcept { return *this; }
    virtual ~IBase();

private:
    mutable std::atomic<int> m_references{0};
    const bool m_isHeapObject;
};

/// The counted base class: what a class of its own (rather than an interface) derives from, virtually.
class ZET_API CBase : public virtual IBase {
protected:
    CBase() noexcept = default;
    CBase(const CBase&) noexcept = default;
    CBase& operator=(const CBase&) noexcept = default;
    ~CBase() override;
};

}  // namespace zet
