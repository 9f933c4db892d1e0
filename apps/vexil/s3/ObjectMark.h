#pragma once

#include "vexil/BaseTypes.h"

namespace vexil::app {

/// The ETag of an object in the form in which two of them can be compared: some services leave out the
/// quotation marks in listings.
inline String makeObjectMark(const String& eTag) {
    return eTag.length() >= 2 && eTag.startsWith("\"") && eTag.endsWith("\"")
               ? eTag.substr(1, eTag.length() - 2)
               : eTag;
}

}  // namespace vexil::app
