#pragma once

#include <type_traits>
#include <utility>

namespace zet {

/// Calls a function at the end of a scope, after an exception too, unless it was told to leave it.
///
/// \code
/// std::FILE* const file = std::fopen(name, "rb");
/// const TScopeExit close([file] { std::fclose(file); });
/// \endcode
/// \tparam Function  what can be called without arguments, and must not throw
template <class Function>
class [[nodiscard]] TScopeExit {
    static_assert(std::is_nothrow_move_constructible_v<Function>, "otherwise the call could get lost");

public:
    /// Takes the function over. What it refers to must outlive this object.
    explicit TScopeExit(Function function) noexcept : m_function(std::move(function)) {}
    TScopeExit(const TScopeExit&) = delete;
    TScopeExit& operator=(const TScopeExit&) = delete;
    ~TScopeExit() {
        if (m_isActive) {
            m_function();
        }
    }

    /// The function will not be called.
    void dismiss() noexcept { m_isActive = false; }

private:
    Function m_function;
    bool m_isActive = true;
};

}  // namespace zet
