#include "apps/vexil/s3/S3Diagnosis.h"

#include "apps/vexil/session/TransferDiagnosis.h"
#include "apps/vexil/transfer/ResponseCheck.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/s3/S3SigningError.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace vexil::app {

namespace {

constexpr const char* checkKeys =
    "Check VEXIL_S3_ACCESS_KEY and VEXIL_S3_SECRET_KEY, or the file of --credentials.";
constexpr const char* checkSecret =
    "Check VEXIL_S3_ACCESS_KEY and VEXIL_S3_SECRET_KEY, or the file of --credentials. An old server may need "
    "--signature v2.";
/// The region that tryThrowRegionError() adds.
constexpr const char* wantedRegion = "wanted region";

constexpr const char* nameRegion =
    "The bucket is in another region: give that region's server with --endpoint.";

struct CKnownCode {
    const char* code;
    const char* hint;
};

constexpr CKnownCode knownCodes[] = {
    {"RequestTimeTooSkewed", "Set this computer's clock: it differs too much from the server's."},
    {"NoSuchBucket", "Check the bucket's name, or make it with: vexil s3 mb BUCKET"},
    {"NoSuchKey", "List the bucket with: vexil s3 ls BUCKET"},
    {"BucketNotEmpty", "Delete its objects first, for example with: vexil s3 rm --recursive BUCKET \"\""},
    {"InvalidLocationConstraint", "The server does not know the region: give another one with --region, or "
                                  "--region us-east-1 to send none."},
    {"InvalidAccessKeyId", checkKeys},
    {"SignatureDoesNotMatch", checkSecret},
    {"AccessDenied", "The owner of these keys is not allowed to do that. "
                     "Check the keys, and the rights on the bucket."},
    {"PreconditionFailed",
     "Another program has changed or stored the object. Look at it with: vexil s3 ls BUCKET"},
    {"PermanentRedirect", nameRegion},
    {"TemporaryRedirect", nameRegion},
};

/// The kind of a known code; Other: as the status says.
DiagnosisKind findKind(const CError& error, const String& code) {
    return code == "NoSuchBucket" ? DiagnosisKind::MissingStore : toDiagnosisKind(error.getKind());
}

/// The status may tell more than the code, or the other way round.
DiagnosisKind combine(DiagnosisKind byCode, const CErrorDiagnosis& byStatus) {
    switch (byCode) {
    case DiagnosisKind::Other:
        return byStatus.kind;
    case DiagnosisKind::Missing:
        return byStatus.isHopeless() ? DiagnosisKind::MissingStore : byCode;
    case DiagnosisKind::LoginRefused:
        return byStatus.isAccessDenied() ? DiagnosisKind::LoginForbidden : byCode;
    case DiagnosisKind::AccessDenied:
        return byStatus.isHopeless() ? DiagnosisKind::LoginForbidden : byCode;
    default:
        return byCode;
    }
}

String adviseRegion(const String& region) {
    return "The server wants another region: give --region " + region + ".";
}

bool isRegionName(const String& text) {
    constexpr std::wstring_view allowed = L"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";
    return !text.isEmpty() && text.view().find_first_not_of(allowed) == std::wstring_view::npos;
}

/// Whether a request has a signature of version 4 for another region.
bool isSignedForOtherRegion(const CNetRequest& request, const String& region) {
    TMap<String, String> headers;
    if (const P<CNetHeaders> list = request.getCustomHTTPHeaders()) {
        list->fillMap(headers);
    }
    const auto found = headers.find("authorization");
    const String end = "/s3/aws4_request";
    return found != headers.end() && found->second.find(end) != String::npos &&
           found->second.find("/" + region + end) == String::npos;
}

/// The option that the server wants; "" for none.
String findWantedOption(const CError& error) {
    if (const String region = error.getProps().lookup(wantedRegion); !region.isEmpty()) {
        return adviseRegion(region);
    }
    const auto* const refusal = dynamic_cast<const CS3SigningError*>(&error);
    if (!refusal) {
        return String();
    }
    switch (refusal->getCause()) {
    case CS3SigningError::Cause::SignatureVersion:
        return "The server wants another signature: give --signature v" +
               String::fromInt(static_cast<int>(refusal->getSignatureVersion())) + ".";
    case CS3SigningError::Cause::Region:
        return adviseRegion(refusal->getRegion());
    case CS3SigningError::Cause::Clock:
        break;
    }
    return String();
}

}  // namespace

std::optional<CErrorDiagnosis> findS3Diagnosis(const CError& error) {
    if (const String wanted = findWantedOption(error); !wanted.isEmpty()) {
        return CErrorDiagnosis{DiagnosisKind::LoginRefused, wanted};
    }
    const String code = error.getProps().lookup("s3-code");
    const auto* const known = std::find_if(std::begin(knownCodes), std::end(knownCodes),
                                           [&code](const CKnownCode& other) { return code == other.code; });
    if (known == std::end(knownCodes)) {
        return std::nullopt;
    }
    return CErrorDiagnosis{combine(findKind(error, code), diagnoseTransfer(error)), known->hint};
}

CErrorDiagnosis diagnoseS3(const CError& error) {
    const auto diagnosis = findS3Diagnosis(error);
    return diagnosis ? *diagnosis : diagnoseTransfer(error);
}

void tryThrowRegionError(const CNetRequest& request, const CError& error) {
    const int status = getHTTPStatusCodeFromError(error);
    const bool isRefused = status == 301 || status == 307 || status == 400 || status == 403;
    const String region = isRefused ? getResponseHeader(request, "x-amz-bucket-region") : String();
    if (!isRegionName(region) || !isSignedForOtherRegion(request, region)) {
        return;
    }
    CProps props = error.getProps();
    props.add(wantedRegion, region);
    CError refusal(error.getMessage(), error.getDomain(), error.getCode(), props);
    refusal.setKind(error.getKind());
    throw refusal;
}

}  // namespace vexil::app
