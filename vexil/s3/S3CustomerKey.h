#pragma once

#include <string>

namespace vexil {

/// A key with which the service encrypts an object and which it does not keep (SSE-C, AES-256). The same key
/// is needed to read the object: without it the content is lost. A value.
///
/// A request with a key is sent over https only, and libcurl follows no redirect for it. The redacted verbose
/// log hides the key; the plain one shows it.
struct CS3CustomerKey {
    /// The key itself, 32 bytes (not base64); "" for no key.
    std::string bytes = {};

    /// True if there is a key.
    [[nodiscard]] bool isSet() const noexcept { return !bytes.empty(); }
};

}  // namespace vexil
