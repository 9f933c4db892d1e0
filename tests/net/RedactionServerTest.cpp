// Random logins at real servers, right and wrong ones: the redacted log must show no part of them.
#include "tests/mail/MailTestSupport.h"
#include "tests/net/SecretParts.h"
#include "vexil/mail/SMTPClient.h"
#include "vexil/net/CURLError.h"
#include "zet/BufferStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;
using vexil::CNetRequest;
using vexil::CSMTPParams;
using vexil::P;
using vexil::String;
using vexil_test::dump;
using vexil_test::RandomLogins;
using vexil_test::SecretParts;
using vexil_test::toPercentForm;

constexpr unsigned int whole = std::numeric_limits<unsigned int>::max();
constexpr int transferCount = 20;  // of a protocol; fewer of each if there are several kinds

std::string getSetting(const char* name) {
    const char* value = std::getenv(name);
    EXPECT_NE(value, nullptr) << name << " is not set: run this through with-servers.sh";
    return value ? value : "";
}

struct Login {
    std::string user;
    std::string password;
    std::string token;

    std::string userInfo() const { return toPercentForm(user) + ":" + toPercentForm(password) + "@"; }
};

/// The parts of a login that a log must not contain.
SecretParts findSecrets(const Login& login, bool isUserShown) {
    SecretParts secrets;
    secrets.add(login.password);
    secrets.add(login.token);
    if (!isUserShown) {
        secrets.addLogin(login.user, login.password);
    }
    return secrets;
}

class RedactionServer : public testing::Test {
protected:
    /// Valid UTF-8 text without control characters and separators of the protocols.
    std::string makeText(std::size_t longest) {
        const std::string text = m_random.makeText(8 + m_random.choose(longest - 8));
        std::string valid = String::fromUTF8Lossy(text).toUTF8();
        for (char& c : valid) {
            const bool isControl = (c >= 0 && c < ' ') || c == '\x7F';
            c = isControl ? '_' : c;
        }
        return vexil_test::without(valid, ":/");
    }

    Login makeLogin(bool isRight, std::size_t longest) {
        const std::string start = isRight ? "guest-" : "other-";
        // Spaces at the ends of a header's value are removed.
        return {start + makeText(longest), makeText(longest), "t" + makeText(longest) + "t"};
    }

    /// A new request with its own connection.
    static P<CNetRequest> makeRequest() {
        P<CNetRequest> request = new CNetRequest;
        setUp(*request);
        return request;
    }

    static void setUp(CNetRequest& request) {
        request.setVerbose(true);
        request.setVerboseSettings(vexil::VerboseLogBoth, vexil::VerboseLogNone);
        request.setSSLVerifyPeer(false);
        request.setOptionInt(CURLOPT_SSL_VERIFYHOST, 0);
    }

    /// Performs the request and returns the error code of a failure.
    static CURLcode perform(CNetRequest& request) {
        try {
            request.perform();
            return CURLE_OK;
        } catch (const vexil::CCURLError& error) {
            return static_cast<CURLcode>(error.getCode());
        }
    }

    /// No redacted log of any length shows a secret; the confidential one does. Everything that does not
    /// belong to the login is in the log of the same transfer with another login as well.
    static void expectHidden(CNetRequest& request, CNetRequest& other, const SecretParts& secrets) {
        const std::string otherText = dump(*other.getRedactedVerboseOutput(whole));
        const std::string confidential = dump(*request.getVerboseOutput(whole));
        EXPECT_NE(secrets.findIn(confidential, otherText), "") << confidential;
        const std::string text = dump(*request.getRedactedVerboseOutput(whole));
        EXPECT_EQ(secrets.findIn(text, otherText), "") << text;
        for (unsigned int length = 0; length < 2000; length += length < 200 ? 1 : 97) {
            const std::string cut = dump(*request.getRedactedVerboseOutput(length));
            ASSERT_EQ(secrets.findIn(cut, otherText), "") << "length " << length << "\n" << cut;
        }
    }

    static std::string getShown(CNetRequest& request) {
        return dump(*request.getRedactedVerboseOutput(whole));
    }

    RandomLogins m_random{20261122};
};

// ---- HTTP ------------------------------------------------------------------------------------------------

enum class Protocol { HTTP1, HTTP2 };

class RedactionHTTPServerTest : public RedactionServer, public testing::WithParamInterface<Protocol> {
protected:
    static std::string makeURL(const std::string& path, const std::string& userInfo = {}) {
        const bool isHTTP2 = GetParam() == Protocol::HTTP2;
        std::string url = getSetting(isHTTP2 ? "VEXIL_HTTPS_ENDPOINT" : "VEXIL_HTTP_ENDPOINT") + path;
        return url.insert(url.find("//") + 2, userInfo);
    }

