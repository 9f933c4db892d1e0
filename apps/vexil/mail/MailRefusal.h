#pragma once

#include "apps/vexil/mail/MailError.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/NetReply.h"

namespace vexil::app {

/// The error of a mail, with the facts that a user needs: what was refused, the server's refusal instead of
/// its last reply, and advice. If the connection fails, a reply that is not a refusal is left out.
/// \param replies          all replies of the failed transfer
/// \param recipients       in the order in which they were sent to the server
/// \param mayHaveBeenSent  see CSMTPClient::mayHaveBeenSent()
CMailError makeMailError(const CCURLError& error, const TArray<CNetReply>& replies,
                         const TArray<String>& recipients, bool mayHaveBeenSent);

/// The last reply with this code in one line, after its code; "" if there was none.
String getReply(const TArray<CNetReply>& replies, int code);

}  // namespace vexil::app
