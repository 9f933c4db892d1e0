// The options that every command of the program has given to libcurl at the start of a transfer. This program
// defines libcurl's functions itself: nothing is sent.
#include "apps/vexil/console/Console.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/program/Program.h"
#include "apps/vexil/session/Session.h"
#include "tests/support/Environment.h"
#include "tests/support/OptionRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <unistd.h>
#include <vector>

extern "C" {

CURLcode curl_easy_perform(CURL* handle) {
    vexil_test::record("transfer", nullptr, handle);
    return CURLE_COULDNT_CONNECT;
}

// The port of every command refuses the connection.
CURLMcode curl_multi_add_handle(CURLM* multi, CURL* handle) {
    static auto* const real = vexil_test::nextFunction<CURLMcode(CURLM*, CURL*)>("curl_multi_add_handle");
    vexil_test::record("transfer", nullptr, handle);
    return real(multi, handle);
}

void curl_easy_reset(CURL* handle) {
    static auto* const real = vexil_test::nextFunction<void(CURL*)>("curl_easy_reset");
    vexil_test::record("reset", nullptr, handle);
    real(handle);
}

void curl_easy_cleanup(CURL* handle) {
    static auto* const real = vexil_test::nextFunction<void(CURL*)>("curl_easy_cleanup");
    vexil_test::record("reset", nullptr, handle);
    real(handle);
}

}  // extern "C"

namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::Key;
using testing::Not;
using testing::Pair;
using namespace vexil;
using namespace vexil::app;
using Texts = std::vector<std::string>;
/// The value of each option that is set, by its name.
using OptionValues = std::map<std::string, std::string>;

namespace fs = std::filesystem;

class ProgramOptionsTest : public testing::Test {
protected:
    ProgramOptionsTest() {
        fs::create_directories(m_folder / "f");
        std::ofstream(m_folder / "f" / "a") << "content";
        std::ofstream(m_folder / "ca.pem") << "certificate";
        vexil_test::setEnvironment("VEXIL_S3_ENDPOINT", "https://127.0.0.1:1");
        vexil_test::setEnvironment("VEXIL_S3_ACCESS_KEY", "access");
        vexil_test::setEnvironment("VEXIL_S3_SECRET_KEY", "secret");
        vexil_test::setEnvironment("VEXIL_FTP_SERVER", "127.0.0.1:1");
        vexil_test::setEnvironment("VEXIL_FTP_USER", "u");
        vexil_test::setEnvironment("VEXIL_FTP_PASSWORD", "p");
        vexil_test::setEnvironment("VEXIL_MAIL_SERVER", "127.0.0.1:1");
    }
    ~ProgramOptionsTest() override {
        vexil_test::isRecording = false;
        vexil_test::events.clear();
        fs::remove_all(m_folder);
    }

    std::string path(const char* name) const { return (m_folder / name).string(); }

    std::vector<Texts> httpCommands() const {
        const std::string url = "https://127.0.0.1:1/x";
        return {{"http", "get", url, path("o")}, {"http", "head", url}, {"http", "put", path("f/a"), url}};
    }
    std::vector<Texts> s3Commands() const {
        return {{"s3", "put", path("f/a"), "b", "k"},
                {"s3", "get", "b", "k", path("o")},
                {"s3", "head", "b", "k"},
                {"s3", "ls", "b"},
                {"s3", "cp", "b", "k", "l"},
                {"s3", "rm", "b", "k"},
                {"s3", "rm", "--recursive", "b", "k"},
                {"s3", "mb", "b"},
                {"s3", "rb", "b"},
                {"s3", "buckets"},
                {"s3", "ls", "b", "--versions"},
                {"s3", "uploads", "ls", "b"},
                {"s3", "uploads", "abort", "b"},
                {"s3", "backup", path("f"), "b"},
                {"s3", "restore", "b", path("r")}};
    }
    std::vector<Texts> ftpCommands() const {
        return {{"ftp", "ls", "/d"},
                {"ftp", "stat", "/d"},
                {"ftp", "get", "/d/a", path("o")},
                {"ftp", "put", path("f/a"), "/d/a"},
                {"ftp", "mkdir", "/d"},
                {"ftp", "rm", "/d/a"},
                {"ftp", "rmdir", "/d"},
                {"ftp", "rmtree", "/d"},
                {"ftp", "mv", "/d", "/e"},
                {"ftp", "backup", path("f"), "/d"},
                {"ftp", "restore", "/d", path("r")}};
    }
    static std::vector<Texts> mailCommands() {
        return {{"mail", "send", "--from", "a@x.org", "--to", "b@x.org"}, {"mail", "test"}};
    }
    std::vector<Texts> allCommands() const {
        std::vector<Texts> all = httpCommands();
        for (const std::vector<Texts>& commands : {s3Commands(), ftpCommands(), mailCommands()}) {
            all.insert(all.end(), commands.begin(), commands.end());
        }
        return all;
    }

