// The workloads through the library.

#include "bench/BenchMain.h"
#include "bench/PartsFile.h"
#include "vexil/async/AsyncNetRequestManager.h"
#include "vexil/async/AsyncNetRequestThread.h"
#include "vexil/net/NetRequest.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3TransferManager.h"
#include "zet/MemoryInStream.h"

#include <algorithm>
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

void get(const std::string& url, int count) {
    CNetRequest request;
    request.setURL(String::fromUTF8(url));
    for (int i = 0; i < count; ++i) {
        request.perform();
    }
}

/// The same one after the other through the worker thread.
void getByThread(const std::string& url, int count) {
    const P<vexil::CAsyncNetRequestThread> thread = new vexil::CAsyncNetRequestThread(nullptr);
    const P<CNetRequest> request = new CNetRequest;
    request->setURL(String::fromUTF8(url));
    thread->start();
    for (int i = 0; i < count; ++i) {
        // Otherwise the done signal would be that of the previous transfer until the worker takes the request
        // over.
        request->setAsyncInfo(false, CURLE_OK);
        thread->addRequest(request);
        require(request->waitAsyncDone(60000), "the request does not end");
        request->checkAsyncResult();
    }
}

/// The same one after the other while others wait for responses that never come.
void getBesideIdle(int idleTransfers, const std::string& url, int count) {
    vexil::CAsyncNetRequestManager manager;
    for (int i = 0; i < idleTransfers; ++i) {
        const P<CNetRequest> idle = new CNetRequest;
        idle->setURL(String::fromUTF8(bench::neverAnswered(url)));
        idle->setLowSpeedLimit(0, zet::CTimeSpan::fromSeconds(0));
        manager.addRequest(idle);
    }
    const P<CNetRequest> request = new CNetRequest;
    request->setURL(String::fromUTF8(url));
    for (int i = 0; i < bench::warmUpRequests + count; ++i) {
        manager.addRequest(request);
        do {
            manager.waitForEvents(-1);
        } while (manager.handleEvents(nullptr) == 0);
        require(manager.getRequestCount() == idleTransfers, "an idle transfer has ended");
        request->checkAsyncResult();
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

void put(const std::string& url, int count) {
    CNetRequest request;
    request.setURL(String::fromUTF8(url));
    request.setHTTPMethod("PUT");
    request.setSendDataAsUTF8(String::fromUTF8(bench::smallBody));
    for (int i = 0; i < count; ++i) {
        request.perform();
    }
}

vexil::CS3Client makeS3Client(const std::string& url, int version) {
    vexil::CS3Client client({.accessKeyId = "ACCESSKEY", .secretKey = "SECRET"});
    client.setBaseURL(String::fromUTF8(url));
    client.setSignatureVersion(version);
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

void measureHeap(const std::string& url, int count) {
    const String address = String::fromUTF8(url);
    std::vector<P<CNetRequest>> requests;
    requests.reserve(static_cast<std::size_t>(count));
    CNetRequest first;
    first.setURL(address);
    first.perform();  // allocates the memory that libcurl shares between all handles
    const std::size_t before = bench::heapInUse();
    for (int i = 0; i < count; ++i) {
        requests.push_back(new CNetRequest);
        requests.back()->setURL(address);
    }
    const std::size_t configured = bench::heapInUse();
    for (const P<CNetRequest>& request : requests) {
        request->perform();
    }
    const std::size_t connected = bench::heapInUse();
    std::cout << "heap_configured=" << (configured - before) / requests.size()
              << "\nheap_connected=" << (connected - before) / requests.size() << '\n';
}

}  // namespace

int main(int argc, char** argv) {
    const auto beside = [](int idleTransfers) {
        return
            [idleTransfers](const std::string& url, int count) { getBesideIdle(idleTransfers, url, count); };
    };
    const auto signedBy = [](auto workload, int version) {
        return [workload, version](const std::string& url, int count) { workload(url, count, version); };
    };
    return bench::run(argc, argv,
                      {{"get", get},
                       {"s3-get-v2", signedBy(getObject, 2)},
                       {"s3-get-v4", signedBy(getObject, 4)},
                       {"s3-put-v2", signedBy(putObject, 2)},
                       {"s3-put-v4", signedBy(putObject, 4)},
                       {"get-thread", getByThread},
                       {"multi-1", beside(0)},
                       {"multi-100", beside(99)},
                       {"multi-1000", beside(999)},
                       {"multi-5000", beside(4999)},
                       {"reset", getAfterReset},
                       {"put", put},
                       {"get-buffer", getToBuffer},
                       {"get-sink", getToSink},
                       {"put-source", putFromSource},
                       {"put-parts", putInParts},
                       {"get-parts", getInParts},
                       {"heap", measureHeap}});
}
