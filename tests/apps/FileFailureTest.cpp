// Reading fails in the middle of a file. Defines the system's read() for the whole program, for the C++
// library too.
#include "apps/vexil/console/Console.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/mail/MailContent.h"
#include "apps/vexil/mirror/FolderComparison.h"
#include "apps/vexil/session/Credentials.h"
#include "tests/support/WhatOf.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

namespace {

constexpr const char* ioError = "Input/output error";
int readsUntilFailure = -1;  // 0: the next read fails, and all later ones

}  // namespace

extern "C" ssize_t read(int descriptor, void* buffer, std::size_t length) {
    using Read = ssize_t(int, void*, std::size_t);
    static auto* const real = reinterpret_cast<Read*>(dlsym(RTLD_NEXT, "read"));
    if (readsUntilFailure == 0) {
        errno = EIO;
        return -1;
    }
    readsUntilFailure -= readsUntilFailure > 0;
    return real(descriptor, buffer, length);
}

namespace {

using namespace vexil;
using namespace vexil::app;
namespace fs = std::filesystem;

class FileFailureTest : public testing::Test {
protected:
    FileFailureTest() { fs::create_directories(m_folder); }
    ~FileFailureTest() override {
        readsUntilFailure = -1;
        fs::remove_all(m_folder);
    }

    fs::path write(const std::string& name, const std::string& content) {
        std::ofstream(m_folder / name, std::ios::binary) << content;
        return m_folder / name;
    }

    template <class Function>
    static std::string failRead(int number, const Function& function) {
        readsUntilFailure = number;
        const std::string what = vexil_test::whatOf(function);
        readsUntilFailure = -1;
        return what;
    }

    const fs::path m_folder = fs::temp_directory_path() / ("vexil-file-failure-" + std::to_string(getpid()));
};

TEST_F(FileFailureTest, NoPartOfATextOrAnAttachmentIsSent) {
    std::ostringstream ignored;
    CConsole console(ignored, ignored, false);
    const fs::path path = write("f", std::string(200000, 'x'));
    for (const int number : {0, 1, 2, 3}) {
        EXPECT_NE(failRead(number, [&] { readMailText(path.string(), console); }).find(ioError),
                  std::string::npos)
            << number;
        EXPECT_NE(failRead(number, [&] { makeMailAttachment(path); }).find(ioError), std::string::npos)
            << number;
    }
}

TEST_F(FileFailureTest, FilesThatCannotBeComparedAreNotEqual) {
    const fs::path first = write("first", std::string(200000, 'x'));
    const fs::path second = write("second", std::string(200000, 'x'));
    CFileComparer comparer;
    EXPECT_EQ(comparer.findDifference(first, second), "");
    for (const int number : {0, 1, 2, 7}) {
        EXPECT_NE(failRead(number, [&] { comparer.findDifference(first, second); }).find(ioError),
                  std::string::npos)
            << number;
    }
}

// A partly read line would be a shorter password.
TEST_F(FileFailureTest, CredentialsThatCannotBeReadToTheirEndAreRefused) {
    const std::string comment = "#" + std::string(20000, 'x') + "\n";
    const fs::path path = write("keys", "user=u\npassword=p\n" + comment);
    EXPECT_EQ(CCredentials::fromFile(path, CFTPAccess::credentialNames).getSecret(), "p");
    for (const int number : {0, 1, 2}) {
        const std::string what =
            failRead(number, [&] { CCredentials::fromFile(path, CFTPAccess::credentialNames); });
        EXPECT_NE(what.find("cannot read the credentials file"), std::string::npos) << number << ": " << what;
        EXPECT_NE(what.find(ioError), std::string::npos) << number << ": " << what;
    }
}

}  // namespace
