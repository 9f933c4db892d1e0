#include "vexil/s3/S3ResumeToken.h"

#include "vexil/net/URLEncoding.h"
#include "vexil/s3/S3ChecksumValue.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3PartSize.h"
#include "zet/ParseNumber.h"

#include <system_error>

namespace vexil {

namespace {

constexpr char version[] = "1";

int64 readNumber(const TMap<String, String>& fields, const char* name) {
    return zet::parseInt64(findHeader(fields, name), int64{-1});
}

bool isValid(const CS3ResumeToken& token) {
    return !token.bucket.isEmpty() && !token.key.isEmpty() && !token.uploadId.isEmpty() &&
           token.partSize >= minUploadPartSize && token.size > token.partSize;
}

}  // namespace

String CS3ResumeToken::toText() const {
    TMap<String, String> fields;
    fields["version"] = version;
    fields["bucket"] = bucket;
    fields["key"] = key;
    fields["upload-id"] = uploadId;
    fields["part-size"] = String::fromInt(partSize);
    fields["size"] = String::fromInt(size);
    fields["modified"] = String::fromInt(modified);
    if (checksum != S3Checksum::None) {
        fields["checksum"] = getChecksumName(checksum);
    }
    return encodeURLParams(fields);
}

CS3ResumeToken CS3ResumeToken::parse(const char* place, const String& text) {
    TMap<String, String> fields;
    decodeURLParams(text.trimmed(), fields);
    if (!fields["version"].isEmpty() && !(fields["version"] == version)) {
        throw CInvalidArgError(place, "the resume token has the version '" + fields["version"] +
                                          "', which is not supported");
    }
    CS3ResumeToken token;
    token.bucket = fields["bucket"];
    token.key = fields["key"];
    token.uploadId = fields["upload-id"];
    token.partSize = readNumber(fields, "part-size");
    token.size = readNumber(fields, "size");
    token.modified = readNumber(fields, "modified");
    token.checksum = findChecksum(findHeader(fields, "checksum"));
    if (!isValid(token) || !(token.toText() == text.trimmed())) {
        throw CInvalidArgError(place, "the text is not a whole resume token of an upload");
    }
    return token;
}

int64 getFileTime(const std::filesystem::path& path) noexcept {
    std::error_code failure;
    const auto time = std::filesystem::last_write_time(path, failure);
    return failure ? 0 : static_cast<int64>(time.time_since_epoch().count());
}

}  // namespace vexil
