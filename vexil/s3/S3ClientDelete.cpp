#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3ResponseCheck.h"
#include "vexil/s3/S3XmlReduction.h"
#include "zet/BufferStream.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace vexil {

namespace {

constexpr std::size_t maxKeysOfDeletion = 1000;

/// True if XML 1.0, 2.2 allows all characters of a UTF-8 text.
bool isXmlText(std::string_view text) {
    const bool hasControl = std::any_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\n' && c != '\r';
    });
    return !hasControl && text.find("\xEF\xBF\xBE") == std::string_view::npos &&
           text.find("\xEF\xBF\xBF") == std::string_view::npos;
}

/// White space as references: parsers may change or drop it otherwise.
void appendXmlText(std::string& document, std::string_view text) {
    for (const char c : text) {
        switch (c) {
        case '<':
            document += "&lt;";
            break;
        case '>':
            document += "&gt;";
            break;
        case '&':
            document += "&amp;";
            break;
        case ' ':
        case '\t':
        case '\n':
        case '\r':
            document.append("&#").append(std::to_string(static_cast<int>(c))).append(";");
            break;
        default:
            document += c;
        }
    }
}

std::string makeDeleteDocument(const TArray<String>& keys, S3DeleteMode mode) {
    std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Delete>";
    document += mode == S3DeleteMode::Quiet ? "<Quiet>true</Quiet>" : "";
    for (const String& key : keys) {
        document += "<Object><Key>";
        appendXmlText(document, key.toUTF8());
        document += "</Key></Object>";
    }
    return document + "</Delete>";
}

void checkKeys(const char* place, const TArray<String>& keys) {
    if (keys.empty() || keys.size() > maxKeysOfDeletion) {
        throw CInvalidArgError(place, "there must be 1 to 1000 keys");
    }
    for (const String& key : keys) {
        if (key.isEmpty()) {
            throw CInvalidArgError(place, "object name must not be empty");
        }
        if (!CS3Client::isKeyForXML(key)) {
            throw CInvalidArgError(place, "XML cannot carry the object name '" + key + "'");
        }
    }
}

}  // namespace

bool CS3Client::isKeyForXML(const String& key) {
    const std::string bytes = key.toUTF8();
    // toUTF8() replaces what is not a character; that would be another key.
    return !key.isEmpty() && isXmlText(bytes) && String::fromUTF8(bytes) == key;
}

void CS3Client::prepareDeleteObjectsRequest(CNetRequest& request, const String& bucket,
                                            const TArray<String>& keys, S3DeleteMode mode) {
    static constexpr char place[] = "CS3Client::prepareDeleteObjectsRequest";
    if (bucket.isEmpty()) {
        throw CInvalidArgError(place, "bucket name must not be empty");
    }
    checkKeys(place, keys);
    checkPayloadSigning(place);
    const std::string document = makeDeleteDocument(keys, mode);
    const CBodyHashes hashes = calcBodyHashes(document.data(), static_cast<int>(document.size()));
    const P<CNetHeaders> headers = beginPrepareBucketRequest(request, bucket, "?delete");
    request.setHTTPMethod("POST");
    headers->add("Content-MD5", hashes.contentMD5);
    headers->add("Content-Type", "application/xml");
    if (!hashes.payload.isEmpty()) {
        headers->add("x-amz-content-sha256", hashes.payload);
    }
    const P<zet::CBufferStream> body = zet::make<zet::CBufferStream>();
    body->write(document.data(), static_cast<int>(document.size()));
    body->seek(0);
    request.setSendDataStream(body);
    request.setSendDataSize(static_cast<int64>(document.size()));
    request.setReceiveBufferLimits(maxListingBytes, maxErrorDocumentBytes);
    finishPrepareRequest(request);
}

P<CS3DeleteResult> CS3Client::deleteObjects(CNetRequest& request, const String& bucket,
                                            const TArray<String>& keys, S3DeleteMode mode) {
    prepareDeleteObjectsRequest(request, bucket, keys, mode);
    performRequest(request);
    checkResponseIsComplete(request);
    return zet::make<CS3DeleteResult>(request.getDefaultReceiveBuffer());
}

}  // namespace vexil
