#pragma once

#include "zet/String.h"

#include <algorithm>

namespace vexil {

/// Whether a text contains CR, LF or NUL. Such a text would begin another header or command, or be cut.
inline bool hasLineEnd(const zet::String& text) {
    return std::any_of(text.view().begin(), text.view().end(),
                       [](wchar_t c) { return c == L'\r' || c == L'\n' || c == L'\0'; });
}

}  // namespace vexil
