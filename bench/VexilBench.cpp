// The workloads through the library.

#include "bench/BenchMain.h"
#include "bench/ManyTransfers.h"
#include "bench/PartsFile.h"
#include "sigil/Digest.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/SharedConnections.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3ObjectEnum.h"
#include "vexil/s3/S3TransferManager.h"
#include "zet/MemoryInStream.h"

#include <algorithm>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

using bench::require;
using vexil::CNetRequest;
using vexil::String;
using vexil::TMap;
using zet::CBase;
using zet::int64;
using zet::P;

class CountingSink : public virtual CBase, public CNetRequest::IDataSink {
public:
    void write(const void*, int length, int, const TMap<String, String>&) override { m_total += length; }
    int64 getTotal() const { return m_total; }

private:
    int64 m_total = 0;
};

/// Produces bytes without setting their values, because only the transfer is measured.
class GeneratingSource : public virtual CBase, public CNetRequest::IDataSource {
public:
    explicit GeneratingSource(int64 size) : m_size(size) {}

    int read(void*, int maxLength, const TMap<String, String>&) override {
        const int length = static_cast<int>(std::min<int64>(m_size - m_position, maxLength));
        m_position += length;
        return length;
    }
    int64 getSize() override { return m_size; }
    void seek(int64 position) override { m_position = position; }
    int64 getPosition() override { return m_position; }

private:
    const int64 m_size;
    int64 m_position = 0;
};

/// The same as a stream.
class GeneratingStream : public virtual CBase, public zet::IInStream {
public:
    explicit GeneratingStream(int64 size) : m_size(size) {}

    int read(void*, int maxLength) override {
        const int length = static_cast<int>(std::min<int64>(m_size - m_position, maxLength));
        m_position += length;
        return length;
    }
    int64 getSize() override { return m_size; }
    void seek(int64 position) override { m_position = position; }
    int64 getPosition() override { return m_position; }

private:
    const int64 m_size;
    int64 m_position = 0;
};

void get(const std::string& url, int count) {
    CNetRequest request;
    request.setURL(String::fromUTF8(url));
    for (int i = 0; i < count; ++i) {
        request.perform();
    }
}

void getAfterReset(const std::string& url, int count) {
    CNetRequest request;
    const String address = String::fromUTF8(url);
    for (int i = 0; i < count; ++i) {
        request.reset();
        request.setURL(address);
        request.setSSLVerifyPeer(false);
        request.setFullRequestTimeout(zet::CTimeSpan::fromSeconds(60));
        request.setKeepPostOnRedirect(true);
        request.perform();
    }
}

void getWithNew(const std::string& url, int count) {
    const P<vexil::CSharedConnections> shared = new vexil::CSharedConnections;
    const String address = String::fromUTF8(url);
    for (int i = 0; i < count; ++i) {
        CNetRequest request;
        setSharedConnections(request, shared);
        request.setURL(address);
        request.perform();
    }
}

void put(const std::string& url, int count) {
    CNetRequest request;
    request.setURL(String::fromUTF8(url));
    request.setHTTPMethod("PUT");
    request.setSendDataAsUTF8(String::fromUTF8(std::string(bench::objectSize, 'x')));
    for (int i = 0; i < count; ++i) {
        request.perform();
    }
}

vexil::CS3Client makeS3Client(const std::string& url, int version) {
    vexil::CS3Client client({.accessKeyId = "ACCESSKEY", .secretKey = "SECRET"});
    client.setBaseURL(String::fromUTF8(url));
    client.setSignatureVersion(version);
    if (url.starts_with("https:")) {
        client.setVerifyCertificate(false);  // the servers of the benchmarks have their own
    }
    return client;
}

void getObject(const std::string& url, int count, int version) {
    CNetRequest request;
    vexil::CS3Client client = makeS3Client(url, version);
    for (int i = 0; i < count; ++i) {
        client.getObject(request, "bucket", "object", 0, -1);
        require(request.getDefaultReceiveBuffer()->getUsed() == bench::objectSize, "the object is too short");
    }
}

void putObject(const std::string& url, int count, int version) {
    CNetRequest request;
    vexil::CS3Client client = makeS3Client(url, version);
    const std::string body(bench::objectSize, 'x');
    for (int i = 0; i < count; ++i) {
        client.putObject(request, "bucket", "object", std::string_view(body), "");
    }
}

/// Pages of a listing, each of 1,000 keys.
void listPages(const std::string& url, int count, vexil::S3ListVersion version) {
    CNetRequest request;
    vexil::CS3Client client = makeS3Client(url, 4);
    for (int i = 0; i < count; ++i) {
        const P<vexil::CS3ListObjectsResult> page =
            version == vexil::S3ListVersion::V1
                ? client.listObjects(request, "static", "", "", "", 1000)
                : P<vexil::CS3ListObjectsResult>(client.listObjectsV2(request, "static", {}));
        require(page->getObjects().size() == 1000, "the page is too short");
    }
}