    /// Runs a command, and returns the options of each handle at the start of a transfer.
    static std::vector<OptionValues> run(const Texts& options, const Texts& command) {
        Texts arguments = {"vexil", "--retries", "0", "--log-level", "quiet"};
        arguments.insert(arguments.end(), command.begin(), command.end());
        arguments.insert(arguments.end(), options.begin(), options.end());
        std::vector<char*> texts;
        for (std::string& argument : arguments) {
            texts.push_back(argument.data());
        }
        // The message of a backup at its end.
        const std::ostringstream ignored;
        std::streambuf* const output = std::cout.rdbuf(ignored.rdbuf());
        vexil_test::events.clear();
        vexil_test::isRecording = true;
        vexil::app::CProgram().run(static_cast<int>(texts.size()), texts.data());
        vexil_test::isRecording = false;
        std::cout.rdbuf(output);
        return replay();
    }

    static std::vector<OptionValues> replay() {
        std::vector<OptionValues> transfers;
        std::map<const void*, OptionValues> handles;
        for (const vexil_test::RecordedOption& event : vexil_test::events) {
            OptionValues& values = handles[event.handle];
            if (event.text == "transfer") {
                transfers.push_back(values);
            } else if (event.text == "reset") {
                values.clear();
            } else {
                const std::size_t equals = event.text.find('=');
                values[event.text.substr(0, equals)] = event.text.substr(equals + 1);
            }
        }
        return transfers;
    }

    /// Checks that a command's transfers, at least one, have these options and not the others.
    static void expectOptions(const std::vector<Texts>& commands, const Texts& options,
                              const OptionValues& wanted, const Texts& unwanted = {}) {
        for (const Texts& command : commands) {
            const std::string name = testing::PrintToString(command) + testing::PrintToString(options);
            const std::vector<OptionValues> transfers = run(options, command);
            EXPECT_FALSE(transfers.empty()) << name;
            EXPECT_THAT(transfers, Each(IsSupersetOf(wanted))) << name;
            for (const std::string& option : unwanted) {
                EXPECT_THAT(transfers, Each(Not(Contains(Key(option))))) << name;
            }
        }
    }

    const fs::path m_folder =
        fs::temp_directory_path() / ("vexil-program-options-" + std::to_string(getpid()));
};

TEST_F(ProgramOptionsTest, EveryCommandChecksCertificateAndHostName) {
    expectOptions(allCommands(), {}, {{"SSL_VERIFYPEER", "1L"}, {"SSL_VERIFYHOST", "2L"}},
                  {"PROXY_SSL_VERIFYPEER", "PROXY_SSL_VERIFYHOST"});
    expectOptions(
        allCommands(), {"--ca-bundle", path("ca.pem")},
        {{"SSL_VERIFYPEER", "1L"}, {"SSL_VERIFYHOST", "2L"}, {"CAINFO", "'" + path("ca.pem") + "'"}});
}

TEST_F(ProgramOptionsTest, OnDemandEveryCommandChecksNeither) {
    expectOptions(allCommands(), {"--no-verify"}, {{"SSL_VERIFYPEER", "0L"}, {"SSL_VERIFYHOST", "0L"}},
                  {"PROXY_SSL_VERIFYPEER", "PROXY_SSL_VERIFYHOST"});
}

TEST_F(ProgramOptionsTest, EveryCommandGivesUpWhatStandsStill) {
    expectOptions(allCommands(), {},
                  {{"CONNECTTIMEOUT_MS", "30000L"}, {"LOW_SPEED_LIMIT", "1L"}, {"LOW_SPEED_TIME", "60L"}});
}

