#include "vexil/s3/S3Error.h"

namespace vexil {

namespace {

CProps makeProps(const CS3ErrorResponse& response, int httpStatus) {
    CProps props;
    props.add("s3-resource", response.getResource());
    props.add("s3-requestID", response.getRequestID());
    props.add("s3-code", response.getCode());
    props.addCond(httpStatus > 0, "responseCode", String::fromInt(httpStatus));
    return props;
}

}  // namespace

CS3Error::CS3Error(const CS3ErrorResponse& response, int httpStatus)
    : CS3Error(response, httpStatus, String(), String()) {}

CS3Error::CS3Error(const CS3ErrorResponse& response, int httpStatus, const String& url,
                   const String& httpMethod)
    : CError(makeErrorText(response), "http", httpStatus, makeProps(response, httpStatus)),
      m_s3Code(response.getCode()), m_url(url), m_httpMethod(httpMethod) {}

CS3Error::~CS3Error() = default;

String CS3Error::makeErrorText(const CS3ErrorResponse& response) {
    return "Amazon S3 error: " + response.getMessage() + "(" + response.getCode() + ")";
}

P<CS3Error> CS3Error::createObjectNotFoundError(const String& resource) {
    return new CS3Error(*CS3ErrorResponse::createObjectNotFoundResponse(resource), 404);
}

P<CError> CS3Error::clone() const {
    return new CS3Error(*this);
}

void CS3Error::throwClone() const {
    throw CS3Error(*this);
}

}  // namespace vexil