    static P<CNetRequest> makeHTTPRequest(const std::string& url) {
        P<CNetRequest> request = makeRequest();
        request->setURL(String::fromUTF8(url));
        request->setOptionInt(CURLOPT_HTTP_VERSION,
                              GetParam() == Protocol::HTTP2 ? CURL_HTTP_VERSION_2TLS : CURL_HTTP_VERSION_1_1);
        return request;
    }

    static void addUser(const Login& login) {
        std::ofstream file(getSetting("VEXIL_HTTP_USERS"), std::ios::app | std::ios::binary);
        file << login.user << ":{PLAIN}" << login.password << "\n";
        EXPECT_TRUE(file.flush());
    }

    static P<CNetRequest> makeTransfer(int kind, const Login& login) {
        switch (kind) {
        case 0: {
            P<CNetRequest> request = makeHTTPRequest(makeURL("/auth/a.txt"));
            request->setUserName(String::fromUTF8(login.user));
            request->setUserPassword(String::fromUTF8(login.password));
            return request;
        }
        case 1:
            return makeHTTPRequest(makeURL("/auth/a.txt", login.userInfo()));
        case 2:
            return makeHTTPRequest(makeURL("/redirect/302", login.userInfo()));
        case 3:
            return makeTransferWithHeaders(login);
        default: {
            P<CNetRequest> request = makeHTTPRequest(makeURL("/auth/a.txt", login.userInfo()));
            request->setProxy(
                String::fromUTF8("http://" + login.userInfo() + getSetting("VEXIL_PROXY_ENDPOINT")));
            return request;
        }
        }
    }

    static P<CNetRequest> makeTransferWithHeaders(const Login& login) {
        P<CNetRequest> request = makeHTTPRequest(makeURL("/static/a.txt"));
        const P<vexil::CNetHeaders> headers = new vexil::CNetHeaders;
        const String token = String::fromUTF8(login.token);
        headers->add("Authorization", "Bearer " + token);
        headers->add("Cookie", "a=" + token);
        headers->add("X-Amz-Security-Token", token);
        headers->add("X-Test", "shown");
        request->setCustomHTTPHeaders(headers);
        return request;
    }

