#pragma once

#include "zet/InvalidArgError.h"

#include <cstddef>

namespace sigil {

/// The length in the unsigned type of OpenSSL.
/// \throws zet::CInvalidArgError for a negative length, which would become very large
inline std::size_t checkedLength(const char* place, int length) {
    if (length < 0) {
        throw zet::CInvalidArgError(place, "length is negative");
    }
    return static_cast<std::size_t>(length);
}

}  // namespace sigil
