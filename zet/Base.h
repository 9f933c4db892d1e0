#pragma once

#include "zet/Export.h"

#include <atomic>
#include <cstddef>
#include <limits>

namespace zet {

/// Root of everything that is counted: the virtual base of all interfaces and classes.
///
/// The count starts at 0. `P<T>` increases it, and deletes the object when the count returns to 0. This
/// applies only to objects made by `new` (by make() or std::make_unique, too), and only a `P<T>` may own such
/// an object: not `delete`, not another smart pointer. Other objects are never deleted by a `P<T>`: those on
/// the stack, inside another object, in a container, made by std::make_shared, or thrown. A `P<T>` may point
/// to one for a while, if the object outlives it. Copying and assigning an object leaves both counts as they
/// are.
///
/// A debug build of the library aborts with a message if an object made by `new` is destroyed otherwise than
/// by its last `P<T>`, or if any object is destroyed while a `P<T>` points to it.
///
/// Thread safety: the count may be changed from any thread.
class ZET_API IBase {
public:
    /// Counts one more reference. P calls it; do not call it elsewhere.
    void addRef() const noexcept { m_references.fetch_add(1, std::memory_order_relaxed); }
    /// Drops one reference; the last one deletes the object if it was created by `new`. P calls it.
    void release() const noexcept {
        if (m_references.fetch_sub(1, std::memory_order_acq_rel) == 1 && m_isHeapObject) {
            // A P that the destructor makes for a while does not delete the object again.
            m_references.store(deletedByP, std::memory_order_relaxed);
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
    static constexpr int deletedByP = std::numeric_limits<int>::min() / 2;

    mutable std::atomic<int> m_references{0};
    const bool m_isHeapObject;
    // Exceptions in flight during the construction. A debug build of the library needs it; every build has
    // it, so that the size does not depend on the build.
    [[maybe_unused]] unsigned char m_exceptionsAtConstruction = 0;
};

/// The counted base class: a class of your own (not an interface) derives from it, virtually.
class ZET_API CBase : public virtual IBase {
protected:
    CBase() noexcept = default;
    CBase(const CBase&) noexcept = default;
    CBase& operator=(const CBase&) noexcept = default;
    ~CBase() override;
};

}  // namespace zet
