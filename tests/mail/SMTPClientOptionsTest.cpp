// The options that the mail client gives to libcurl, one by one, and its Date header. This program defines
// libcurl's functions: nothing is sent.
#include "tests/mail/MailTestSupport.h"
#include "tests/support/LogCapture.h"
#include "tests/support/OptionRecorder.h"
#include "tests/support/PrintText.h"
#include "tests/support/WhatOf.h"
#include "vexil/mail/MimeMessage.h"
#include "vexil/mail/SMTPClient.h"
#include "vexil/net/CURLError.h"
#include "zet/BufferStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <functional>
#include <locale>
#include <malloc.h>
#include <string>
#include <vector>

namespace {

using vexil_test::events;
using vexil_test::isRecording;
using vexil_test::optionsUntilFailure;
using vexil_test::record;

/// Replaces the transfer.
std::function<CURLcode()> onPerform;

}  // namespace

extern "C" {

CURLcode curl_easy_perform(CURL*) {
    record("perform");
    return onPerform();
}

void curl_easy_reset(CURL* handle) {
    static auto* const real = vexil_test::nextFunction<void(CURL*)>("curl_easy_reset");
    record("reset");
    real(handle);
}

}  // extern "C"

namespace {

using namespace vexil;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::StartsWith;
using vexil_test::bufferOf;
using vexil_test::FunctionSetup;
using vexil_test::LogCapture;
using vexil_test::sharedBufferOf;
using vexil_test::whatOf;
using Texts = std::vector<std::string>;

/// Makes protected members accessible.
class COpenClient : public CSMTPClient {
public:
    using CSMTPClient::CSMTPClient;
    using CSMTPClient::doInitialRequestInit;
    using CSMTPClient::initRequestForSendMail;
    using CSMTPClient::resetOptions;
};

const Texts idle = {"CONNECT_ONLY=0L", "FORBID_REUSE=0L", "UPLOAD=0L", "MAIL_FROM=''", "MAIL_RCPT=null"};
const Texts unverified = {"SSL_VERIFYPEER=0L", "SSL_VERIFYHOST=0L"};
const Texts verified = {"SSL_VERIFYPEER=1L", "SSL_VERIFYHOST=2L"};

Texts join(const std::vector<Texts>& pieces) {
    Texts all;
    for (const Texts& piece : pieces) {
        all.insert(all.end(), piece.begin(), piece.end());
    }
    return all;
}

CSMTPParams paramsOf(CSMTPParams::ConnectType type = CSMTPParams::ConnectUnencrypted,
                     const char* login = "") {
    return CSMTPParams("h", 25, type, login, "secret");
}

const TArray<String> recipients = {"b@x", "c@x"};

class SMTPClientOptionsTest : public testing::Test {
protected:
    SMTPClientOptionsTest() {
        events.clear();
        isRecording = true;
        optionsUntilFailure = -1;
        vexil_test::onRecord = [] {};
        onPerform = [] { return CURLE_OK; };
    }
    ~SMTPClientOptionsTest() override {
        isRecording = false;
        optionsUntilFailure = -1;
    }

    /// The options recorded since the last call, without those of making and resetting a request.
    static Texts recorded() {
        Texts texts;
        for (const auto& event : events) {
            texts.push_back(event.text);
            if (event.text == "DEBUGDATA=pointer") {
                texts.clear();
            }
            keepCallback(event);
        }
        events.clear();
        return texts;
    }

    static void keepCallback(const vexil_test::RecordedOption& event) {
        if (event.text == "READFUNCTION=function") {
            readFunction = reinterpret_cast<curl_read_callback>(const_cast<void*>(event.pointer));
        } else if (event.text == "READDATA=pointer") {
            readData = const_cast<void*>(event.pointer);
        }
    }

    /// The whole message as libcurl would read it.
    static std::string readAll() {
        std::string all;
        char block[100];
        while (const std::size_t count = readFunction(block, 1, sizeof(block), readData)) {
            if (count > sizeof(block)) {
                return "error";
            }
            all.append(block, count);
        }
        return all;
    }

