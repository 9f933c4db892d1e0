#pragma once

#include "zet/Base.h"

#include <compare>
#include <concepts>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

namespace zet {

/// True if a pointer to a U is also a pointer to a T.
template <class U, class T>
concept PointsTo = std::is_convertible_v<U*, T*>;

/// Intrusive counting pointer to an object that derives from IBase.
///
/// Converts to and from a plain pointer implicitly, because setters take plain pointers and keep a `P<>`.
/// What would misuse the plain pointer does not compile: `delete p`, `p + 1`, `p[1]`,
/// `std::unique_ptr<T>(p)`.
///
/// The base is looked up once, when the pointer is made. So copying and destroying a `P<T>` works if T is
/// only declared, and costs one atomic operation.
///
/// Thread safety: several threads may use different pointers to one object, but not the same pointer.
///
/// \code
/// P<CNetRequest> request = make<CNetRequest>();  // deleted with the last P to it
/// request->setReceiveDataStream(stream);         // takes a plain pointer and keeps a P
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

    /// Refers to the other's object; then drops the reference to its old one.
    P& operator=(P other) noexcept {
        swap(other);
        return *this;
    }

    /// @{

    /// The object, or null; its count stays. Using the object of a null pointer is undefined.
    [[nodiscard]] T* get() const noexcept { return m_object; }
    operator T*() const noexcept { return m_object; }
    T* operator->() const noexcept { return m_object; }
    std::add_lvalue_reference_t<T> operator*() const noexcept { return *m_object; }
    /// @}

    /// An array is never counted, so there is no other element.
    template <std::convertible_to<std::ptrdiff_t> Index>
    void operator[](Index) const = delete;

    /// The same object as a U, or null if it is not a U. The way back from `P<IBase>`.
    template <class U>
    [[nodiscard]] P<U> dynamicCast() const noexcept {
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

    // With a second conversion to a pointer, `delete` does not know which to use. Everything else prefers the
    // public conversion, because this one is `volatile`.
    operator const volatile T*() const volatile = delete;
    // Makes `std::unique_ptr<T>(p)` ambiguous.
    operator std::unique_ptr<T>() const = delete;

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

/// Makes an object with `new` and returns the first reference to it.
template <class T, class... Arguments>
[[nodiscard]] P<T> make(Arguments&&... arguments) {
    return new T(std::forward<Arguments>(arguments)...);
}

/// @{

/// Compares the addresses of the objects.
template <class T, class U>
bool operator==(const P<T>& left, const P<U>& right) noexcept {
    return left.get() == right.get();
}
template <class T, class U>
bool operator==(const P<T>& left, U* right) noexcept {
    return left.get() == right;
}
template <class T>
bool operator==(const P<T>& left, std::nullptr_t) noexcept {
    return left.get() == nullptr;
}
template <class T, class U>
std::strong_ordering operator<=>(const P<T>& left, const P<U>& right) noexcept {
    return std::compare_three_way()(left.get(), right.get());
}
template <class T, class U>
std::strong_ordering operator<=>(const P<T>& left, U* right) noexcept {
    return std::compare_three_way()(left.get(), right);
}
/// @}

/// @{

/// An array is never counted, so there is no next object and no distance.
template <class T, std::convertible_to<std::ptrdiff_t> Distance>
void operator+(const P<T>&, Distance) = delete;
template <class T, std::convertible_to<std::ptrdiff_t> Distance>
void operator+(Distance, const P<T>&) = delete;
template <class T, std::convertible_to<std::ptrdiff_t> Distance>
void operator-(const P<T>&, Distance) = delete;
template <class T, class U>
void operator-(const P<T>&, const P<U>&) = delete;
/// @}

/// @{

/// True if T is a pointer to an object of a class, to a union or to a pointer, or an array of these.
template <class T>
inline constexpr bool isObjectPointer = false;
template <class T>
inline constexpr bool isObjectPointer<T*> = std::is_class_v<T> || std::is_union_v<T> || std::is_pointer_v<T>;
template <class T, std::size_t size>
inline constexpr bool isObjectPointer<T[size]> = isObjectPointer<T*>;
template <class T>
inline constexpr bool isObjectPointer<P<T>> = true;
/// @}

/// A pointer to an object that contains addresses. All these pointers convert to `const void*`, but functions
/// that take bytes refuse them: otherwise the addresses would be stored or sent. For plain structures of
/// bytes use `static_cast<const void*>`.
template <class T>
concept ObjectPointer = isObjectPointer<std::remove_cv_t<T>>;

}  // namespace zet
