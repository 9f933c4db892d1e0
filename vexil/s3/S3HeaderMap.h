#pragma once

#include "vexil/BaseTypes.h"

namespace vexil {

/// The value with exactly this name; "" if there is none.
inline String findHeader(const TMap<String, String>& headers, const String& name) {
    const auto found = headers.find(name);
    return found == headers.end() ? String() : found->second;
}

}  // namespace vexil
