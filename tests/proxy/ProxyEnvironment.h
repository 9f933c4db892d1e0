/// \file
/// The environment variables for proxies.
#pragma once

#include "tests/support/Environment.h"

#include <string>

namespace vexil_test {

inline void setVariable(const char* name, const std::string& value) {
    setEnvironment(name, value.c_str());
}

/// Removes the variables of the user who runs the tests.
inline void clearProxyVariables() {
    for (const char* name : {"http_proxy", "https_proxy", "ftp_proxy", "all_proxy", "no_proxy", "HTTP_PROXY",
                             "HTTPS_PROXY", "FTP_PROXY", "ALL_PROXY", "NO_PROXY"}) {
        clearEnvironment(name);
    }
}

}  // namespace vexil_test
