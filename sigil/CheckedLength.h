#pragma once

#include "zet/InvalidArgError.h"

#include <cstddef>

namespace sigil {

/// The length as OpenSSL counts it, where a negative one would become enormous.
inline std::size_t checkedLength(const char* place, int length) {
    if (length < 0) {
        throw zet::CInvalidArgError(place, "length is negative");
    }
    return static_cast<std::size_t>(length);
}

}  // namespace sigil
