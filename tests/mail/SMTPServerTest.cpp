// Mails to real servers: aiosmtpd, which keeps each byte for byte, and Exim with its other TLS library.
#include "tests/mail/MailTestSupport.h"
#include "tests/net/NetRequestTestSupport.h"
#include "vexil/mail/MultiPartMimeMessage.h"
#include "vexil/mail/SMTPClient.h"
#include "zet/BufferStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using namespace vexil;
using testing::Combine;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using testing::Values;
using vexil_test::bufferOf;
using vexil_test::FunctionSetup;
using vexil_test::thrownBy;

std::string environment(const std::string& name) {
    const char* const value = std::getenv(name.c_str());
    EXPECT_NE(value, nullptr) << name << " is not set: run this through with-servers.sh";
    return value ? value : "";
}

int portOf(const std::string& endpoint) {
    return std::atoi(endpoint.substr(endpoint.find(':') + 1).c_str());
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path << " cannot be read";
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string withoutCRs(std::string text) {
    std::erase(text, '\r');
    return text;
}

/// A mail that has arrived.
struct Mail {
    std::string envelope;  ///< "a@x to b@x, c@x", and "over TLS" and "with login" if true
    std::string bytes;     ///< as the server stores them
};

/// One of the servers and a way to reach it.
struct Server {
    const char* name;
    const char* variables;  ///< prefix of their names
    const char* endpoint;
    CSMTPParams::ConnectType type;

    bool isExim() const { return std::string(variables) == "VEXIL_EXIM"; }
    bool hasTLS() const { return type != CSMTPParams::ConnectUnencrypted; }
    int port() const { return portOf(environment(endpoint)); }
    String bundle() const { return String::fromUTF8(environment(variables + std::string("_CA"))); }
    String wrongBundle() const { return String::fromUTF8(environment(variables + std::string("_WRONG_CA"))); }
    std::filesystem::path mails() const { return environment(variables + std::string("_MAILS")); }

    CSMTPParams params(const char* login, const char* password = "secret",
                       const char* host = "127.0.0.1") const {
        return CSMTPParams(host, port(), type, login, password);
    }

    void forgetMails() const {
        for (const auto& file : std::filesystem::directory_iterator(mails())) {
            std::filesystem::remove(file);
        }
    }

    /// The files of the mails that have arrived.
    std::vector<std::filesystem::path> mailFiles() const {
        std::vector<std::filesystem::path> files;
        for (const auto& file : std::filesystem::directory_iterator(mails())) {
            if (isExim() || file.path().extension() == ".eml") {
                files.push_back(file.path());
            }
        }
        return files;
    }

    /// Waits for mails, because Exim delivers them after its reply, and takes the only one.
    Mail takeMail() const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (mailFiles().empty() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        const auto files = mailFiles();
        EXPECT_EQ(files.size(), 1u);
        const Mail mail = files.empty() ? Mail() : isExim() ? readEximMail(files[0]) : readMail(files[0]);
        forgetMails();
        return mail;
    }

    static Mail readMail(std::filesystem::path file) {
        const std::string bytes = readFile(file);
        return {readFile(file.replace_extension(".json")), bytes};
    }

    /// From our first header on; the server has written the lines before it.
    static Mail readEximMail(const std::filesystem::path& file) {
        const std::string bytes = readFile(file);
        const std::size_t own = bytes.find("A-First:");
        EXPECT_NE(own, std::string::npos);
        return own == std::string::npos ? Mail() : Mail{bytes.substr(0, own), bytes.substr(own)};
    }

    void expectMail(const std::string& message, const std::string& login) const {
        const Mail mail = takeMail();
        const bool isSame = mail.bytes == (isExim() ? withoutCRs(message) : message);
        EXPECT_TRUE(isSame) << "of " << message.size() << " bytes arrived " << mail.bytes.size() << ": "
                            << mail.bytes.substr(0, 2000);
        if (isExim()) {
            EXPECT_THAT(mail.envelope,
                        StartsWith("Return-path: <a@example.com>\nEnvelope-to: b@example.com,\n "
                                   "c@example.com\nReceived: from "));
            // RFC 3848 names the ways: "s" for TLS, "a" for a login.
            const std::string way =
                std::string("with esmtp") + (hasTLS() ? "s" : "") + (login.empty() ? "" : "a") + " ";
            EXPECT_THAT(mail.envelope, HasSubstr(way));
        } else {
            EXPECT_EQ(mail.envelope,
                      "{\"from\": \"a@example.com\", \"to\": [\"b@example.com\", \"c@example.com\"], "
                      "\"tls\": " +
                          std::string(hasTLS() ? "true" : "false") + ", \"login\": \"" + login + "\"}");
        }
    }
};

void PrintTo(const Server& server, std::ostream* out) {
    *out << server.name;
}

constexpr Server pythonPlain{"PythonPlain", "VEXIL_SMTP", "VEXIL_SMTP_ENDPOINT",
                             CSMTPParams::ConnectUnencrypted};
constexpr Server pythonStartTLS{"PythonStartTLS", "VEXIL_SMTP", "VEXIL_SMTP_ENDPOINT",
                                CSMTPParams::ConnectStartTLS};
constexpr Server pythonTLS{"PythonTLS", "VEXIL_SMTP", "VEXIL_SMTPS_ENDPOINT", CSMTPParams::ConnectSSL};
constexpr Server eximPlain{"EximPlain", "VEXIL_EXIM", "VEXIL_EXIM_ENDPOINT", CSMTPParams::ConnectUnencrypted};
constexpr Server eximStartTLS{"EximStartTLS", "VEXIL_EXIM", "VEXIL_EXIM_ENDPOINT",
                              CSMTPParams::ConnectStartTLS};
constexpr Server eximTLS{"EximTLS", "VEXIL_EXIM", "VEXIL_EXIM_TLS_ENDPOINT", CSMTPParams::ConnectSSL};

const TArray<String> recipients = {"b@example.com", "c@example.com"};
const std::string shortMessage = "A-First: 1\r\nSubject: s\r\n\r\ntext\r\n";

void send(CSMTPClient& client, const std::string& message = shortMessage) {
    client.sendMail("a@example.com", recipients, bufferOf(message));
}

/// "CODE REPLY" of the CCURLError that `call` throws.
template <class Call>
std::string failureOf(Call call) {
    const auto error = thrownBy<vexil::CCURLError>(call);
    return error ? std::to_string(error->getCode()) + " " + std::to_string(error->getResponseCode())
                 : "(none)";
}

// ---- every way with every login --------------------------------------------------------------------------

class SMTPServerTest : public testing::TestWithParam<std::tuple<Server, const char*>> {
protected:
    SMTPServerTest() { server.forgetMails(); }

    /// A client with only one login method.
    void prepare(CSMTPClient& client) const {
        client.setVerifyCertificate(true);
        client.setRootCertBundlePath(server.bundle());
        if (!login.empty()) {
            client.setRequestSetup(new FunctionSetup([this](CNetRequest& request) {
                request.setOptionString(CURLOPT_LOGIN_OPTIONS, String::fromUTF8("AUTH=" + login));
            }));
        }
    }
    const char* loginName() const { return login.empty() ? "" : "tester"; }

    const Server server = std::get<0>(GetParam());
    const std::string login = std::get<1>(GetParam());
};

TEST_P(SMTPServerTest, TakesMails) {
    CSMTPClient client(server.params(loginName()));
    prepare(client);
    send(client);
    server.expectMail(shortMessage, login);
    const std::string second = "A-First: 2\r\n\r\n.\r\n..\r\n.dot\r\nbehind it\r\n";
    send(client, second);
    server.expectMail(second, login);
}

TEST_P(SMTPServerTest, TakesAMIMEMessage) {
    CSMTPClient client(server.params(loginName()));
    prepare(client);
    CMultiPartMimeMessage message;
    message.getHeaders()["A-First"] = "1";
    const P<CMimeMessage> text = new CMimeMessage("");
    text->setTextBody("Grüße,\n.\n..und Punkte\n");
    message.addPart(text);
    const auto bytes = bufferOf(std::string(100000, '\xFF'));
    message.addPart(CMimeMessage::createAttachment("größe.bin", "application/octet-stream", &bytes));
    zet::CBufferStream stored;
    message.store(stored);
    client.sendMail("a@example.com", recipients, message);
    server.expectMail(vexil_test::textOf(*stored.getBuffer()), login);
}

TEST_P(SMTPServerTest, TakesAHeaderWithoutABody) {
    CSMTPClient client(server.params(loginName()));
    prepare(client);
    for (const char* message : {"A-First: 1\r\n\r\n", "A-First: 1\r\n\r\n\r\n"}) {
        send(client, message);
        server.expectMail(message, login);
    }
}

TEST_P(SMTPServerTest, TakesLinesOfEveryLengthThatIsAllowed) {
    CSMTPClient client(server.params(loginName()));
    prepare(client);
    // RFC 5321, 4.5.3.1.6: 1000 bytes with CR LF, without a stuffed dot.
    const std::string longest(998, 'x');
    const std::string message =
        "A-First: 1\r\n\r\n" + longest + "\r\n." + longest.substr(1) + "\r\n" + longest + "\r\n";
    send(client, message);
    server.expectMail(message, login);
}

TEST_P(SMTPServerTest, RefusesAMailForOneRecipient) {
    CSMTPClient client(server.params(loginName()));
    prepare(client);
    EXPECT_EQ(failureOf([&] {
                  client.sendMail("a@example.com", {"b@example.com", "refused@example.com"},
                                  bufferOf(shortMessage));
              }),
              "55 550");
    EXPECT_THAT(client.getRequest().getResponseText(550).toUTF8(), StartsWith("550"));
    EXPECT_THAT(client.getRequest().getResponseText(550).toUTF8(), EndsWith("no such user here"));
    EXPECT_EQ(failureOf([&] { client.sendMail("refused@example.com", recipients, bufferOf(shortMessage)); }),
              "55 550");
    EXPECT_THAT(client.getRequest().getResponseText(550).toUTF8(), EndsWith("this sender is refused"));
    send(client);
    server.expectMail(shortMessage, login);  // the only one
}

TEST_P(SMTPServerTest, IsTestedWithoutAMail) {
    CSMTPClient client(server.params(loginName()));
    prepare(client);
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    client.testConnection();
    const auto before = descriptors();
    for (int i = 0; i < 5; ++i) {
        client.testConnection();
    }
    EXPECT_EQ(descriptors(), before) << "each test hangs up";
    EXPECT_TRUE(server.mailFiles().empty());
    send(client);
    server.expectMail(shortMessage, login);
}

INSTANTIATE_TEST_SUITE_P(All, SMTPServerTest,
                         Combine(Values(pythonPlain, pythonStartTLS, pythonTLS, eximPlain, eximStartTLS,
                                        eximTLS),
                                 Values("", "PLAIN", "LOGIN")),
                         [](const auto& test) {
                             const std::string mechanism = std::get<1>(test.param);
                             return std::get<0>(test.param).name +
                                    (mechanism.empty() ? "" : "With" + mechanism);
                         });

// ---- every way -------------------------------------------------------------------------------------------

class SMTPServerWayTest : public testing::TestWithParam<Server> {
protected:
    SMTPServerWayTest() { server.forgetMails(); }

    const Server server = GetParam();
};

TEST_P(SMTPServerWayTest, RefusesAWrongPassword) {
    CSMTPClient client(server.params("tester", "wrong"));
    EXPECT_EQ(failureOf([&] { send(client); }), "67 535");
    EXPECT_THAT(client.getRequest().getResponseText(535).toUTF8(), StartsWith("535"));
    EXPECT_EQ(failureOf([&] { client.testConnection(); }), "67 535");
    EXPECT_TRUE(server.mailFiles().empty());
}

TEST_P(SMTPServerWayTest, TakesALargeMessage) {
    std::string message = "A-First: 1\r\n\r\n";
    constexpr std::size_t size = 25 * 1024 * 1024;
    message.reserve(size + 100);
    for (unsigned int i = 0; message.size() < size; ++i) {
        message += (i % 7 == 0 ? "." : "") + std::to_string(i * 2654435761u) +
                   std::string(60, static_cast<char>('a' + i % 26)) + "\r\n";
    }
    CSMTPClient client(server.params("tester"));
    send(client, message);
    server.expectMail(message, "PLAIN");
}

TEST_P(SMTPServerWayTest, ShowsACertificateThatCanBeChecked) {
    if (!server.hasTLS()) {
        GTEST_SKIP() << "without TLS there is none";
    }
    CSMTPClient client(server.params(""));
    client.setVerifyCertificate(true);
    EXPECT_EQ(failureOf([&] { client.testConnection(); }).substr(0, 3), "60 ")
        << "the system does not know the authority";
    client.setRootCertBundlePath(server.wrongBundle());
    EXPECT_EQ(failureOf([&] { client.testConnection(); }).substr(0, 3), "60 ");
    client.setRootCertBundlePath(server.bundle());
    client.testConnection();
    client.setRootCertBundlePath(server.wrongBundle());
    client.setVerifyCertificate(false);
    client.testConnection();
}

TEST_P(SMTPServerWayTest, HasToHaveTheNameThatWasAskedForWhereThatIsChecked) {
    if (!server.hasTLS()) {
        GTEST_SKIP() << "without TLS there is no certificate";
    }
    CSMTPClient client(server.params("", "", "mail.example.com"));
    const P<CNetStringList> addresses = new CNetStringList;
    addresses->add("mail.example.com:" + String::fromInt(server.port()) + ":127.0.0.1");
    client.setRequestSetup(new FunctionSetup(
        [addresses](CNetRequest& request) { request.setOptionPtr(CURLOPT_RESOLVE, addresses->getSList()); }));
    client.testConnection();
    send(client);
    server.expectMail(shortMessage, "");
    client.setRootCertBundlePath(server.bundle());
    client.setVerifyCertificate(true);
    EXPECT_EQ(failureOf([&] { client.testConnection(); }).substr(0, 3), "60 ");
    EXPECT_EQ(failureOf([&] { send(client); }).substr(0, 3), "60 ");
    EXPECT_TRUE(server.mailFiles().empty());
}

INSTANTIATE_TEST_SUITE_P(All, SMTPServerWayTest,
                         Values(pythonPlain, pythonStartTLS, pythonTLS, eximPlain, eximStartTLS, eximTLS),
                         [](const auto& test) { return test.param.name; });

// ---- single servers --------------------------------------------------------------------------------------

class SMTPOldServerTest : public testing::TestWithParam<Server> {};

TEST_P(SMTPOldServerTest, OffersNeitherTLSNorALogin) {
    const Server server = GetParam();
    server.forgetMails();
    const CSMTPParams encrypted("127.0.0.1", server.port(), CSMTPParams::ConnectStartTLS, "tester", "secret");
    CSMTPClient careful(encrypted);
    EXPECT_EQ(failureOf([&] { send(careful); }).substr(0, 3), "64 ");
    EXPECT_EQ(failureOf([&] { careful.testConnection(); }).substr(0, 3), "64 ");
    EXPECT_TRUE(server.mailFiles().empty());
    CSMTPClient client(server.params("tester"));
    client.testConnection();
    send(client);
    server.expectMail(shortMessage, "");  // the login is skipped
}

INSTANTIATE_TEST_SUITE_P(
    All, SMTPOldServerTest,
    Values(Server{"Python", "VEXIL_SMTP", "VEXIL_SMTP_PLAIN_ENDPOINT", CSMTPParams::ConnectUnencrypted},
           Server{"Exim", "VEXIL_EXIM", "VEXIL_EXIM_PLAIN_ENDPOINT", CSMTPParams::ConnectUnencrypted}),
    [](const auto& test) { return test.param.name; });

TEST(SMTPPythonServerTest, TakesAThousandMailsOfOneClient) {
    pythonStartTLS.forgetMails();
    CSMTPClient client(pythonStartTLS.params("tester"));
    std::set<std::string> sent;
    for (int i = 0; i < 1000; ++i) {
        const std::string message =
            "Subject: " + std::to_string(i) + "\r\n\r\n" + std::string(i, 'x') + "\r\n";
        client.sendMail("a@example.com", {"b@example.com"}, bufferOf(message));
        sent.insert(message);
    }
    std::set<std::string> arrived;
    for (const auto& file : pythonStartTLS.mailFiles()) {
        arrived.insert(readFile(file));
    }
    EXPECT_EQ(pythonStartTLS.mailFiles().size(), 1000u);
    EXPECT_TRUE(arrived == sent);
    pythonStartTLS.forgetMails();
}

TEST(SMTPPythonServerTest, TakesAnEmptyMessage) {
    pythonPlain.forgetMails();
    CSMTPClient client(pythonPlain.params(""));
    send(client, "");
    EXPECT_EQ(pythonPlain.takeMail().bytes, "");
}

TEST(SMTPPythonServerTest, TakesAMailWithoutASender) {
    pythonPlain.forgetMails();
    CSMTPClient client(pythonPlain.params(""));
    client.sendMail("", {"b@example.com"}, bufferOf(shortMessage));
    EXPECT_THAT(pythonPlain.takeMail().envelope,
                StartsWith("{\"from\": \"<>\", \"to\": [\"b@example.com\"]"));
}

TEST(SMTPPythonServerTest, RefusesLinesThatAreTooLong) {
    pythonPlain.forgetMails();
    CSMTPClient client(pythonPlain.params(""));
    const auto error = thrownBy<vexil::CCURLError>(
        [&] { send(client, "A-First: 1\r\n\r\n" + std::string(5000, 'x') + "\r\n"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getResponseCode(), 500);
    EXPECT_TRUE(pythonPlain.mailFiles().empty());
    send(client);
    pythonPlain.expectMail(shortMessage, "");
}

TEST(SMTPEximServerTest, TakesLinesOfAnyLength) {
    eximPlain.forgetMails();
    CSMTPClient client(eximPlain.params(""));
    const std::string message =
        "A-First: 1\r\n\r\n" + std::string(100000, 'x') + "\r\n.\r\n" + std::string(5000, '.') + "\r\n";
    send(client, message);
    eximPlain.expectMail(message, "");
}

}  // namespace