    static curl_read_callback readFunction;
    static void* readData;
};

curl_read_callback SMTPClientOptionsTest::readFunction;
void* SMTPClientOptionsTest::readData;

// ---- the server's options --------------------------------------------------------------------------------

TEST_F(SMTPClientOptionsTest, AClientIsPreparedForItsServerAtOnce) {
    const auto optionsOf = [](const CSMTPParams& params) {
        const CSMTPClient client(params);
        return recorded();
    };
    EXPECT_THAT(optionsOf(paramsOf()), ElementsAreArray(join({{"URL='smtp://h:25'"}, unverified})));
    EXPECT_THAT(optionsOf(paramsOf(CSMTPParams::ConnectSSL)),
                ElementsAreArray(join({{"URL='smtps://h:25'"}, unverified})));
    EXPECT_THAT(optionsOf(paramsOf(CSMTPParams::ConnectStartTLS)),
                ElementsAreArray(join({{"URL='smtp://h:25'", "USE_SSL=3L"}, unverified})));
    const Texts login = {"USERNAME='n'", "PASSWORD='secret'"};
    EXPECT_THAT(optionsOf(paramsOf(CSMTPParams::ConnectUnencrypted, "n")),
                ElementsAreArray(join({{"URL='smtp://h:25'"}, login, unverified})));
    EXPECT_THAT(optionsOf(paramsOf(CSMTPParams::ConnectSSL, "n")),
                ElementsAreArray(join({{"URL='smtps://h:25'"}, login, unverified})));
    EXPECT_THAT(optionsOf(paramsOf(CSMTPParams::ConnectStartTLS, "n")),
                ElementsAreArray(join({{"URL='smtp://h:25'"}, login, {"USE_SSL=3L"}, unverified})));
    EXPECT_THAT(optionsOf(CSMTPParams()), ElementsAreArray(join({{"URL='smtp://:0'"}, unverified})))
        << "the port is always there";
}

TEST_F(SMTPClientOptionsTest, TheServersOptionsBeginWithAReset) {
    CNetRequest request;
    events.clear();
    COpenClient::doInitialRequestInit(request, paramsOf());
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.front().text, "reset");
    EXPECT_EQ(request.getURL(), "smtp://h:25");
}

TEST_F(SMTPClientOptionsTest, ACertificateIsCheckedOnlyWhereThatIsWanted) {
    CSMTPClient client(paramsOf());
    recorded();
    client.setVerifyCertificate(true);
    EXPECT_EQ(recorded(), verified);
    client.setVerifyCertificate(false);
    EXPECT_EQ(recorded(), unverified);
    client.setRootCertBundlePath(TPathImpl<CWindowsPathTraits>("ca.pem"));
    EXPECT_THAT(recorded(), ElementsAre("CAINFO='ca.pem'"));
}

TEST_F(SMTPClientOptionsTest, AMailBehindAChangeOfWhatIsCheckedTakesANewConnection) {
    CSMTPClient client(paramsOf());
    const Texts fresh = {"MAXCONNECTS=1L", "FRESH_CONNECT=1L"};
    const auto send = [&] { client.sendMail("a@x", {"b@x"}, bufferOf("m")); };
    const Texts mail =
        join({idle, {"CONNECT_ONLY=0L", "MAIL_FROM='a@x'", "UPLOAD=1L", "MAIL_RCPT=[b@x]", "perform"}, idle});
    send();
    recorded();
    const std::function<void()> changes[] = {
        [&] { client.setVerifyCertificate(true); },
        [&] { client.setRootCertBundlePath(TPathImpl<CWindowsPathTraits>("ca.pem")); },
        [&] { client.setRequestSetup(nullptr); },
    };
    for (const auto& change : changes) {
        change();
        const Texts texts = recorded();
        ASSERT_GE(texts.size(), 2u);
        EXPECT_EQ(Texts(texts.end() - 2, texts.end()), fresh);
        onPerform = [] { return CURLE_COULDNT_CONNECT; };
        EXPECT_THROW(send(), CCURLError);
        EXPECT_EQ(recorded(), mail) << "a mail that fails leaves the old connection where it is";
        onPerform = [] { return CURLE_OK; };
        client.testConnection();
        EXPECT_NE(recorded().back(), "FRESH_CONNECT=0L") << "as does a test, whose connection is not kept";
        send();
        EXPECT_EQ(recorded(), join({mail, {"FRESH_CONNECT=0L"}}));
        send();
        EXPECT_EQ(recorded(), mail);
    }
}

