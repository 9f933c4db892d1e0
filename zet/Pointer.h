#pragma once

#include "zet/Base.h"

#include <cstddef>
#include <type_traits>
#include <utility>

namespace zet {

/// Whether a pointer to a U is a pointer to a T as well.
template <class U, class T>
concept PointsTo = std::is_convertible_v<U*, T*>;

/// Intrusive counting pointer to an object that derives from IBase.
///
/// Converts to and from a plain pointer without ceremony, because setters take plain pointers and keep a
/// `P<>`. The base is looked up once, when the pointer is made: copying and destroying a `P<T>` works where
/// T is only declared, and costs one atomic operation.
///
/// Thread safety: distinct pointers to one object may be used from several threads; one pointer may not.
///
/// \code
/// P<CNetRequest> request = new CNetRequest;    // deleted with the last P to it
/// request->setReceiveDataStream(stream);       // takes a plain pointer and keeps a P
/// P<IBase> base = request;
/// P<CNetRequest> again = base.dynamicCast<CNetRequest>();
/// \endcode
template <class T>
class P {
public:
    /// @{

    /// Null, or a further reference to an object. A pointer that is moved from is null.
    // clang-format off
    // (version 14 takes the short name for a macro)
    P() noexcept = default;
    P(std::nullptr_t) noexcept {}
    P(T* object) noexcept : m_object(object), m_base(object) { addRef(); }
    P(const P& other) noexcept : m_object(other.m_object), m_base(other.m_base) { addRef(); }
    P(P&& other) noexcept
        : m_object(std::exchange(other.m_object, nullptr)), m_base(std::exchange(other.m_base, nullptr)) {}

    template <PointsTo<T> U>
    P(const P<U>& other) noexcept : m_object(other.m_object), m_base(other.m_base) {
        addRef();
    }
    template <PointsTo<T> U>
    P(P<U>&& other) noexcept
        : m_object(std::exchange(other.m_object, nullptr)), m_base(std::exchange(other.m_base, nullptr)) {}
    // clang-format on
    /// @}

    ~P() {
        if (m_base) {
            m_base->release();
        }
    }

    /// Refers to the other's object; the reference to its own is given up after that.
    P& operator=(P other) noexcept {
        swap(other);
        return *this;
    }

    /// @{

    /// The object, or null; its count stays. Following a null pointer is undefined.
    T* get() const noexcept { return m_object; }
    operator T*() const noexcept { return m_object; }
    T* operator->() const noexcept { return m_object; }
    std::add_lvalue_reference_t<T> operator*() const noexcept { return *m_object; }
    /// @}

    /// The same object as a U, or null when it is none. The way back from `P<IBase>`.
    template <class U>
    P<U> dynamicCast() const noexcept {
        return P<U>(dynamic_cast<U*>(m_object));
    }

    /// Exchanges the objects; no count changes.
    void swap(P& other) noexcept {
        std::swap(m_object, other.m_object);
        std::swap(m_base, other.m_base);
    }

private:
    template <class U>
    friend class P;

    void addRef() const noexcept {
        if (m_base) {
            m_base->addRef();
        }
    }

    T* m_object = nullptr;
    const IBase* m_base = nullptr;
};

/// Counting pointer through which the object cannot be changed.
template <class T>
using PC = P<const T>;

/// @{

/// Whether T is a pointer to an object of a class, a union or to a pointer, or an array of these.
template <class T>
inline constexpr bool isObjectPointer = false;
template <class T>
inline constexpr bool isObjectPointer<T*> = std::is_class_v<T> || std::is_union_v<T> || std::is_pointer_v<T>;
template <class T, std::size_t size>
inline constexpr bool isObjectPointer<T[size]> = isObjectPointer<T*>;
template <class T>
inline constexpr bool isObjectPointer<P<T>> = true;
/// @}

/// A pointer to what holds addresses rather than content. All convert to `const void*`; functions that take bytes
/// refuse them, as otherwise the addresses would be stored or sent. For plain structures of bytes there is
/// `static_cast<const void*>`.
template <class T>
concept ObjectPointer = isObjectPointer<std::remove_cv_t<T>>;

}  // namespace zet
