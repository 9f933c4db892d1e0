/// \file
/// The headers and queries of CS3PutOptions and CS3GetOptions.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetHeaders.h"
#include "vexil/net/NetRequest.h"
#include "vexil/s3/S3GetOptions.h"
#include "vexil/s3/S3PutOptions.h"

namespace vexil {

/// The parts of a put that a request carries.
enum class S3PutPart {
    Object,      ///< one put: everything
    Beginning,   ///< the beginning of an upload in parts: everything except the conditions
    Completion,  ///< its completion: the conditions and the customer key
};

/// \param place  for the error: the member that refuses the options
/// \throws CInvalidArgError that names the field
void checkPutOptions(const char* place, const CS3PutOptions& options);
/// \throws CInvalidArgError that names the field
void checkGetOptions(const char* place, const CS3GetOptions& options);
/// \throws CInvalidArgError for a number that stands for no checksum
void checkChecksum(const char* place, S3Checksum checksum);
/// \param baseURL  the service: the key may be sent over https only
/// \throws CInvalidArgError if the key cannot be used
void checkCustomerKey(const char* place, const CS3CustomerKey& key, const String& baseURL);

/// A text that a header can carry as it is.
/// \param field  its name, for the error
/// \throws CInvalidArgError for any other text
void checkHeaderText(const char* place, const String& field, const String& text);
/// The same for a field that is usually empty: an empty text costs nothing.
inline void checkHeaderText(const char* place, const char* field, const String& text) {
    if (!text.isEmpty()) {
        checkHeaderText(place, String(field), text);
    }
}
/// \throws CInvalidArgError for a time outside the years 0 to 9999
void checkTime(const char* place, const char* field, const zet::CTime& time);

void addPutHeaders(CNetHeaders& headers, const CS3PutOptions& options, S3PutPart part);
void addGetHeaders(CNetHeaders& headers, const CS3GetOptions& options);
/// \return "" or a query that begins with "?"
String makeGetQuery(const CS3GetOptions& options);

/// Adds nothing if there is no key. Otherwise also stops libcurl from following redirects, because it would
/// send the key to any host.
/// \param prefix  the beginning of the names of the headers
void addCustomerKey(CNetRequest& request, CNetHeaders& headers, const CS3CustomerKey& key,
                    const String& prefix = "x-amz-server-side-encryption-customer-");
/// Adds nothing if the text is "".
void addOptional(CNetHeaders& headers, const char* name, const String& text);
/// Adds nothing if the time is not set.
void addOptional(CNetHeaders& headers, const char* name, const zet::CTime& time);

}  // namespace vexil
