#pragma once

#include "vexil/net/NetRequest.h"

namespace vexil {
class CS3Client;
}

namespace vexil::app {

/// What one transfer of a queue does after a refusal or redirect that asks for another signature, as the
/// operations of the client do it: it is signed again for another region, clock or URL of the same host. None
/// of these counts as a try. It does nothing with version 2.
class CSigningDetour {
public:
    /// Corrections of region and clock.
    static constexpr int maxCorrections = 2;
    static constexpr int maxRedirects = 5;

    /// Must be called after a failed transfer. True: prepare it again.
    [[nodiscard]] bool find(CS3Client& client, CNetRequest& request, const CError& error);
    /// Must be called at the end of each preparation.
    void apply(CS3Client& client, CNetRequest& request) const;

private:
    bool isWorthwhile(CS3Client& client, CNetRequest& request, const CError& error) const;

    String m_url;  // "" before the first redirect
    int m_corrections = 0;
    int m_redirects = 0;
};

}  // namespace vexil::app