    static void expectRestShown(CNetRequest& request, bool isRight) {
        const std::string text = getShown(request);
        const bool isHTTP2 = GetParam() == Protocol::HTTP2;
        const std::string version = isHTTP2 ? "HTTP/2 " : "HTTP/1.1 ";
        EXPECT_THAT(text, HasSubstr("receive type=header|" + version + (isRight ? "200" : "401")));
        EXPECT_THAT(text, HasSubstr("a.txt HTTP/"));
        EXPECT_THAT(text, HasSubstr("Host: 127.0.0.1:"));
        EXPECT_THAT(text, HasSubstr(isHTTP2 ? "server: nginx" : "Server: nginx"));
        EXPECT_THAT(text, HasSubstr(isHTTP2 ? "content-length: " : "Content-Length: "));
        if (isHTTP2) {
            EXPECT_THAT(text, HasSubstr("[:method: GET]"));
        }
        if (isRight) {
            EXPECT_THAT(text, HasSubstr("receive type=data bytes=14|Hello%2C%20world%21%0A"));
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Over, RedactionHTTPServerTest, testing::Values(Protocol::HTTP1, Protocol::HTTP2),
                         [](const auto& param) {
                             return param.param == Protocol::HTTP1 ? "HTTP1" : "HTTP2";
                         });

TEST_P(RedactionHTTPServerTest, NothingOfALoginIsShown) {
    constexpr int kindCount = 5;
    for (int number = 0; number < transferCount; ++number) {
        const int kind = number % kindCount;
        const bool isRight = number / kindCount % 2 == 0;
        const bool isAsked = kind != 2 && kind != 3;
        SCOPED_TRACE(testing::Message() << "kind " << kind << (isRight ? ", right" : ", wrong"));
        const Login login = makeLogin(isRight, 200);
        const Login otherLogin = makeLogin(isRight, 200);
        if (isRight) {
            addUser(login);
            addUser(otherLogin);
        }
        const P<CNetRequest> request = makeTransfer(kind, login);
        const P<CNetRequest> other = makeTransfer(kind, otherLogin);
        const CURLcode expected = isRight || !isAsked ? CURLE_OK : CURLE_HTTP_RETURNED_ERROR;
        EXPECT_EQ(perform(*request), expected);
        EXPECT_EQ(perform(*other), expected);
        ASSERT_NO_FATAL_FAILURE(expectHidden(*request, *other, findSecrets(login, false)));
        expectRestShown(*request, expected == CURLE_OK);
    }
}

TEST_P(RedactionHTTPServerTest, NothingOfAProxysLoginIsShown) {
    for (const std::string password : {"secret", "hidden-secret"}) {
        const P<CNetRequest> request = makeHTTPRequest(makeURL("/static/a.txt"));
        request->setProxy(
            String::fromUTF8("http://tester:" + password + "@" + getSetting("VEXIL_LOGIN_PROXY_ENDPOINT")));
        EXPECT_EQ(perform(*request) == CURLE_OK, password == "secret");
        const std::string basic = vexil_test::toBase64("tester:" + password);
        EXPECT_THAT(dump(*request->getVerboseOutput(whole)),
                    HasSubstr("Proxy auth using Basic with user 'tester'"));
        const std::string text = getShown(*request);
        EXPECT_THAT(text, HasSubstr("Proxy-Authorization: ~stripped~\r\n"));
        EXPECT_THAT(text, Not(AnyOf(HasSubstr("tester"), HasSubstr("secret"), HasSubstr(basic))));
    }
}

// ---- FTP -------------------------------------------------------------------------------------------------

enum class FTPSecurity { None, Explicit, Implicit };

class RedactionFTPServerTest : public RedactionServer, public testing::WithParamInterface<FTPSecurity> {
protected:
    static std::string makeURL(const std::string& userInfo) {
        const bool isImplicit = GetParam() == FTPSecurity::Implicit;
        return (isImplicit ? "ftps://" : "ftp://") + userInfo +
               getSetting(isImplicit ? "VEXIL_FTPS_ENDPOINT" : "VEXIL_FTP_ENDPOINT") + "/";
    }

    static P<CNetRequest> makeTransfer(int kind, const Login& login) {
        P<CNetRequest> request = makeRequest();
        if (GetParam() == FTPSecurity::Explicit) {
            request->setOptionInt(CURLOPT_USE_SSL, CURLUSESSL_ALL);
        }
        request->setURL(String::fromUTF8(makeURL(kind == 0 ? "" : login.userInfo())));
        if (kind == 0) {
            request->setUserName(String::fromUTF8(login.user));
            request->setUserPassword(String::fromUTF8(login.password));
        } else if (kind == 2) {
            request->setProxy(
                String::fromUTF8("http://" + login.userInfo() + getSetting("VEXIL_PROXY_ENDPOINT")));
            request->setOptionInt(CURLOPT_HTTPPROXYTUNNEL, 1);
        }
        return request;
    }

    static void expectRestShown(CNetRequest& request, const Login& login, bool isRight) {
        const std::string text = getShown(request);
        String user = String::fromLatin1(login.user);
        user.trimRight();
        EXPECT_THAT(text, HasSubstr("send type=header|USER " + user.toUTF8()));
        EXPECT_THAT(text, HasSubstr("send type=header|PASS ~stripped~"));
        EXPECT_THAT(text, HasSubstr("receive type=header|331 "));
        EXPECT_THAT(text, HasSubstr(isRight ? "receive type=header|230 " : "receive type=header|530 "));
        if (isRight) {
            EXPECT_THAT(text, HasSubstr("send type=header|PWD"));
            EXPECT_THAT(text, HasSubstr("send type=header|LIST"));
            EXPECT_THAT(text, HasSubstr("receive type=data bytes="));
        }
        if (GetParam() == FTPSecurity::Explicit) {
            EXPECT_THAT(text, HasSubstr("send type=header|AUTH SSL"));
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Under, RedactionFTPServerTest,
                         testing::Values(FTPSecurity::None, FTPSecurity::Explicit, FTPSecurity::Implicit),
                         [](const auto& param) {
                             return param.param == FTPSecurity::None       ? "Plain"
                                    : param.param == FTPSecurity::Explicit ? "ExplicitTLS"
                                                                           : "ImplicitTLS";
                         });

TEST_P(RedactionFTPServerTest, NothingOfALoginButTheNameIsShown) {
    constexpr int kindCount = 3;
    const int count = GetParam() == FTPSecurity::None ? transferCount : transferCount / 2;
    for (int number = 0; number < count; ++number) {
        const int kind = number % kindCount;
        const bool isRight = number / kindCount % 2 == 0;
        SCOPED_TRACE(testing::Message() << "kind " << kind << (isRight ? ", right" : ", wrong"));
        const Login login = makeLogin(isRight, 200);
        const P<CNetRequest> request = makeTransfer(kind, login);
        const P<CNetRequest> other = makeTransfer(kind, makeLogin(isRight, 200));
        const CURLcode expected = isRight ? CURLE_OK : CURLE_LOGIN_DENIED;
        EXPECT_EQ(perform(*request), expected);
        EXPECT_EQ(perform(*other), expected);
        ASSERT_NO_FATAL_FAILURE(expectHidden(*request, *other, findSecrets(login, true)));
        expectRestShown(*request, login, isRight);
    }
}

// ---- SMTP ------------------------------------------------------------------------------------------------

struct SMTPWay {
    const char* mechanism;
    CSMTPParams::ConnectType type;
};

class RedactionSMTPServerTest : public RedactionServer, public testing::WithParamInterface<SMTPWay> {
protected:
    static P<CNetRequest> makeTransfer(int kind, const Login& login) {
        P<CNetRequest> request = makeRequest();
        const std::string endpoint = getSetting("VEXIL_SMTP_ENDPOINT");
        const std::size_t colon = endpoint.find(':');
        const CSMTPParams params(String::fromUTF8(endpoint.substr(0, colon)),
                                 std::atoi(endpoint.c_str() + colon + 1), GetParam().type,
                                 String::fromUTF8(login.user), String::fromUTF8(login.password));
        const std::string mail = "Subject: shown\r\n\r\ntext\r\n";
        const P<zet::CBufferStream> stream = new zet::CBufferStream(vexil_test::sharedBufferOf(mail));
        vexil::CSMTPClient::makeSendMailRequest(*request, params, "a@example.com", {"b@example.com"}, stream);
        setUp(*request);
        request->setOptionString(CURLOPT_LOGIN_OPTIONS, String("AUTH=") + GetParam().mechanism);
        request->setOptionInt(CURLOPT_SASL_IR, kind);
        return request;
    }

    static void expectRestShown(CNetRequest& request, bool isRight) {
        const std::string text = getShown(request);
        EXPECT_THAT(text, HasSubstr("receive type=header|220 "));
        EXPECT_THAT(text, HasSubstr("send type=header|EHLO "));
        EXPECT_THAT(text, HasSubstr(std::string("send type=header|AUTH ") + GetParam().mechanism));
        EXPECT_THAT(text, HasSubstr(isRight ? "receive type=header|235 " : "receive type=header|535 "));
        if (isRight) {
            EXPECT_THAT(text, HasSubstr("send type=header|MAIL FROM:<a@example.com>"));
            EXPECT_THAT(text, HasSubstr("send type=header|RCPT TO:<b@example.com>"));
            EXPECT_THAT(text, HasSubstr("Subject%3A%20shown"));
        }
        if (GetParam().type == CSMTPParams::ConnectStartTLS) {
            EXPECT_THAT(text, HasSubstr("send type=header|STARTTLS"));
        }
    }
};

INSTANTIATE_TEST_SUITE_P(By, RedactionSMTPServerTest,
                         testing::Values(SMTPWay{"PLAIN", CSMTPParams::ConnectUnencrypted},
                                         SMTPWay{"PLAIN", CSMTPParams::ConnectStartTLS},
                                         SMTPWay{"LOGIN", CSMTPParams::ConnectUnencrypted},
                                         SMTPWay{"LOGIN", CSMTPParams::ConnectStartTLS}),
                         [](const auto& param) {
                             const bool isPlain = param.param.type == CSMTPParams::ConnectUnencrypted;
                             return param.param.mechanism + std::string(isPlain ? "" : "UnderSTARTTLS");
                         });

TEST_P(RedactionSMTPServerTest, NothingOfALoginIsShown) {
    for (int number = 0; number < transferCount / 2; ++number) {
        const int kind = number % 2;
        const bool isRight = number / 2 % 2 == 0;
        SCOPED_TRACE(testing::Message() << "kind " << kind << (isRight ? ", right" : ", wrong"));
        // The server accepts lines of 512 bytes.
        const Login login = makeLogin(isRight, 120);
        const P<CNetRequest> request = makeTransfer(kind, login);
        const P<CNetRequest> other = makeTransfer(kind, makeLogin(isRight, 120));
        const CURLcode expected = isRight ? CURLE_OK : CURLE_LOGIN_DENIED;
        EXPECT_EQ(perform(*request), expected);
        EXPECT_EQ(perform(*other), expected);
        ASSERT_NO_FATAL_FAILURE(expectHidden(*request, *other, findSecrets(login, false)));
        expectRestShown(*request, isRight);
    }
}

}  // namespace
