/// \file
/// The variables of the environment that tell of proxies (POSIX).
#pragma once

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace vexil_test {

inline void setVariable(const char* name, const std::string& value) {
    if (setenv(name, value.c_str(), 1) != 0) {
        throw std::runtime_error("a variable cannot be set");
    }
}

/// Takes away whatever the one who runs the tests has set.
inline void clearProxyVariables() {
    for (const char* name : {"http_proxy", "https_proxy", "ftp_proxy", "all_proxy", "no_proxy", "HTTP_PROXY",
                             "HTTPS_PROXY", "FTP_PROXY", "ALL_PROXY", "NO_PROXY"}) {
        if (unsetenv(name) != 0) {
            throw std::runtime_error("a variable cannot be taken away");
        }
    }
}

}  // namespace vexil_test
