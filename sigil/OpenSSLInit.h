#pragma once

#include "sigil/Export.h"

namespace sigil {

/// Start of the crypto library.
class SIGIL_API COpenSSLInit {
public:
    /// Initialises OpenSSL's TLS and crypto parts, once in a process. Any thread.
    /// Throws a CError if OpenSSL refuses.
    static void ensureInitialized();
};

}  // namespace sigil
