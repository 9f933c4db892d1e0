// Downloads whose process is killed, whose disk is full, or that have no memory.
#include "tests/s3/FakeObject.h"
#include "tests/support/WorkerShortage.h"
#include "vexil/s3/S3TransferManager.h"
#include "zet/LockedFile.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <random>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Bytes that still fit on the disk of part files; -1: no limit.
std::atomic<std::int64_t> roomOnDisk{-1};

/// Whether each allocation fails as soon as a file has got another name.
bool failsAfterRename = false;
std::optional<vexil_test::FailingAllocations> failingAfterRename;

}  // namespace

extern "C" ssize_t pwrite64(int descriptor, const void* data, std::size_t length, off64_t offset) {
    static auto* const real =
        reinterpret_cast<ssize_t (*)(int, const void*, std::size_t, off64_t)>(dlsym(RTLD_NEXT, "pwrite64"));
    if (roomOnDisk == 0) {
        errno = ENOSPC;
        return -1;
    }
    if (roomOnDisk > 0) {
        length = std::min(length, static_cast<std::size_t>(roomOnDisk));
        roomOnDisk -= static_cast<std::int64_t>(length);
    }
    return real(descriptor, data, length, offset);
}

extern "C" int rename(const char* from, const char* to) noexcept {
    static auto* const real = reinterpret_cast<int (*)(const char*, const char*)>(dlsym(RTLD_NEXT, "rename"));
    const int result = real(from, to);
    if (result == 0 && failsAfterRename) {
        failingAfterRename.emplace(1, vexil_test::Shortage::FromHere);
    }
    return result;
}

namespace {

namespace fs = std::filesystem;
using namespace vexil_test;
using testing::ElementsAre;
using testing::HasSubstr;
using vexil::CRetryPolicy;
using vexil::CS3DownloadResult;
using vexil::CS3TransferManager;

CS3DownloadResult download(const std::string& url, const fs::path& path) {
    CS3Client client({.accessKeyId = String(accessKey), .secretKey = String(secretKey)}, false);
    client.setBaseURL(String::fromUTF8(url));
    CS3TransferManager manager(client, {.parallelParts = 1, .partSize = partSize});
    return manager.downloadFile("b", "k", path);
}

class S3DownloadProcessTest : public testing::Test {
protected:
    S3DownloadProcessTest() : content(ScriptedPeer::pattern(0, 4 * partSize + 100)) {
        fs::create_directories(folder);
        object.set(content);
    }
    ~S3DownloadProcessTest() override { fs::remove_all(folder); }

