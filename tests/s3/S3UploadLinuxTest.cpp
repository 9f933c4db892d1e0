// Uploads whose process is killed, and uploads without memory.
#include "tests/s3/FakeS3.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/SparedXML.h"
#include "tests/support/WorkerShortage.h"
#include "vexil/s3/S3TransferManager.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace vexil_test;
using namespace std::chrono_literals;
using vexil::CRetryPolicy;
using vexil::CS3TransferManager;
using vexil::CS3TransferSettings;
using vexil::CS3UploadResult;
using Call = FakeS3::Call;
using Operation = FakeS3::Operation;

constexpr std::size_t partSize = 5 << 20;
constexpr long manyAllocations = 200000;

CS3Client makeClient(const std::string& url) {
    CS3Client client({.accessKeyId = String(accessKey), .secretKey = String(secretKey)}, false);
    client.setBaseURL(String(url));
    return client;
}

/// Writes the resume token to a file.
class TokenWriter : public virtual vexil::CBase, public vexil::IS3TransferObserver {
public:
    explicit TokenWriter(fs::path path) : m_path(std::move(path)) {}
    void onUploadBegun(const String& resumeToken) override { std::ofstream(m_path) << resumeToken.toUTF8(); }

private:
    const fs::path m_path;
};

/// Notes that the ID of the upload is known. Allocates nothing.
class BeginNote : public virtual vexil::CBase, public vexil::IS3TransferObserver {
public:
    void onUploadBegun(const String&) override { hasBegun = true; }

    bool hasBegun = false;
};

class S3UploadLinuxTest : public testing::Test {
protected:
    S3UploadLinuxTest() : content(ScriptedPeer::pattern(0, 3 * partSize + 100)) {
        fs::create_directories(folder);
        std::ofstream(folder / "file", std::ios::binary) << content;
    }
    ~S3UploadLinuxTest() override { fs::remove_all(folder); }

    const fs::path folder =
        fs::path(testing::TempDir()) / ("vexil-upload-linux-" + std::to_string(std::random_device()()));
    FakeS3 service;
    const std::string content;
};

// ---- a process that is killed ----------------------------------------------------------------------------

/// The process that is killed: this program, started again with this variable.
constexpr char childVariable[] = "VEXIL_UPLOAD_TEST_CHILD";

TEST(S3UploadChildTest, DISABLED_UploadsUntilItIsKilled) {
    const char* const folder = std::getenv(childVariable);
    ASSERT_NE(folder, nullptr);
    CS3TransferSettings settings;
    settings.partSize = partSize;
    settings.observer = new TokenWriter(fs::path(folder) / "token");
    CS3TransferManager manager(makeClient(std::getenv("VEXIL_UPLOAD_TEST_URL")), settings);
    (void)manager.uploadFile(fs::path(folder) / "file", "b", "k");
}

TEST_F(S3UploadLinuxTest, AnotherProcessResumesAfterAKill) {
    // Two parts are stored, the others wait for the service.
    service.setFault([](const Call& call) -> std::optional<std::string> {
        if (call.operation == Operation::Part && call.part > 2) {
            return reply("503 Slow Down", errorDocument("SlowDown"), "Retry-After: 600\r\n");
        }
        return std::nullopt;
    });
    const std::string url = service.peer.url("");
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        setenv(childVariable, folder.c_str(), 1);
        setenv("VEXIL_UPLOAD_TEST_URL", url.c_str(), 1);
        execl("/proc/self/exe", "S3UploadLinuxTest", "--gtest_also_run_disabled_tests",
              "--gtest_filter=S3UploadChildTest.*", nullptr);
        _exit(127);
    }
    const auto limit = std::chrono::steady_clock::now() + ScriptedPeer::waitLimit;
    while (service.countOf(Operation::Part, 1) + service.countOf(Operation::Part, 2) +
               service.countOf(Operation::Part, 3) + service.countOf(Operation::Part, 4) <
           4) {
        ASSERT_LT(std::chrono::steady_clock::now(), limit);
        std::this_thread::sleep_for(5ms);
    }
    ASSERT_EQ(kill(child, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(service.object("k"), "(none)");
    EXPECT_EQ(service.countOf(Operation::Abort), 0);

    service.setFault(nullptr);
    service.forgetCalls();
    std::ifstream file(folder / "token");
    const std::string token{std::istreambuf_iterator<char>(file), {}};
    CS3TransferManager manager(makeClient(url));
    EXPECT_EQ(manager.resumeUpload(String(token), folder / "file").partCount, 4);
    EXPECT_TRUE(service.object("k") == content);
    EXPECT_EQ(service.countOf(Operation::Create), 0);
    EXPECT_EQ(service.sentBytes(), partSize + 100);
    EXPECT_EQ(service.uploadCount(), 0u);
}

// ---- no memory -------------------------------------------------------------------------------------------

class S3UploadMemoryTest : public S3UploadLinuxTest {
protected:
    S3UploadMemoryTest() {
        std::ofstream(folder / "short", std::ios::binary) << content.substr(0, partSize + 1);
        CRetryPolicy::Settings retries;
        retries.maxRetries = 0;
        settings.partSize = partSize;
        settings.retryPolicy = CRetryPolicy(retries);
        settings.observer = note;
    }

    /// Lets each n-th allocation fail in turn. `check` gets whether the try has succeeded.
    ///
    /// Not each: a try takes some time. The steps have no common divisor with the number of allocations of a
    /// part.
    void sweep(Shortage shortage, long step, const std::function<void(bool isDone)>& check) {
        int failures = 0;
        for (long n = 1; n < manyAllocations; n += step) {
            SCOPED_TRACE("allocation " + std::to_string(n));
            bool isDone = false;
            const bool haveFailed = tryOnce(n, shortage, isDone);
            check(isDone);
            service.forgetUploads();
            if (HasFatalFailure()) {
                return;
            }
            if (!haveFailed) {
                ASSERT_TRUE(isDone);
                EXPECT_GT(failures, 10);
                return;
            }
            failures += isDone ? 0 : 1;
            service.forgetCalls();
            service.peer.clearRecords();
        }
        FAIL() << "there is no end of it";
    }

    const P<BeginNote> note = new BeginNote;

private:
    bool tryOnce(long n, Shortage shortage, bool& isDone) {
        CS3Client client = makeClient(service.peer.url(""));
        client.setRequestSetup(m_setup);
        CS3TransferManager manager(client, settings);
        note->hasBegun = false;
        const FailingAllocations failing(n, shortage);
        try {
            (void)manager.uploadFile(folder / "short", "b", "k");
            isDone = true;
        } catch (const CError&) {
        } catch (const std::bad_alloc&) {
        }
        return failing.haveFailed();
    }

    CS3TransferSettings settings;
    const P<vexil::INetRequestSetup> m_setup = makeShortageSetup();
    const LogCapture m_log;
};

TEST_F(S3UploadMemoryTest, FailedAllocationLeavesNoParts) {
    sweep(Shortage::One, 17, [this](bool) {
        // Nothing can be done if the response with the ID could not be read.
        ASSERT_LE(service.uploadCount(), note->hasBegun ? 0u : 1u);
    });
}

TEST_F(S3UploadMemoryTest, LackOfMemoryIsAnError) {
    sweep(Shortage::FromHere, 37, [this](bool isDone) { ASSERT_FALSE(isDone && service.uploadCount() > 0); });
}

}  // namespace