// ---- the hook --------------------------------------------------------------------------------------------

TEST_F(SMTPClientOptionsTest, AHookIsCalledAtOnceAndNeverAgain) {
    CSMTPClient client(paramsOf(CSMTPParams::ConnectStartTLS, "n"));
    events.clear();
    const P<FunctionSetup> hook = new FunctionSetup([](CNetRequest& request) {
        EXPECT_EQ(request.getURL(), "smtp://h:25");
        request.setOptionInt(CURLOPT_TIMEOUT_MS, 5);
    });
    client.setRequestSetup(hook);
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.front().text, "reset");
    EXPECT_THAT(recorded(), ElementsAreArray(join(
                                {{"URL='smtp://h:25'", "USERNAME='n'", "PASSWORD='secret'", "USE_SSL=3L"},
                                 unverified,
                                 {"TIMEOUT_MS=5L"}})));
    EXPECT_EQ(hook->calls, 1);
    client.sendMail("a@x", recipients, bufferOf("m"));
    client.testConnection();
    EXPECT_EQ(hook->calls, 1);
}

TEST_F(SMTPClientOptionsTest, AHookIsCalledBehindTheClientsOwnSettings) {
    CSMTPClient client(paramsOf());
    client.setVerifyCertificate(true);
    client.setRootCertBundlePath(TPathImpl<CWindowsPathTraits>("ca.pem"));
    recorded();
    client.setRequestSetup(
        new FunctionSetup([](CNetRequest& request) { request.setOptionInt(CURLOPT_TIMEOUT_MS, 5); }));
    EXPECT_THAT(recorded(),
                ElementsAreArray(join(
                    {{"URL='smtp://h:25'"}, unverified, verified, {"CAINFO='ca.pem'", "TIMEOUT_MS=5L"}})));
    client.setRequestSetup(nullptr);
    EXPECT_THAT(recorded(),
                ElementsAreArray(join({{"URL='smtp://h:25'"}, unverified, verified, {"CAINFO='ca.pem'"}})))
        << "the hook's settings are gone";
    client.setVerifyCertificate(false);
    recorded();
    client.setRequestSetup(nullptr);
    EXPECT_THAT(recorded(), ElementsAreArray(join({{"URL='smtp://h:25'"}, unverified, {"CAINFO='ca.pem'"}})));
}

TEST_F(SMTPClientOptionsTest, AHookMayNotReplaceWhatTheClientStandsOn) {
    const struct {
        const char* what;
        std::function<void(CNetRequest&)> work;
    } cases[] = {
        {"URL", [](CNetRequest& request) { request.setURL("smtp://other:25"); }},
        {"method", [](CNetRequest& request) { request.setHTTPMethod("POST"); }},
        {"header list", [](CNetRequest& request) { request.setCustomHTTPHeaders(new CNetHeaders); }},
        {"receive data sink", [](CNetRequest& request) { request.setReceiveDataStream(nullptr); }},
    };
    for (const auto& [what, work] : cases) {
        CSMTPClient client(paramsOf());
        EXPECT_EQ(whatOf([&] { client.setRequestSetup(new FunctionSetup(work)); }),
                  std::string("CSMTPClient::setRequestSetup: the set-up must not replace the ") + what);
        EXPECT_EQ(client.getRequest().getURL(), "smtp://h:25") << "no mail goes elsewhere afterwards";
        EXPECT_EQ(client.getRequest().getHTTPMethod(), "GET");
        EXPECT_FALSE(client.getRequest().getCustomHTTPHeaders());
        EXPECT_TRUE(client.getRequest().usesDefaultReceiveBuffer());
        recorded();
        client.setRequestSetup(nullptr);
        EXPECT_THAT(recorded(), ElementsAreArray(join({{"URL='smtp://h:25'"}, unverified})));
    }
}