    std::string load() const {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    const fs::path folder =
        fs::path(testing::TempDir()) / ("vexil-download-process-" + std::to_string(std::random_device()()));
    const fs::path path = folder / "file";
    FakeObject object;
    const std::string content;
};

/// The process that is killed: the test below starts it.
TEST(S3DownloadChildTest, DISABLED_Downloads) {
    const char* const url = std::getenv("VEXIL_TEST_URL");
    const char* const path = std::getenv("VEXIL_TEST_FILE");
    ASSERT_TRUE(url && path);
    (void)download(url, path);
}

TEST_F(S3DownloadProcessTest, KilledDownloadIsResumedByAnotherProcess) {
    // The connection of the child: three parts, and nothing of the fourth one.
    auto script = object.peer.onConnection();
    script.clientMayLeave();
    for (std::size_t i = 0; i < 3; ++i) {
        const auto first = static_cast<int64>(i * partSize);
        script.expectRequest().reply(object.makePart(first, first + static_cast<int64>(partSize) - 1));
    }
    script.expectRequest().reply(object.makePart(30'000, 39'999).substr(0, 2'000)).waitForClose();
    ASSERT_EQ(setenv("VEXIL_TEST_URL", object.peer.url("").c_str(), 1), 0);
    ASSERT_EQ(setenv("VEXIL_TEST_FILE", path.c_str(), 1), 0);
    std::string program = fs::read_symlink("/proc/self/exe").string();
    std::string filter = "--gtest_filter=S3DownloadChildTest.*";
    std::string also = "--gtest_also_run_disabled_tests";
    const std::array<char*, 4> arguments = {program.data(), filter.data(), also.data(), nullptr};
    pid_t child = 0;
    ASSERT_EQ(posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments.data(), environ), 0);
    const bool hasComeSoFar = object.peer.waitForRequests(4);
    kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(hasComeSoFar);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_FALSE(fs::exists(path));

    const CS3DownloadResult result = download(object.peer.url(""), path);
    EXPECT_EQ(result.resumedBytes, static_cast<int64>(3 * partSize));
    EXPECT_THAT(object.starts(), ElementsAre(-1, 30'000, 40'000));
    EXPECT_TRUE(load() == content);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
}

TEST_F(S3DownloadProcessTest, PartsStayIfTheDiskIsFull) {
    // The state of the part file is after the content, so the limit must come later.
    object.setFault([](const ObjectCall& call) -> std::optional<std::string> {
        if (call.index() == 3) {
            const rlimit full{25'000, RLIM_INFINITY};
            setrlimit(RLIMIT_FSIZE, &full);
        }
        return std::nullopt;
    });
    std::signal(SIGXFSZ, SIG_IGN);
    const auto error = thrownBy<CError>([&] { (void)download(object.peer.url(""), path); });
    const rlimit unlimited{RLIM_INFINITY, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &unlimited);
    EXPECT_EQ(error->getDomain(), "system");
    EXPECT_EQ(error->getCode(), EFBIG);
    EXPECT_THAT(error->getMessage().toUTF8(), HasSubstr("Cannot write the file '" + path.string() + "'"));
    EXPECT_FALSE(fs::exists(path));
    object.setFault(nullptr);
    EXPECT_GE(download(object.peer.url(""), path).resumedBytes, static_cast<int64>(2 * partSize));
    EXPECT_TRUE(load() == content);
}

TEST_F(S3DownloadProcessTest, FullDiskIsContinuedWhenThereIsRoom) {
    const auto failFull = [this] {
        const auto error = thrownBy<CError>([&] { (void)download(object.peer.url(""), path); });
        EXPECT_EQ(error->getDomain(), "system");
        EXPECT_EQ(error->getCode(), ENOSPC);
        EXPECT_EQ(error->getKind(), vexil::ErrorKind::StorageFull);
        EXPECT_THAT(error->getMessage().toUTF8(), HasSubstr("Cannot write the file '" + path.string() + "'"));
        EXPECT_FALSE(fs::exists(path));
    };
    // There is no room for a part.
    roomOnDisk = 5'000;
    failFull();
    EXPECT_TRUE(fs::is_empty(folder));
    // The fourth part is cut.
    object.setFault([](const ObjectCall& call) -> std::optional<std::string> {
        if (call.index() == 3) {
            roomOnDisk = 4'000;
        }
        return std::nullopt;
    });
    roomOnDisk = -1;
    failFull();
    EXPECT_FALSE(fs::is_empty(folder));
    // Still full: what is there stays.
    object.setFault(nullptr);
    roomOnDisk = 0;
    failFull();
    roomOnDisk = -1;
    const CS3DownloadResult result = download(object.peer.url(""), path);
    EXPECT_EQ(result.resumedBytes, static_cast<int64>(3 * partSize));
    EXPECT_TRUE(load() == content);
}

// Not each allocation fails, because that takes time. The workers of two runs differ in their order anyway.
TEST_F(S3DownloadProcessTest, LackOfMemoryIsAnErrorOrASuccess) {
    constexpr long step = 5;
    CRetryPolicy::Settings retries;
    retries.maxRetries = 0;
    const P<vexil::INetRequestSetup> setup = makeShortageSetup();
    const LogCapture log;
    int failures = 0;
    int resumptions = 0;
    bool hasEnded = false;
    for (long n = 1; !hasEnded; n += step) {
        SCOPED_TRACE("allocation " + std::to_string(n));
        ASSERT_LT(n, 200'000);
        CS3Client client({.accessKeyId = String(accessKey), .secretKey = String(secretKey)}, false);
        client.setBaseURL(String::fromUTF8(object.peer.url("")));
        client.setRequestSetup(setup);
        CS3TransferManager manager(
            client, {.parallelParts = 2, .partSize = partSize, .retryPolicy = CRetryPolicy(retries)});
        bool isDone = false;
        {
            const FailingAllocations failing(n, Shortage::One);
            try {
                (void)manager.downloadFile("b", "k", path);
                isDone = true;
            } catch (const CError&) {
            } catch (const std::bad_alloc&) {
            }
            hasEnded = !failing.haveFailed();
        }
        ASSERT_EQ(fs::exists(path), isDone);
        ASSERT_TRUE(isDone || !hasEnded);
        if (!isDone) {
            // What is left is right, and continued.
            ++failures;
            resumptions += download(object.peer.url(""), path).resumedBytes > 0 ? 1 : 0;
        }
        ASSERT_TRUE(load() == content);
        ASSERT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
        fs::remove(path);
        object.forgetCalls();
        object.peer.clearRecords();
    }
    EXPECT_GT(failures, 50);
    EXPECT_GT(resumptions, 5);
}

TEST_F(S3DownloadProcessTest, FileThatHasItsNameIsASuccess) {
    CS3DownloadResult result;
    failsAfterRename = true;
    try {
        result = download(object.peer.url(""), path);
    } catch (const std::bad_alloc&) {
        // The size stays 0.
    }
    failsAfterRename = false;
    const bool wasShort = failingAfterRename.has_value();
    failingAfterRename.reset();
    EXPECT_TRUE(wasShort);
    EXPECT_EQ(result.size, static_cast<int64>(content.size()));
    EXPECT_TRUE(load() == content);
}

TEST_F(S3DownloadProcessTest, FileOfAnotherProcessIsNotTouched) {
    object.setFault([](const ObjectCall& call) -> std::optional<std::string> {
        return call.index() == 2 ? std::optional(reply("403 Forbidden", errorDocument("AccessDenied")))
                                 : std::nullopt;
    });
    EXPECT_THROW((void)download(object.peer.url(""), path), CS3Error);
    const fs::path part = fs::directory_iterator(folder)->path();
    zet::CLockedFile other;
    ASSERT_EQ(other.openLeft(part), 0);
    object.forgetCalls();
    const auto error = thrownBy<CError>([&] { (void)download(object.peer.url(""), path); });
    EXPECT_EQ(error->getKind(), vexil::ErrorKind::Conflict);
    EXPECT_TRUE(object.calls().empty());
    EXPECT_TRUE(fs::exists(part));
    EXPECT_FALSE(fs::exists(path));
}

}  // namespace
