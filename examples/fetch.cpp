// Fetches objects from S3 into files of this folder, 8 at once: fetch BUCKET KEY...
// VEXIL_S3_ENDPOINT, VEXIL_S3_ACCESS_KEY and VEXIL_S3_SECRET_KEY say where from and as whom. Ctrl-C ends it.
#include "vexil/async/FunctionTransferJob.h"
#include "vexil/async/TransferPolicy.h"
#include "vexil/async/TransferQueue.h"
#include "vexil/s3/S3Client.h"
#include "zet/FileOutStream.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <system_error>

namespace {

namespace fs = std::filesystem;

const vexil::P<vexil::CCancelToken> stop = new vexil::CCancelToken;

extern "C" void onInterrupt(int) {
    stop->cancel();
}

/// Judges responses as the S3 client does, so that errors contain what the service says.
class CS3Policy : public vexil::CTransferPolicy {
public:
    explicit CS3Policy(const vexil::CS3Client& client) : m_client(client) {}

    void checkResult(vexil::CNetRequest& request) override {
        m_client.checkResponse(request);
        CTransferPolicy::checkResult(request);
    }

private:
    const vexil::CS3Client& m_client;
};

/// The job that fetches an object into a file. The file gets its name when it is complete.
vexil::P<vexil::ITransferJob> makeFetchJob(vexil::CS3Client& client, const std::string& bucket,
                                           const std::string& key, int& failures) {
    const fs::path name = fs::path(key).filename();
    const fs::path part = name.string() + ".part";
    const auto file = std::make_shared<vexil::P<zet::CFileOutStream>>();
    return vexil::makeTransferJob(
        [=, &client](vexil::CNetRequest& request) {
            *file = new zet::CFileOutStream(part);  // empty again for each try
            client.prepareGetObjectRequest(request, bucket, key, 0, -1, *file);
        },
        [=](vexil::CNetRequest& request) {
            if ((*file)->getSize() != request.getDownloadContentLength()) {
                throw vexil::CError("the object is not complete");
            }
            (*file)->close();
            fs::rename(part, name);
        },
        [=, &failures](const vexil::CError& error) {
            std::cerr << "fetch: " << key << ": " << error.what() << '\n';
            *file = nullptr;
            std::error_code ignored;
            fs::remove(part, ignored);
            ++failures;
        });
}

/// Each object needs a file of its own in this folder.
void checkFileNames(const char* const* keys, int count) {
    std::set<fs::path> names;
    for (int i = 0; i < count; ++i) {
        const fs::path name = fs::path(keys[i]).filename();
        if (name.empty() || name == "." || name == ".." || !names.insert(name).second) {
            throw vexil::CError(std::string(keys[i]) +
                                ": the last part of each key must be a file name of its own");
        }
    }
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 3) {
        std::cerr << "usage: fetch BUCKET KEY...\n";
        return 2;
    }
    int failures = 0;
    try {
        checkFileNames(arguments + 2, count - 2);
        vexil::CS3Client client({.accessKeyId = std::getenv("VEXIL_S3_ACCESS_KEY"),
                                 .secretKey = std::getenv("VEXIL_S3_SECRET_KEY")});
        client.setBaseURL(std::getenv("VEXIL_S3_ENDPOINT"));
        std::signal(SIGINT, &onInterrupt);
        vexil::CTransferQueue queue(new CS3Policy(client), 8);
        queue.setCancelToken(stop);
        for (int i = 2; i < count; ++i) {
            queue.start(makeFetchJob(client, arguments[1], arguments[i], failures));
        }
        queue.finish();
    } catch (const std::exception& error) {
        std::cerr << "fetch: " << error.what() << '\n';
        return 1;
    }
    return failures == 0 ? 0 : 1;
}
