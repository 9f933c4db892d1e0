#include "vexil/s3/S3Error.h"

#include "vexil/net/ErrorClassification.h"

#include <algorithm>
#include <iterator>

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

struct CKnownCode {
    const char* code;
    ErrorKind kind;
};

constexpr CKnownCode knownCodes[] = {
    {"AccessDenied", ErrorKind::PermissionDenied},
    {"AccountProblem", ErrorKind::PermissionDenied},
    {"AllAccessDisabled", ErrorKind::PermissionDenied},
    {"BadDigest", ErrorKind::InvalidData},
    {"BucketAlreadyExists", ErrorKind::Conflict},
    {"BucketAlreadyOwnedByYou", ErrorKind::Conflict},
    {"BucketNotEmpty", ErrorKind::Conflict},
    {"Busy", ErrorKind::Throttled},
    {"ExpiredToken", ErrorKind::Unauthenticated},
    {"IncompleteBody", ErrorKind::InvalidData},
    {"InternalError", ErrorKind::Server},
    {"InvalidAccessKeyId", ErrorKind::Unauthenticated},
    {"InvalidDigest", ErrorKind::InvalidData},
    {"InvalidToken", ErrorKind::Unauthenticated},
    {"NoSuchBucket", ErrorKind::NotFound},
    {"NoSuchKey", ErrorKind::NotFound},
    {"NoSuchUpload", ErrorKind::NotFound},
    {"NoSuchVersion", ErrorKind::NotFound},
    {"OperationAborted", ErrorKind::Conflict},
    {"PreconditionFailed", ErrorKind::Conflict},
    {"QuotaExceeded", ErrorKind::StorageFull},
    {"RequestTimeTooSkewed", ErrorKind::Unauthenticated},
    {"RequestTimeout", ErrorKind::Timeout},
    {"ServiceUnavailable", ErrorKind::Unavailable},
    {"SignatureDoesNotMatch", ErrorKind::Unauthenticated},
    {"SlowDown", ErrorKind::Throttled},
    {"SlowDownRead", ErrorKind::Throttled},
    {"SlowDownWrite", ErrorKind::Throttled},
    {"Throttling", ErrorKind::Throttled},
    {"ThrottlingException", ErrorKind::Throttled},
    {"TooManyRequests", ErrorKind::Throttled},
    {"TooManyRequestsException", ErrorKind::Throttled},
    {"XAmzContentChecksumMismatch", ErrorKind::InvalidData},
    {"XAmzContentSHA256Mismatch", ErrorKind::InvalidData},
};

ErrorKind findKind(const String& code, int httpStatus) {
    const auto* const known = std::find_if(std::begin(knownCodes), std::end(knownCodes),
                                           [&code](const CKnownCode& other) { return code == other.code; });
    return known == std::end(knownCodes) ? getKindOfHTTPStatus(httpStatus) : known->kind;
}

}  // namespace

CS3Error::CS3Error(const CS3ErrorResponse& response, int httpStatus)
    : CS3Error(response, httpStatus, String(), String()) {}

CS3Error::CS3Error(const CS3ErrorResponse& response, int httpStatus, const String& url,
                   const String& httpMethod)
    : CError(makeErrorText(response), "http", httpStatus, makeProps(response, httpStatus)),
      m_s3Code(response.getCode()), m_url(url), m_httpMethod(httpMethod) {
    setKind(findKind(m_s3Code, httpStatus));
}

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