TEST_F(SMTPClientOptionsTest, AHookThatFailsIsGone) {
    CSMTPClient client(paramsOf());
    client.setVerifyCertificate(true);
    EXPECT_EQ(whatOf([&] {
                  client.setRequestSetup(new FunctionSetup([](CNetRequest& request) {
                      request.setOptionInt(CURLOPT_TIMEOUT_MS, 5);
                      throw CError("no");
                  }));
              }),
              "no");
    EXPECT_THAT(recorded(), ElementsAreArray(join({{"URL='smtp://h:25'"}, unverified, verified})));
}

// ---- mails -----------------------------------------------------------------------------------------------

const Texts armed = {"CONNECT_ONLY=0L", "MAIL_FROM='a@x'", "UPLOAD=1L", "MAIL_RCPT=[b@x|c@x]"};

TEST_F(SMTPClientOptionsTest, AMailsOptionsAreSetBeforeAndTakenBackBehindIt) {
    for (const auto type :
         {CSMTPParams::ConnectUnencrypted, CSMTPParams::ConnectSSL, CSMTPParams::ConnectStartTLS}) {
        CSMTPClient client(paramsOf(type));
        recorded();
        std::string read;
        onPerform = [&] {
            read = readAll();
            return CURLE_OK;
        };
        client.sendMail("a@x", recipients, bufferOf("message"));
        EXPECT_EQ(read, "message");
        // Connections that STARTTLS secures are kept separately.
        const Texts transfer =
            type == CSMTPParams::ConnectStartTLS ? Texts{"SHARE=pointer", "perform"} : Texts{"perform"};
        EXPECT_THAT(recorded(), ElementsAreArray(join({idle, armed, transfer, idle})));
        EXPECT_EQ(readAll(), "") << "an empty stream is attached again";
    }
}

TEST_F(SMTPClientOptionsTest, AFailedMailsOptionsAreTakenBackToo) {
    CSMTPClient client(paramsOf());
    recorded();
    onPerform = [] { return CURLE_SEND_ERROR; };
    try {
        client.sendMail("a@x", recipients, bufferOf("message"));
        ADD_FAILURE() << "nothing was thrown";
    } catch (const CCURLError& error) {
        EXPECT_EQ(error.getCode(), CURLE_SEND_ERROR);
        EXPECT_EQ(error.getResponseCodeDomain(), "smtp");
    }
    EXPECT_THAT(recorded(), ElementsAreArray(join({idle, armed, {"perform"}, idle})));
    EXPECT_EQ(readAll(), "");
}

TEST_F(SMTPClientOptionsTest, AMailsBytesAreCopied) {
    CSMTPClient client(paramsOf());
    recorded();
    auto message = bufferOf("message");
    std::string read;
    onPerform = [&] {
        message.getData()[0] = 'X';
        read = readAll();
        return CURLE_OK;
    };
    client.sendMail("a@x", recipients, message);
    EXPECT_EQ(read, "message");
}

TEST_F(SMTPClientOptionsTest, AMIMEMessageIsSentAsItIsStored) {
    CSMTPClient client(paramsOf());
    recorded();
    std::string read;
    onPerform = [&] {
        read = readAll();
        return CURLE_OK;
    };
    CMimeMessage message("");
    message.getHeaders()["Subject"] = "s";
    message.setTextBody("text");
    client.sendMail("a@x", recipients, message);
    EXPECT_EQ(read, "Content-Type: text/plain; charset=utf-8\r\nMIME-Version: 1.0\r\nSubject: s\r\n\r\ntext");
    EXPECT_THAT(recorded(), ElementsAreArray(join({idle, armed, {"perform"}, idle})));
}