TEST_F(ProgramOptionsTest, ATimeoutShortensTheTimeToConnectAndNeverLengthensIt) {
    for (const auto& [seconds, whole, connect] : {std::tuple{"5", "5000L", "5000L"},
                                                  {"0.0014", "1L", "1L"},
                                                  {"0.001", "1L", "1L"},
                                                  {"30", "30000L", "30000L"},
                                                  {"30.001", "30001L", "30000L"},
                                                  {"1000", "1000000L", "30000L"}}) {
        expectOptions({{"s3", "ls", "b"}}, {"--timeout", seconds},
                      {{"TIMEOUT_MS", whole}, {"CONNECTTIMEOUT_MS", connect}});
    }
    const std::vector<Texts> commands = allCommands();
    for (const Texts& command : commands) {
        const std::vector<OptionValues> transfers = run({"--timeout", "60"}, command);
        EXPECT_THAT(transfers, Each(IsSupersetOf(OptionValues{{"CONNECTTIMEOUT_MS", "30000L"}})));
        EXPECT_THAT(transfers.front(), Contains(Pair("TIMEOUT_MS", "60000L")))
            << testing::PrintToString(command);
    }
}

// The program waits for it after Ctrl-C, without any output.
TEST_F(ProgramOptionsTest, TidyingUpEndsSoonAndIsNotCancelled) {
    for (const double seconds : {0.0, 60.0}) {
        COptions options;
        options.timeoutSeconds = seconds;
        options.retries = 0;
        std::ostringstream ignored;
        CConsole console(ignored, ignored, false);
        CSession session(options, console);
        CFTPAccess access(session);
        vexil_test::events.clear();
        vexil_test::isRecording = true;
        EXPECT_THROW(access.getFTP().removeFiles({"/d/part"}), CError);
        vexil_test::isRecording = false;
        EXPECT_THAT(replay(), ElementsAre(IsSupersetOf(
                                  OptionValues{{"PREQUOTE", "[*DELE /d/part|*TYPE I|*SIZE /d/part]"},
                                               {"TIMEOUT_MS", "10000L"},
                                               {"XFERINFODATA", "null"},
                                               {"LOW_SPEED_TIME", "60L"}})));
    }
}

TEST_F(ProgramOptionsTest, EveryCommandGoesThroughTheProxy) {
    expectOptions(allCommands(), {"--proxy", "127.0.0.1:2"}, {{"PROXY", "'127.0.0.1:2'"}});
    expectOptions(allCommands(), {"--proxy", "none"}, {{"PROXY", "''"}});
}

TEST_F(ProgramOptionsTest, NoRedirectLeadsOutOfHTTPS) {
    expectOptions(httpCommands(), {}, {{"FOLLOWLOCATION", "0L"}});
    // With version 4 of the signature the program follows redirects itself, within one host.
    expectOptions(s3Commands(), {}, {{"FOLLOWLOCATION", "0L"}});
    expectOptions(s3Commands(), {"--signature", "v2"},
                  {{"FOLLOWLOCATION", "1L"}, {"REDIR_PROTOCOLS_STR", "'https'"}, {"MAXREDIRS", "20L"}});
    expectOptions(s3Commands(), {"--redirect-to-http"}, {{"REDIR_PROTOCOLS_STR", "'http,https'"}});
    expectOptions(s3Commands(), {"--endpoint", "http://127.0.0.1:1"},
                  {{"REDIR_PROTOCOLS_STR", "'http,https'"}, {"MAXREDIRS", "20L"}});
    // libcurl would not apply the rules to the next URL.
    expectOptions(s3Commands(), {"--proxy", "system"}, {{"FOLLOWLOCATION", "0L"}});
}

TEST_F(ProgramOptionsTest, NoLoginGoesInPlainUnlessToldSo) {
    expectOptions(ftpCommands(), {}, {{"USE_SSL", "3L"}});
    expectOptions(ftpCommands(), {"--tls", "explicit"}, {{"USE_SSL", "3L"}});
    expectOptions(mailCommands(), {}, {{"USE_SSL", "3L"}});
    for (const OptionValues& values : run({"--tls", "implicit"}, {"ftp", "ls", "/d"})) {
        EXPECT_THAT(values.at("URL"), testing::StartsWith("'ftps://"));
    }
    for (const OptionValues& values : run({"--security", "ssl"}, {"mail", "test"})) {
        EXPECT_THAT(values.at("URL"), testing::StartsWith("'smtps://"));
    }
}

}  // namespace
