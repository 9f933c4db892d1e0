#pragma once

#include <cstdlib>

namespace vexil_test {

/// Sets a variable of this process's environment, for what reads it from now on.
inline void setEnvironment(const char* name, const char* value) {
#ifdef _WIN32
    _putenv_s(name, value);
#else
    setenv(name, value, 1);
#endif
}

/// Takes a variable away.
inline void clearEnvironment(const char* name) {
#ifdef _WIN32
    _putenv_s(name, "");
#else
    unsetenv(name);
#endif
}

}  // namespace vexil_test