TEST_F(SMTPClientOptionsTest, AMIMEMessageThatCannotBeStoredIsNotSent) {
    CSMTPClient client(paramsOf());
    recorded();
    CMimeMessage message("");
    message.getHeaders()["Subject"] = "s\r\nBcc: d@x";
    EXPECT_THAT(whatOf([&] { client.sendMail("a@x", recipients, message); }),
                StartsWith("CMimeMessage::storeHeader: "));
    EXPECT_THAT(recorded(), IsEmpty());
}

TEST_F(SMTPClientOptionsTest, ATestConnectsOnlyAndHangsUp) {
    for (const auto result : {CURLE_OK, CURLE_LOGIN_DENIED}) {
        CSMTPClient client(paramsOf());
        recorded();
        onPerform = [result] { return result; };
        EXPECT_EQ(whatOf([&] { client.testConnection(); }) == "no error", result == CURLE_OK);
        EXPECT_THAT(recorded(),
                    ElementsAreArray(
                        join({idle, {"CONNECT_ONLY=1L", "FORBID_REUSE=1L", "UPLOAD=0L", "perform"}, idle})));
    }
}

TEST_F(SMTPClientOptionsTest, ARequestOfTheCallersIsPreparedAlike) {
    for (const auto type :
         {CSMTPParams::ConnectUnencrypted, CSMTPParams::ConnectSSL, CSMTPParams::ConnectStartTLS}) {
        Texts server = {type == CSMTPParams::ConnectSSL ? "URL='smtps://h:25'" : "URL='smtp://h:25'",
                        "USERNAME='n'", "PASSWORD='secret'"};
        if (type == CSMTPParams::ConnectStartTLS) {
            server.emplace_back("USE_SSL=3L");
        }
        CNetRequest request;
        events.clear();
        const auto bytes = sharedBufferOf("message");
        const P<zet::CBufferStream> stream = new zet::CBufferStream(bytes);
        CSMTPClient::makeSendMailRequest(request, paramsOf(type, "n"), "a@x", recipients, stream);
        ASSERT_FALSE(events.empty());
        EXPECT_EQ(events.front().text, "reset");
        EXPECT_THAT(recorded(), ElementsAreArray(join({server, unverified, idle, armed})));
        EXPECT_EQ(readAll(), "message");
    }
}

TEST_F(SMTPClientOptionsTest, AMailMayHaveNoSender) {
    CSMTPClient client(paramsOf());
    recorded();
    client.sendMail("", {"b@x"}, bufferOf("m"));
    EXPECT_THAT(
        recorded(),
        ElementsAreArray(join(
            {idle, {"CONNECT_ONLY=0L", "MAIL_FROM=''", "UPLOAD=1L", "MAIL_RCPT=[b@x]", "perform"}, idle})));
}

int linesBeforeTheFirstOption = -1;
const LogCapture* runningLog = nullptr;

TEST_F(SMTPClientOptionsTest, AMailToNobodyIsSentWithAWarning) {
    CSMTPClient client(paramsOf());
    recorded();
    const LogCapture log;
    runningLog = &log;
    vexil_test::onRecord = [] {
        if (events.empty()) {
            linesBeforeTheFirstOption = static_cast<int>(runningLog->lines().size());
        }
    };
    client.sendMail("a@x", {}, bufferOf("m"));
    EXPECT_THAT(
        recorded(),
        ElementsAreArray(join(
            {idle, {"CONNECT_ONLY=0L", "MAIL_FROM='a@x'", "UPLOAD=1L", "MAIL_RCPT=null", "perform"}, idle})));
    EXPECT_THAT(log.lines(), ElementsAre("W: A mail without recipients is sent to nobody."));
    EXPECT_EQ(linesBeforeTheFirstOption, 1);
    const auto bytes = sharedBufferOf("m");
    CNetRequest request;
    CSMTPClient::makeSendMailRequest(request, paramsOf(), "a@x", {}, new zet::CBufferStream(bytes));
    EXPECT_EQ(log.lines().size(), 2u);
}

