#include "vexil/s3/S3SigningDetour.h"

#include "vexil/s3/S3Client.h"

namespace vexil {

namespace {

// As the operations of the client: a region and a clock.
constexpr int maxCorrections = 2;
constexpr int maxRedirects = 5;

}  // namespace

bool CS3SigningDetour::isWorthwhile(CS3Client& client, CNetRequest& request, const CError& error) const {
    // The next try is signed with the time of that moment, which may suffice, but not twice.
    const bool isClockRefused = error.getProps().lookup("s3-code") == "RequestTimeTooSkewed" &&
                                client.getSignatureVersion() == S3SignatureVersion::V4;
    return client.learnFromRefusal(request, error) || (isClockRefused && m_corrections == 0);
}

bool CS3SigningDetour::find(CS3Client& client, CNetRequest& request, const CError& error) {
    if (m_corrections < maxCorrections && isWorthwhile(client, request, error)) {
        ++m_corrections;
        // The host may be that of the new region.
        m_url = m_url.isEmpty() ? m_url : request.getURL();
        return true;
    }
    if (m_redirects < maxRedirects && client.followRedirect(request, error)) {
        ++m_redirects;
        m_url = request.getURL();
        return true;
    }
    return false;
}

void CS3SigningDetour::apply(CS3Client& client, CNetRequest& request) const {
    if (!m_url.isEmpty()) {
        request.setURL(m_url);
        client.signAgain(request);
    }
}

}  // namespace vexil
