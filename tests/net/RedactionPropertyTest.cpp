// The redacted log must show no part of random logins, for any login and any division into messages by
// libcurl.
#include "tests/net/RedactionExchange.h"
#include "tests/net/SecretParts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

namespace {

using testing::HasSubstr;
using vexil::P;
using vexil_test::Division;
using vexil_test::dump;
using vexil_test::Exchange;
using vexil_test::exchangeMakers;
using vexil_test::Login;
using vexil_test::LogRequest;
using vexil_test::MakeExchange;
using vexil_test::RandomLogins;
using vexil_test::SecretParts;
using vexil_test::UserInfoForm;

constexpr unsigned int whole = std::numeric_limits<unsigned int>::max();
constexpr int loginCount = 1000;
constexpr unsigned int seed = 20261122;

/// A transfer, and the same transfer with another login of the same lengths.
struct Pair {
    Exchange exchange;
    Exchange other;
};

class RedactionPropertyTest : public testing::Test {
protected:
    RedactionPropertyTest() {
        for (LogRequest* request : {m_request.get(), m_otherRequest.get()}) {
            request->setVerboseSettings(vexil::VerboseLogBoth, vexil::VerboseLogBoth);
        }
    }

    Login makeLogin(int number) {
        // The lengths from 1 to 200, each of them five times.
        const auto length = static_cast<std::size_t>(1 + number % 200);
        const std::string user = m_random.makeText(1 + m_random.choose(length));
        const std::string password = m_random.makeText(length);
        return vexil_test::makeLogin(user, password, static_cast<UserInfoForm>(m_random.choose(3)));
    }

    Pair makePair(MakeExchange make, const Login& login) {
        const auto variant = static_cast<int>(m_random.choose(12));
        const auto division = static_cast<Division>(m_random.choose(3));
        const auto divisionSeed = static_cast<unsigned int>(m_random.choose(1u << 31));
        Pair pair{make(login, variant), make(vexil_test::makeOtherLogin(login), variant)};
        for (Exchange* exchange : {&pair.exchange, &pair.other}) {
            RandomLogins random(divisionSeed);
            vexil_test::divide(*exchange, division, [&](std::size_t count) { return random.choose(count); });
        }
        return pair;
    }

    /// The parts of a login that a log must not contain; FTP shows the name.
    struct Secrets {
        explicit Secrets(const Login& login) {
            withoutName.add(login.linePassword);
            all.addLogin(login.user, login.password);
            all.add(login.token);
            all.add(login.userInfo);
        }
        const SecretParts& of(MakeExchange make) const {
            return make == vexil_test::makeFTPExchange ? withoutName : all;
        }

        SecretParts all;
        SecretParts withoutName;
    };

    void record(const Pair& pair) {
        vexil_test::record(*m_request, pair.exchange);
        vexil_test::record(*m_otherRequest, pair.other);
    }

    /// The log contains no part of the secrets, and nothing else that depends on them. The latter also tests
    /// secrets that are too short to search for.
    void expectNothing(const Login& login, const SecretParts& secrets, unsigned int length) {
        const std::string text = dump(*m_request->getRedactedVerboseOutput(length));
        const std::string otherText = dump(*m_otherRequest->getRedactedVerboseOutput(length));
        ASSERT_EQ(secrets.findIn(text, otherText), "") << "length " << length << "\n" << text;
        if (!looksLikeURLOrHeader(login)) {
            ASSERT_EQ(text, otherText)
                << "length " << length << ", password " << testing::PrintToString(login.password);
        } else if (text != otherText) {
            // More may be hidden than without them, but not more shown.
            ASSERT_TRUE(isPartOf(text, dump(*m_otherRequest->getRedactedVerboseOutput(whole))))
                << "length " << length << "\n"
                << text;
        }
    }

    static bool looksLikeURLOrHeader(const Login& login) {
        const std::string text =
            login.lineUser + "\n" + login.user + "\n" + login.password + "\n" + login.userInfo;
        const std::regex found("://|authorization|cookie|x-amz-security-token| with user '",
                               std::regex::icase);
        return std::regex_search(text, found);
    }

    /// Whether a log is another one with parts left out. White space is ignored, because it is trimmed if a
    /// text was not cut.
    static bool isPartOf(const std::string& text, const std::string& otherText) {
        auto at = otherText.begin();
        for (std::size_t i = 0; i < text.size(); ++i) {
            i += text.compare(i, 4, "...\n") == 0 ? 3 : 0;
            if (std::string_view(" \t\r\n").find(text[i]) != std::string_view::npos) {
                continue;
            }
            at = std::find(at, otherText.end(), text[i]);
            if (at == otherText.end()) {
                return false;
            }
            ++at;
        }
        return true;
    }