TEST_F(SMTPClientOptionsTest, AMIMEMessageToNobodyIsRefused) {
    CSMTPClient client(paramsOf());
    recorded();
    const LogCapture log;
    EXPECT_EQ(whatOf([&] { client.sendMail("a@x", {}, CMimeMessage("")); }),
              "CSMTPClient::sendMail: recipients must not be empty");
    EXPECT_THAT(recorded(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

// ---- what would begin another command --------------------------------------------------------------------

const wchar_t lineEnds[] = {L'\r', L'\n', L'\0'};

String with(wchar_t c) {
    return String(std::wstring(L"a@x") + c + L"RSET");
}

TEST_F(SMTPClientOptionsTest, AddressesCannotBeginACommand) {
    CSMTPClient client(paramsOf());
    CNetRequest request;
    recorded();
    const auto bytes = sharedBufferOf("m");
    const P<zet::CBufferStream> stream = new zet::CBufferStream(bytes);
    const std::string place = "CSMTPClient::initRequestForSendMail: ";
    for (const wchar_t c : lineEnds) {
        const auto refusals = [&](const String& from, const TArray<String>& to) {
            return Texts{whatOf([&] { client.sendMail(from, to, *bytes); }),
                         whatOf([&] { client.sendMail(from, to, CMimeMessage("")); }),
                         whatOf([&] { COpenClient::initRequestForSendMail(request, from, to, stream); })};
        };
        EXPECT_EQ(refusals(with(c), recipients), Texts(3, place + "sender must not contain CR, LF or NUL"));
        EXPECT_EQ(refusals("a@x", {"b@x", with(c)}),
                  Texts(3, place + "recipient must not contain CR, LF or NUL"));
        EXPECT_THAT(recorded(), IsEmpty()) << "before the first option";
        EXPECT_EQ(whatOf([&] {
                      CSMTPClient::makeSendMailRequest(request, paramsOf(), with(c), recipients, stream);
                  }),
                  place + "sender must not contain CR, LF or NUL");
        recorded();
    }
}

TEST_F(SMTPClientOptionsTest, AddressesCannotAddParameters) {
    CSMTPClient client(paramsOf());
    recorded();
    const std::string place = "CSMTPClient::initRequestForSendMail: ";
    for (const char* const address :
         {"a@x> SIZE=1", "a@x>SIZE=1", "a@x SIZE=1", "<a@x> SIZE=1", "a@x>,<b@x", "Jo <a@x>", " a@x", "a@x ",
          "a\tb@x", "a\x7F@x", "\"a\"b> \"@x", "\"a@x", "\"a\\\"> b@x", "<<a@x>>", "<"}) {
        const std::string error = std::string(" is not an address: '") + address + "'";
        EXPECT_EQ(whatOf([&] { client.sendMail(address, recipients, bufferOf("m")); }),
                  place + "sender" + error);
        EXPECT_EQ(whatOf([&] {
                      client.sendMail("a@x", {"b@x", address}, bufferOf("m"));
                  }),
                  place + "recipient" + error);
    }
    EXPECT_EQ(whatOf([&] { client.sendMail("a@x", {""}, bufferOf("m")); }), place + "recipient is empty");
    EXPECT_THAT(recorded(), IsEmpty()) << "before the first option";
    for (const char* const address :
         {"a@x", "<a@x>", "\"a> b\"@x", "<\"a\\\"> b\"@x>", "postmaster", "ä@x"}) {
        EXPECT_EQ(whatOf([&] { client.sendMail(address, {address}, bufferOf("m")); }), "no error") << address;
    }
}

TEST_F(SMTPClientOptionsTest, ServerAndLoginCannotBeginACommand) {
    CNetRequest request;
    recorded();
    const std::string place = "CSMTPClient::doInitialRequestInit: ";
    for (const wchar_t c : lineEnds) {
        const auto refusal = [&](const String& host, const String& name, const String& password) {
            const CSMTPParams params(host, 25, CSMTPParams::ConnectUnencrypted, name, password);
            const std::string what = whatOf([&] { COpenClient::doInitialRequestInit(request, params); });
            EXPECT_THAT(recorded(), IsEmpty()) << "before the first option";
            EXPECT_EQ(whatOf([&] { const CSMTPClient client(params); }), what);
            EXPECT_THAT(recorded(), ElementsAre("reset")) << "that of the request's end";
            return what;
        };
        EXPECT_EQ(refusal(with(c), "n", "p"), place + "host must not contain CR, LF or NUL");
        EXPECT_EQ(refusal("h", with(c), "p"), place + "login name must not contain CR, LF or NUL");
        EXPECT_EQ(refusal("h", "n", with(c)), place + "login password must not contain CR, LF or NUL");
    }
}

TEST_F(SMTPClientOptionsTest, AMailNeedsAMessage) {
    CNetRequest request;
    recorded();
    EXPECT_EQ(whatOf([&] { COpenClient::initRequestForSendMail(request, "a@x", recipients, nullptr); }),
              "CSMTPClient::initRequestForSendMail: message must not be null");
    EXPECT_THAT(recorded(), IsEmpty());
}

// ---- failures and lifetimes ------------------------------------------------------------------------------

TEST_F(SMTPClientOptionsTest, AFailureToTakeOptionsBackDoesNotHideTheFirstError) {
    for (std::size_t i = 0; i < idle.size(); ++i) {
        CSMTPClient client(paramsOf());
        recorded();
        const LogCapture log;
        onPerform = [i] {
            optionsUntilFailure = static_cast<int>(i);
            return CURLE_SEND_ERROR;
        };
        try {
            client.sendMail("a@x", recipients, bufferOf("m"));
            ADD_FAILURE() << "nothing was thrown";
        } catch (const CCURLError& error) {
            EXPECT_EQ(error.getCode(), CURLE_SEND_ERROR);
        }
        ASSERT_EQ(log.lines().size(), 1u);
        EXPECT_THAT(log.lines()[0], StartsWith("W: The options of a failed mail could not be taken back. ["));
        const Texts texts = recorded();
        EXPECT_EQ(texts.back(), idle[i].substr(0, idle[i].find('=')) + " fails");
        onPerform = [] { return CURLE_OK; };
        client.sendMail("a@x", recipients, bufferOf("m"));
        EXPECT_THAT(recorded(), ElementsAreArray(join({idle, armed, {"perform"}, idle})))
            << "a later mail starts clean";
    }
}

TEST_F(SMTPClientOptionsTest, AFailureToTakeOptionsBackBehindASuccessIsAnError) {
    CSMTPClient client(paramsOf());
    onPerform = [] {
        optionsUntilFailure = 0;
        return CURLE_OK;
    };
    EXPECT_THROW(client.testConnection(), CCURLError);
}

TEST_F(SMTPClientOptionsTest, OnlyTheLastRecipientListIsKept) {
    CSMTPClient client(paramsOf());
    isRecording = false;
    const auto message = bufferOf("m");
    const auto send = [&](int count) {
        for (int i = 0; i < count; ++i) {
            client.sendMail("a@x", recipients, message);
        }
    };
    send(100);
    const std::size_t before = mallinfo2().uordblks;
    send(10000);
    EXPECT_LT(mallinfo2().uordblks, before + 20000) << "not even two bytes a mail";
}

// ---- dates -----------------------------------------------------------------------------------------------

class SMTPDateTest : public testing::Test {
protected:
    static zet::CTimeFields fieldsOf(int year, int month, int day) {
        zet::CTimeFields fields;
        fields.setDate(year, month, day);
        fields.setTime(7, 5, 9);
        return fields;
    }
    static std::string dateOf(const zet::CTimeFields& fields) {
        return CSMTPClient::getDateHeaderString(fields).toUTF8();
    }
};

TEST_F(SMTPDateTest, HasItsTimeZone) {
    auto fields = fieldsOf(2020, 3, 3);
    EXPECT_EQ(dateOf(fields), "Tue, 3 Mar 2020 07:05:09 +0000") << "none is known";
    fields.setTimeZone(60);
    EXPECT_EQ(dateOf(fields), "Tue, 3 Mar 2020 07:05:09 +0100");
    fields.setTimeZone(-210);
    EXPECT_EQ(dateOf(fields), "Tue, 3 Mar 2020 07:05:09 -0330");
    fields.setTimeZone(0);
    EXPECT_EQ(dateOf(fields), "Tue, 3 Mar 2020 07:05:09 +0000");
}

TEST_F(SMTPDateTest, NamesDaysAndMonthsInEnglish) {
    const char* const days[] = {"Sun, 1", "Mon, 2", "Tue, 3", "Wed, 4", "Thu, 5", "Fri, 6", "Sat, 7"};
    for (int day = 1; day <= 7; ++day) {
        EXPECT_EQ(dateOf(fieldsOf(2020, 3, day)), days[day - 1] + std::string(" Mar 2020 07:05:09 +0000"));
    }
    const char* const months[] = {"Wed, 15 Jan", "Sat, 15 Feb", "Sun, 15 Mar", "Wed, 15 Apr",
                                  "Fri, 15 May", "Mon, 15 Jun", "Wed, 15 Jul", "Sat, 15 Aug",
                                  "Tue, 15 Sep", "Thu, 15 Oct", "Sun, 15 Nov", "Tue, 15 Dec"};
    for (int month = 1; month <= 12; ++month) {
        EXPECT_EQ(dateOf(fieldsOf(2020, month, 15)), months[month - 1] + std::string(" 2020 07:05:09 +0000"));
    }
}

TEST_F(SMTPDateTest, PadsAllButTheDay) {
    auto fields = fieldsOf(33, 1, 1);
    fields.setTime(0, 0, 0);
    EXPECT_EQ(dateOf(fields), "Sat, 1 Jan 0033 00:00:00 +0000");
    fields = fieldsOf(9999, 12, 31);
    fields.setTime(23, 59, 59);
    EXPECT_EQ(dateOf(fields), "Fri, 31 Dec 9999 23:59:59 +0000");
}

TEST_F(SMTPDateTest, IsThatOfATime) {
    EXPECT_EQ(dateOf(zet::CTimeFields(fieldsOf(2020, 2, 29).toTime())), "Sat, 29 Feb 2020 07:05:09 +0000");
}

TEST_F(SMTPDateTest, FieldsThatAreNoDateAreAnError) {
    for (const auto& fields :
         {fieldsOf(2020, 13, 1), fieldsOf(2020, 0, 1), fieldsOf(2021, 2, 29), fieldsOf(2020, 1, 0)}) {
        EXPECT_EQ(whatOf([&] { dateOf(fields); }), "Invalid date/time fields.");
    }
}

struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\1"; }
};
struct WideGrouping : std::numpunct<wchar_t> {
    wchar_t do_thousands_sep() const override { return L'.'; }
    std::string do_grouping() const override { return "\1"; }
};

TEST_F(SMTPDateTest, DoesNotDependOnTheLocale) {
    const std::string previous = std::setlocale(LC_ALL, nullptr);
    const std::locale grouping(std::locale(std::locale::classic(), new Grouping), new WideGrouping);
    const std::locale previousGlobal = std::locale::global(grouping);
    // Those of the zones that this machine has.
    std::setlocale(LC_ALL, "C.UTF-8");
    std::setlocale(LC_ALL, "de_DE.UTF-8");
    EXPECT_EQ(dateOf(fieldsOf(2020, 3, 31)), "Tue, 31 Mar 2020 07:05:09 +0000");
    std::locale::global(previousGlobal);
    std::setlocale(LC_ALL, previous.c_str());
}

}  // namespace
