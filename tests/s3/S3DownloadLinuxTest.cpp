// Downloads whose process is killed, or whose disk is full.
#include "tests/s3/FakeObject.h"
#include "vexil/s3/S3TransferManager.h"
#include "zet/LockedFile.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

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
