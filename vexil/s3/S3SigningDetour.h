#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/NetRequest.h"

namespace vexil {

class CS3Client;

/// What one transfer of a CTransferQueue does after a refusal or redirect that asks for another signature, as
/// the operations of CS3Client do it: its request is signed again for another region, another clock (at most
/// 2 corrections), or another URL of the same host (at most 5 redirects). None of these counts as a try. Does
/// nothing with version 2 of the signature.
///
/// Make one for each transfer. The requests of CS3TransferManager have one already.
///
/// Thread safety: one thread at a time, the one that uses the queue.
///
/// \code
/// void prepare(CNetRequest& request) override {
///     m_client.prepareGetObjectRequest(request, "bucket", "key");
///     m_detour.apply(m_client, request);
/// }
/// bool canFallBack(CNetRequest& request, const CError& error) override {
///     return m_detour.find(m_client, request, error);
/// }
/// \endcode
class VEXIL_API CS3SigningDetour {
public:
    /// Call it when the transfer has failed and is not tried again (ITransfer::canFallBack()).
    /// \param request  with the response of the failed try
    /// \param error    that of CS3Client::checkResponse() or of CS3Client::tryThrowBetterError()
    /// \return true if the request must be prepared and sent again
    [[nodiscard]] bool find(CS3Client& client, CNetRequest& request, const CError& error);
    /// Call it at the end of each preparation: gives the request the URL of the last redirect and signs it.
    void apply(CS3Client& client, CNetRequest& request) const;

private:
    bool isWorthwhile(CS3Client& client, CNetRequest& request, const CError& error) const;

    String m_url;  // "" before the first redirect
    int m_corrections = 0;
    int m_redirects = 0;
};

}  // namespace vexil
