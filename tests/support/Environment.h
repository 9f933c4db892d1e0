#pragma once

#include <cstdlib>

namespace vexil_test {

/// Sets an environment variable of this process.
inline void setEnvironment(const char* name, const char* value) {
#ifdef _WIN32
    _putenv_s(name, value);
#else
    setenv(name, value, 1);
#endif
}

/// Removes a variable.
inline void clearEnvironment(const char* name) {
#ifdef _WIN32
    _putenv_s(name, "");
#else
    unsetenv(name);
#endif
}

}  // namespace vexil_test
