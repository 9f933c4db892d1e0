// Signs what its input describes, for s3-botocore-test.py.
//
// A line has fields in hexadecimal digits of their UTF-8, with tabs between them. The first ones are
// version, time in seconds since 1970, region, access key, secret key, session token, and method. After them
// come either the URL of a request and its headers "name:value", or an empty field, endpoint, bucket, key and
// validity of a presigned URL. The output has a line for each: the header Authorization, or the URL. With the
// method "CHUNKS" endpoint, bucket, key and content follow: the output is the Authorization of a put, and its
// body in signed chunks in hexadecimal digits.
#include "sigil/Hex.h"
#include "vexil/net/SendSource.h"
#include "vexil/s3/S3Client.h"
#include "zet/MemoryInStream.h"

#include <chrono>
#include <iostream>
#include <string>
#include <vector>

namespace {

using vexil::CNetHeaders;
using vexil::CNetRequest;
using vexil::P;
using vexil::String;

enum Field { Version, Time, Region, AccessKey, SecretKey, Token, Method, URL, Rest };

class Client : public vexil::CS3Client {
public:
    explicit Client(const std::vector<std::string>& fields)
        : CS3Client(String(fields[AccessKey]), String(fields[SecretKey]), true),
          m_now(std::stoll(fields[Time])) {
        setSignatureVersion(std::stoi(fields[Version]));
        setRegion(fields[Region]);
        setSessionToken(fields[Token]);
    }

protected:
    zet::CTime getCurrentTime() const override { return zet::CTime::fromCTime(m_now); }

private:
    vexil::int64 m_now;
};

std::vector<std::string> split(const std::string& line) {
    std::vector<std::string> fields(1);
    for (std::size_t i = 0; i < line.size();) {
        if (line[i] == '\t') {
            fields.emplace_back();
            ++i;
        } else {
            fields.back() += static_cast<char>(std::stoi(line.substr(i, 2), nullptr, 16));
            i += 2;
        }
    }
    return fields;
}

std::string sign(const std::vector<std::string>& fields) {
    CNetRequest request;
    request.setHTTPMethod(fields[Method]);
    request.setURL(fields[URL]);
    const P<CNetHeaders> headers = new CNetHeaders;
    for (std::size_t i = Rest; i < fields.size(); ++i) {
        const std::size_t colon = fields[i].find(':');
        headers->add(fields[i].substr(0, colon), fields[i].substr(colon + 1));
    }
    request.setCustomHTTPHeaders(headers);
    Client client(fields);
    client.signRequest(&request);
    const P<CNetHeaders::CIterator> header = headers->createIterator();
    String value;
    while (header->next()) {
        value = header->getValue();
    }
    return value.toUTF8();
}

std::string presign(const std::vector<std::string>& fields) {
    Client client(fields);
    client.setBaseURL(fields[Rest]);
    const std::chrono::seconds validity(std::stoll(fields[Rest + 3]));
    return client.makePresignedURL(fields[Method], fields[Rest + 1], fields[Rest + 2], validity).toUTF8();
}

std::string signChunks(const std::vector<std::string>& fields) {
    const std::string& content = fields[Rest + 3];
    const int size = static_cast<int>(content.size());
    Client client(fields);
    client.setBaseURL(fields[Rest]);
    client.setPayloadSigning(vexil::S3PayloadSigning::Chunked);
    CNetRequest request;
    const P<zet::CMemoryInStream> stream = zet::make<zet::CMemoryInStream>(content.data(), size);
    client.preparePutObjectRequest(request, fields[Rest + 1], fields[Rest + 2], stream, size, "");
    vexil::TMap<String, String> headers;
    request.getCustomHTTPHeaders()->fillMap(headers);
    std::string body;
    const P<CNetRequest::IDataSource> source = vexil::getSendDataSource(request);
    std::vector<char> block(10007);
    for (int length; (length = source->read(block.data(), static_cast<int>(block.size()), {})) > 0;) {
        body.append(block.data(), static_cast<std::size_t>(length));
    }
    return headers.at("authorization").toUTF8() + "\t" +
           sigil::hexEncode(body.data(), static_cast<int>(body.size())).toUTF8();
}

}  // namespace

int main() {
    for (std::string line; std::getline(std::cin, line);) {
        const std::vector<std::string> fields = split(line);
        const bool isInChunks = fields[Method] == "CHUNKS";
        std::cout << (isInChunks            ? signChunks(fields)
                      : fields[URL].empty() ? presign(fields)
                                            : sign(fields))
                  << '\n';
    }
    return 0;
}
