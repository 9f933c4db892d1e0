/// \file
/// How CNetRequest sets an option whose type is known: for its own sources.
#pragma once

#include "vexil/net/ConnectionChoice.h"
#include "vexil/net/NetRequest.h"

namespace vexil {

/// \param value  of the very type that libcurl reads for this option
template <class Value>
void CNetRequest::setOption(CURLoption option, Value value) {
    clearErrorBuffer();
    checkOptionResult(curl_easy_setopt(m_handle.get(), option, value));
    m_connections->note(option, value);
}

}  // namespace vexil
