/// \file
/// Makes GoogleTest print texts readably.
#pragma once

#include "zet/String.h"

#include <ostream>

namespace zet {

inline void PrintTo(const String& text, std::ostream* out) {
    *out << '"' << text.toUTF8() << '"';
}

}  // namespace zet