    std::size_t findLongestMessage(const Exchange& exchange) const {
        std::size_t longest = 0;
        for (const auto& message : exchange.messages) {
            longest = std::max(longest, message.bytes.size());
        }
        return longest;
    }

    P<LogRequest> m_request = new LogRequest;
    P<LogRequest> m_otherRequest = new LogRequest;
    RandomLogins m_random{seed};
};

TEST_F(RedactionPropertyTest, NothingOfALoginIsShown) {
    for (int number = 0; number < loginCount; ++number) {
        const Login login = makeLogin(number);
        const Secrets secrets(login);
        const std::size_t cutOne = m_random.choose(std::size(exchangeMakers));
        for (const MakeExchange& make : exchangeMakers) {
            SCOPED_TRACE(testing::Message() << "login " << number);
            record(makePair(make, login));
            ASSERT_NO_FATAL_FAILURE(expectNothing(login, secrets.of(make), whole));
            if (&make == &exchangeMakers[cutOne]) {
                const auto length = static_cast<unsigned int>(m_random.choose(300));
                ASSERT_NO_FATAL_FAILURE(expectNothing(login, secrets.of(make), length));
            }
        }
    }
}

TEST_F(RedactionPropertyTest, NoCutShowsAnything) {
    for (int number = 0; number < loginCount; number += 199) {
        const Login login = makeLogin(number);
        const Secrets secrets(login);
        for (const MakeExchange make : exchangeMakers) {
            SCOPED_TRACE(testing::Message() << "login " << number);
            const Pair pair = makePair(make, login);
            record(pair);
            const std::size_t longest = findLongestMessage(pair.exchange);
            for (unsigned int length = 0; length <= longest; length += length < 200 ? 1 : 97) {
                ASSERT_NO_FATAL_FAILURE(expectNothing(login, secrets.of(make), length));
            }
        }
    }
}

TEST_F(RedactionPropertyTest, TheConfidentialLogShowsWhatIsLookedFor) {
    for (int number = 7; number < loginCount; number += 10) {
        const Login login = makeLogin(number);
        const Secrets secrets(login);
        for (const MakeExchange make : exchangeMakers) {
            SCOPED_TRACE(testing::Message() << "login " << number);
            const auto variant = static_cast<int>(m_random.choose(12));
            vexil_test::record(*m_request, make(login, variant));
            vexil_test::record(*m_otherRequest, make(vexil_test::makeOtherLogin(login), variant));
            const std::string text = dump(*m_request->getVerboseOutput(whole));
            const std::string otherText = dump(*m_otherRequest->getVerboseOutput(whole));
            ASSERT_NE(secrets.of(make).findIn(text, otherText), "") << text;
        }
    }
}

TEST_F(RedactionPropertyTest, TheRestIsShown) {
    const std::vector<std::vector<std::string>> shown = {
        {"Trying 127.0.0.1:80...", "GET /a@b HTTP/1.1\r\nHost: host\r\n", "uthorization:", "Accept: */*\r\n",
         "Cookie: ~", "X-Amz-Security-Token: ~", "HTTP/1.1 302 Found", "Server: nginx", "Set-Cookie: ~",
         "Location: http://~stripped~@host/a@b", "Content-Length: 154", "Added cookie a=\"~",
         " for domain host, path /, expire 0", "Connection #0 to host host left intact"},
        {":method: GET]", ":path: /a]", "GET /a HTTP/2\r\nHost: host\r\n", "accept: */*", "HTTP/2 200",
         "server: nginx", "content-location: https://~stripped~@host/"},
        {"@proxy:3128'", "Establish HTTP proxy tunnel to host:443", "CONNECT host:443 HTTP/1.1\r\nHost: host",
         "HTTP/1.0 407 Proxy Authentication Required", "Proxy-Authenticate: Basic realm=\"tinyproxy\"",
         "Unsupported proxy scheme for '~stripped~@proxy'"},
        {"AUTH TLS", "234 yes", "USER somebody", "331 Password required", "PASS ~stripped~",
         "ACCT ~stripped~", "PWD", "257 \"/\" is the current directory"},
        {"EHLO client", "250 AUTH PLAIN LOGIN", "AUTH LOGIN ~stripped~", "334 UGFzc3dvcmQ6",
         "235 2.7.0 accepted", "MAIL FROM:<a@example.com>", "250 OK"}};
    // A variant of each that contains all of these.
    const int variants[] = {0, 0, 1, 2, 2};
    const Login login = vexil_test::makeLogin("somebody", "a long secret", UserInfoForm::EscapesAll);
    for (std::size_t i = 0; i < std::size(exchangeMakers); ++i) {
        vexil_test::record(*m_request, exchangeMakers[i](login, variants[i]));
        const std::string text = dump(*m_request->getRedactedVerboseOutput(whole));
        for (const std::string& part : shown[i]) {
            EXPECT_THAT(text, HasSubstr(part));
        }
    }
}

}  // namespace
