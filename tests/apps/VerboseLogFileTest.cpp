#include "apps/vexil/session/VerboseLogFile.h"

#include "tests/support/WhatOf.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace vexil;
using vexil::app::CVerboseLogFile;
namespace fs = std::filesystem;

/// As long as it lives, files cannot become longer.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_former);
        const rlimit limit = {bytes, m_former.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_former); }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_former = {};
};

class VerboseLogFileTest : public testing::Test {
protected:
    VerboseLogFileTest() { fs::create_directories(m_folder); }
    ~VerboseLogFileTest() override { fs::remove_all(m_folder); }

    static void add(CVerboseLogFile& log, std::size_t length) {
        const P<zet::CXMLElement> transfer = new zet::CXMLElement("NetRequest");
        transfer->setText(String(std::wstring(length, L'x')));
        log.add(*transfer);
    }

    const fs::path m_folder = fs::temp_directory_path() / ("vexil-verbose-log-" + std::to_string(getpid()));
    const fs::path m_path = m_folder / "log.xml";
};

TEST_F(VerboseLogFileTest, ALogThatLostATransferIsNotFinished) {
    {
        CVerboseLogFile log(m_path);
        add(log, 10);
        {
            const FileSizeLimit limit(1000);
            add(log, 5000);
        }
        // There is room again: only the transfer in the middle is missing.
        add(log, 10);
        const std::string what = vexil_test::whatOf([&log] { log.finish(); });
        EXPECT_NE(what.find("log.xml"), std::string::npos) << what;
        EXPECT_NE(what.find("File too large"), std::string::npos) << what;
    }
    EXPECT_TRUE(fs::is_empty(m_folder));
}

TEST_F(VerboseLogFileTest, ALogWhoseEndCannotBeWrittenIsNotThere) {
    {
        CVerboseLogFile log(m_path);
        add(log, 10);
        const FileSizeLimit limit(10);
        const std::string what = vexil_test::whatOf([&log] { log.finish(); });
        EXPECT_NE(what.find("File too large"), std::string::npos) << what;
    }
    EXPECT_TRUE(fs::is_empty(m_folder));
}

TEST_F(VerboseLogFileTest, AWholeLogHasItsName) {
    CVerboseLogFile log(m_path);
    add(log, 10);
    log.finish();
    EXPECT_TRUE(fs::exists(m_path));
}

}  // namespace
