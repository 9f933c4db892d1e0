#include "vexil/s3/S3ChecksumCheck.h"

#include "vexil/net/ErrorClassification.h"
#include "vexil/net/NetHeaders.h"
#include "vexil/s3/S3ChecksumValue.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3URL.h"

#include <wx/base64.h>

#include <array>

namespace vexil {

namespace {

constexpr std::array checksums = {S3Checksum::CRC32C, S3Checksum::SHA256};

/// The URL without its query.
String getTarget(const CNetRequest& request) {
    CS3URL url = CS3URL::parse(request.getURL());
    url.query = String();
    return url.toText();
}

}  // namespace

String makeCompositeChecksum(S3Checksum checksum, const TArray<String>& ofParts) {
    const P<sigil::IDigest> digest = createChecksumDigest(checksum);
    if (!digest) {
        return String();
    }
    for (const String& text : ofParts) {
        const wxMemoryBuffer bytes = wxBase64Decode(text.toUTF8().c_str());
        if (static_cast<int64>(bytes.GetDataLen()) != getChecksumBytes(checksum)) {
            return String();
        }
        digest->update(static_cast<const unsigned char*>(bytes.GetData()),
                       static_cast<int>(bytes.GetDataLen()));
    }
    return finishChecksum(*digest) + "-" + String::fromInt(static_cast<int64>(ofParts.size()));
}

void verifyChecksum(S3Checksum checksum, const String& name, const String& sent, const String& stored) {
    if (!sent.isEmpty() && !stored.isEmpty() && sent != stored) {
        throw makeTransientError("The service has stored other bytes for '" + name +
                                 "' than were sent. Sent was the " + getChecksumName(checksum) + " " + sent +
                                 ", stored is " + stored + ". Put the object again or delete it.");
    }
}

String getSentChecksum(const CNetRequest& request, S3Checksum checksum) {
    TMap<String, String> sent;
    if (const P<CNetHeaders> headers = request.getCustomHTTPHeaders()) {
        headers->fillMap(sent);
    }
    return findHeader(sent, getChecksumHeader(checksum));
}

void verifySentChecksum(const CNetRequest& request, const TMap<String, String>& sentHeaders) {
    const TMap<String, String>& stored = request.getResponseHeaderMap();
    for (const S3Checksum checksum : checksums) {
        const String header = getChecksumHeader(checksum);
        if (sentHeaders.contains(header)) {
            verifyChecksum(checksum, getTarget(request), findHeader(sentHeaders, header),
                           findHeader(stored, header));
        }
    }
}

}  // namespace vexil
