#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/s3/S3ErrorResponse.h"

namespace vexil {

/// The error of a request that an S3 service refused with an `Error` document.
///
/// The domain is "http" and getCode() the HTTP status. The properties are "s3-resource", "s3-requestID",
/// "s3-code" and, for a status above 0, "responseCode" (decimal), in this order. A failed copy inside a
/// response with status 200 has the status 0.
///
/// getKind() comes from the code of the service, and for an unknown code from the status.
///
/// A plain value; clone() and throwClone() carry it to another thread with its type.
class VEXIL_API CS3Error : public CError {
public:
    /// \param httpStatus  status of the response; below 1 for no status
    CS3Error(const CS3ErrorResponse& response, int httpStatus);
    /// \param url         URL of the request
    /// \param httpMethod  method of the request
    CS3Error(const CS3ErrorResponse& response, int httpStatus, const String& url, const String& httpMethod);
    CS3Error(const CS3Error&) = default;
    CS3Error& operator=(const CS3Error&) = default;
    ~CS3Error() override;

    /// "Amazon S3 error: ", the message, and the code in parentheses, without a space before the parentheses.
    static String makeErrorText(const CS3ErrorResponse& response);

    /// The service's name for the failure: "AccessDenied".
    String getS3Code() const { return m_s3Code; }
    /// URL of the request as it was set; "" if unknown.
    const String& getURL() const noexcept { return m_url; }
    /// HTTP method of the request as it was set; "" for the default or if unknown.
    const String& getHTTPMethod() const noexcept { return m_httpMethod; }

    /// The error of a missing object, with status 404, for callers who already know that it is missing.
    static P<CS3Error> createObjectNotFoundError(const String& resource);

    P<CError> clone() const override;
    [[noreturn]] void throwClone() const override;

private:
    String m_s3Code;
    String m_url;
    String m_httpMethod;
};

}  // namespace vexil
