/// \file
/// Errors and responses as texts for comparisons.
#pragma once

#include "vexil/net/NetRequest.h"

#include <string>
#include <vector>

namespace vexil_test {

/// The properties in their order, as "name=value".
inline std::vector<std::string> propsOf(const vexil::CError& error) {
    std::vector<std::string> props;
    for (const auto& [name, value] : error.getProps().getEntries()) {
        props.push_back((name + "=" + value).toUTF8());
    }
    return props;
}

/// The body in the request's own buffer.
inline std::string bodyOf(const vexil::CNetRequest& request) {
    const auto buffer = request.getDefaultReceiveBuffer();
    return {reinterpret_cast<const char*>(buffer->getData()), static_cast<std::size_t>(buffer->getUsed())};
}

}  // namespace vexil_test
