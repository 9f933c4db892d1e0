#pragma once

#include "apps/vexil/mail/MailError.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/NetReply.h"

namespace vexil::app {

/// The error of a mail with what a person wants to know of it: what was refused, the server's words of refusal instead of
/// those of its last reply, and what can be done. A reply that is not a refusal is left out when the connection fails.
/// \param replies          all of the transfer that the error comes from
/// \param recipients       in the order in which they were named to the server
/// \param mayHaveBeenSent  see CSMTPClient::mayHaveBeenSent()
CMailError makeMailError(const CCURLError& error, const TArray<CNetReply>& replies,
                         const TArray<String>& recipients, bool mayHaveBeenSent);

/// The last reply with this code in one line, its code in front; "" when there was none.
String getReply(const TArray<CNetReply>& replies, int code);

}  // namespace vexil::app
