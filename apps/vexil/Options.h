#pragma once

#include <string>

namespace vexil::app {

/// How much the program says on standard error. Each level includes the ones above it.
enum class Verbosity {
    Quiet,    ///< nothing
    Error,    ///< what has failed
    Warning,  ///< progress, and what the user should look at
    Info,     ///< retries and continued downloads
    Debug,    ///< every message on the wire, without the credentials
};

/// The options that every command knows. Texts are UTF-8 (on Linux: bytes as given).
struct COptions {
    std::string endpoint;  ///< "" for the environment's or the library's default
    bool verify = true;
    std::string caBundle;       ///< "" for libcurl's own
    double timeoutSeconds = 0;  ///< of one whole request; 0 for none
    int retries = 50;
    Verbosity verbosity = Verbosity::Warning;
    std::string credentialsFile;  ///< "" for the environment's credentials
};

}  // namespace vexil::app