/// The same by four threads at once.
void listPagesByThreads(const std::string& url, int count) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] { listPages(url, count / 4, vexil::S3ListVersion::V2); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// Version 4, without a hash of the body in the signature: over https only.
void putUnsignedObject(const std::string& url, int count) {
    CNetRequest request;
    vexil::CS3Client client = makeS3Client(url, 4);
    client.setPayloadSigning(vexil::S3PayloadSigning::Unsigned);
    const std::string body(bench::objectSize, 'x');
    for (int i = 0; i < count; ++i) {
        client.putObject(request, "bucket", "object", std::string_view(body), "");
    }
}

/// Read once. The body is signed in chunks over http, and not signed over https.
void putStream(const std::string& url, int mebibytes) {
    CNetRequest request;
    vexil::CS3Client client = makeS3Client(url, 4);
    client.setUploadCheck(vexil::S3UploadCheck::WhileSending);
    const int64 size = mebibytes * bench::mebibyte;
    client.putObject(request, "bucket", "object", zet::make<GeneratingStream>(size), size, "");
}

/// What putStream() hashes.
void hashStream(const std::vector<P<sigil::IDigest>>& digests, int mebibytes) {
    const std::vector<unsigned char> block(64 * 1024);
    for (int64 left = mebibytes * bench::mebibyte; left > 0; left -= static_cast<int64>(block.size())) {
        for (const P<sigil::IDigest>& digest : digests) {
            digest->update(block.data(), static_cast<int>(block.size()));
        }
    }
}

/// Without signatures, like the plain program. The ETags of the server are not MD5s.
vexil::CS3TransferManager makeTransferManager(const std::string& url) {
    vexil::CS3Client client({.accessKeyId = "ACCESSKEY", .secretKey = "SECRET"});
    client.setBaseURL(String::fromUTF8(url));
    client.setAnonymous(true);
    client.setSignatureVersion(4);
    client.setUploadCheck(vexil::S3UploadCheck::WhileSending);
    return vexil::CS3TransferManager(client,
                                     {.parallelParts = bench::parallelParts, .partSize = bench::partSize});
}

void putInParts(const std::string& url, int mebibytes) {
    const bench::PartsFile file(mebibytes * bench::mebibyte);
    makeTransferManager(url).uploadFile(file.path(), "bucket", "object");
}

void getInParts(const std::string& url, int mebibytes) {
    const bench::PartsFile file(0);
    const std::string copy = file.path() + "-copy";
    const vexil::CS3DownloadResult result = makeTransferManager(url).downloadFile("bucket", "object", copy);
    require(result.size == mebibytes * bench::mebibyte, "the server has another object");
    unlink(copy.c_str());
}

void getToBuffer(const std::string& url, int mebibytes) {
    CNetRequest request;
    request.setURL(String::fromUTF8(url));
    request.setRange(0, mebibytes * bench::mebibyte);
    request.perform();
    require(request.getDefaultReceiveBuffer()->getUsed() == mebibytes * bench::mebibyte,
            "the body is too short");
}

void getToSink(const std::string& url, int mebibytes) {
    CNetRequest request;
    const P<CountingSink> sink = new CountingSink;
    request.setURL(String::fromUTF8(url));
    request.setRange(0, mebibytes * bench::mebibyte);
    request.setReceiveDataSink(sink);
    request.perform();
    require(sink->getTotal() == mebibytes * bench::mebibyte, "the body is too short");
}

void putFromSource(const std::string& url, int mebibytes) {
    CNetRequest request;
    const P<GeneratingSource> source = new GeneratingSource(mebibytes * bench::mebibyte);
    request.setURL(String::fromUTF8(url));
    request.setHTTPMethod("PUT");
    request.setSendDataSource(source);
    request.setSendDataSize(source->getSize());
    request.perform();
    require(source->getPosition() == source->getSize(), "the body was not read to its end");
}

}  // namespace

int main(int argc, char** argv) {
    const auto signedBy = [](auto workload, int version) {
        return [workload, version](const std::string& url, int count) { workload(url, count, version); };
    };
    const auto listedBy = [](vexil::S3ListVersion version) {
        return [version](const std::string& url, int count) { listPages(url, count, version); };
    };
    std::map<std::string, bench::Workload> workloads = bench::makeManyTransferWorkloads();
    workloads.merge(std::map<std::string, bench::Workload>{
        {"get", get},
        {"s3-get-v2", signedBy(getObject, 2)},
        {"s3-get-v4", signedBy(getObject, 4)},
        {"s3-put-v2", signedBy(putObject, 2)},
        {"s3-put-v4", signedBy(putObject, 4)},
        {"s3-put-unsigned", putUnsignedObject},
        {"list-v1", listedBy(vexil::S3ListVersion::V1)},
        {"list-v2", listedBy(vexil::S3ListVersion::V2)},
        {"list-threads", listPagesByThreads},
        {"reset", getAfterReset},
        {"new", getWithNew},
        {"put", put},
        {"get-buffer", getToBuffer},
        {"get-sink", getToSink},
        {"put-source", putFromSource},
        {"put-stream", putStream},
        {"hash-md5", [](const std::string&,
                        int mebibytes) { hashStream({sigil::CDigestType_MD5().createDigest()}, mebibytes); }},
        {"hash-md5-sha256",
         [](const std::string&, int mebibytes) {
             hashStream({sigil::CDigestType_MD5().createDigest(), sigil::CDigestType_SHA256().createDigest()},
                        mebibytes);
         }},
        {"put-parts", putInParts},
        {"get-parts", getInParts}});
    return bench::run(argc, argv, workloads);
}
