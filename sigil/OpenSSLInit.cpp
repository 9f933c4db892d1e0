#include "sigil/OpenSSLInit.h"

#include "zet/Error.h"

#include <openssl/ssl.h>

namespace sigil {

void COpenSSLInit::ensureInitialized() {
    // Later calls do nothing.
    if (OPENSSL_init_ssl(0, nullptr) != 1) {
        throw zet::CError("OpenSSL cannot be initialised.");
    }
}

}  // namespace sigil
