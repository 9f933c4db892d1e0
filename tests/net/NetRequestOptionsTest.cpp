// Every call of libcurl that configures a request, in order, with its C type and value. This program defines
// the functions itself, records the calls and forwards them.
#include "tests/net/NetRequestTestSupport.h"
#include "tests/support/OptionRecorder.h"

#include <cstdlib>
#include <new>

#undef curl_easy_getinfo

namespace {

using vexil_test::events;
using vexil_test::isRecording;
using vexil_test::nextFunction;
using vexil_test::optionsUntilFailure;
using vexil_test::record;

bool initFails = false;
bool escapeFails = false;
bool getInfoFails = false;
bool listFails = false;

/// Which of the next allocations of this thread fails, from 1; 0 for none.
thread_local int t_failingAllocation = 0;

/// The number of living lists, now and when an option was last recorded.
int livingLists = 0;
int livingListsAtOption = 0;

template <class List>
struct Counted : List {
    Counted() { ++livingLists; }
    ~Counted() override { --livingLists; }
};

}  // namespace

// These replace those of the C++ library, also in the library under test.
void* operator new(std::size_t size) {
    const bool fails = t_failingAllocation > 0 && --t_failingAllocation == 0;
    void* const memory = fails ? nullptr : std::malloc(size);
    if (!memory) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

extern "C" {

CURLcode curl_easy_getinfo(CURL* handle, CURLINFO info, ...) {
    static auto* const real = nextFunction<CURLcode(CURL*, CURLINFO, ...)>("curl_easy_getinfo");
    va_list arguments;
    va_start(arguments, info);
    void* const target = va_arg(arguments, void*);
    va_end(arguments);
    return getInfoFails ? CURLE_BAD_FUNCTION_ARGUMENT : real(handle, info, target);
}

CURL* curl_easy_init() {
    static auto* const real = nextFunction<CURL*()>("curl_easy_init");
    record("init");
    return initFails ? nullptr : real();
}

void curl_easy_reset(CURL* handle) {
    static auto* const real = nextFunction<void(CURL*)>("curl_easy_reset");
    record("reset");
    real(handle);
}

void curl_easy_cleanup(CURL* handle) {
    static auto* const real = nextFunction<void(CURL*)>("curl_easy_cleanup");
    record("cleanup");
    real(handle);
}

curl_slist* curl_slist_append(curl_slist* list, const char* text) {
    static auto* const real = nextFunction<curl_slist*(curl_slist*, const char*)>("curl_slist_append");
    return listFails ? nullptr : real(list, text);
}

char* curl_easy_escape(CURL* handle, const char* text, int length) {
    static auto* const real = nextFunction<char*(CURL*, const char*, int)>("curl_easy_escape");
    return escapeFails ? nullptr : real(handle, text, length);
}

}  // extern "C"

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using vexil::CNetHeaders;
using vexil::CNetStringList;
using vexil::TBuffer;
using zet::CTimeSpan;

const std::vector<std::string> defaultOptions = {"ERRORBUFFER=pointer",
                                                 "WRITEFUNCTION=function",
                                                 "WRITEDATA=request",
                                                 "READFUNCTION=function",
                                                 "READDATA=request",
                                                 "SEEKFUNCTION=function",
                                                 "SEEKDATA=request",
                                                 "HEADERFUNCTION=function",
                                                 "HEADERDATA=request",
                                                 "FOLLOWLOCATION=1L",
                                                 "NOSIGNAL=1L",
                                                 "CONNECTTIMEOUT_MS=30000L",
                                                 "LOW_SPEED_LIMIT=1L",
                                                 "LOW_SPEED_TIME=60L",
                                                 "DEBUGFUNCTION=function",
                                                 "DEBUGDATA=request"};

std::vector<std::string> withDefaults(std::vector<std::string> before) {
    before.insert(before.end(), defaultOptions.begin(), defaultOptions.end());
    return before;
}

class NetRequestOptionsTest : public testing::Test {
protected:
    NetRequestOptionsTest() {
        events.clear();
        isRecording = true;
    }
    ~NetRequestOptionsTest() override {
        isRecording = initFails = escapeFails = getInfoFails = false;
        optionsUntilFailure = -1;
    }

    void makeRequest() {
        request = new OpenRequest;
        events.clear();
    }

    /// The records since the last call, with a name instead of the request's address.
    std::vector<std::string> recorded() {
        std::vector<std::string> texts;
        for (vexil_test::RecordedOption& event : events) {
            if (event.pointer && event.pointer == static_cast<CNetRequest*>(request.get())) {
                event.text.replace(event.text.find('=') + 1, std::string::npos, "request");
            }
            texts.push_back(event.text);
        }
        events.clear();
        return texts;
    }

    P<OpenRequest> request;
};

TEST_F(NetRequestOptionsTest, ANewRequestSetsTheDefaultsInTheirOrder) {
    request = new OpenRequest;
    EXPECT_THAT(recorded(), ElementsAreArray(withDefaults({"init"})));
    request->setDefaultOptions();
    EXPECT_THAT(recorded(), ElementsAreArray(defaultOptions));
}

TEST_F(NetRequestOptionsTest, ADefaultThatFailsIsAnErrorAndFreesTheHandle) {
    for (std::size_t i = 0; i < defaultOptions.size(); ++i) {
        optionsUntilFailure = static_cast<int>(i);
        const auto error = thrownBy<CCURLError>([] { P<CNetRequest>(new CNetRequest); });
        ASSERT_TRUE(error) << defaultOptions[i];
        EXPECT_EQ(error->getDomain(), "curl");
        EXPECT_EQ(error->getCode(), CURLE_OUT_OF_MEMORY);
        EXPECT_EQ(error->getResponseCode(), -1);
        EXPECT_EQ(error->getResponseCodeDomain(), "");
        EXPECT_EQ(error->getMessage(), "Out of memory");
        EXPECT_THAT(propsOf(*error), IsEmpty());
        const auto texts = recorded();
        EXPECT_EQ(texts.back(), "cleanup");
        EXPECT_EQ(texts[texts.size() - 2],
                  defaultOptions[i].substr(0, defaultOptions[i].find('=')) + " fails");
    }
}

TEST_F(NetRequestOptionsTest, WithoutAHandleThereIsNoRequest) {
    initFails = true;
    const auto error = thrownBy<CError>([] { P<CNetRequest>(new CNetRequest); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getMessage(), "Error creating curl easy handle.");
    EXPECT_EQ(error->getDomain(), "");
    EXPECT_EQ(error->getCode(), -1);
    EXPECT_TRUE(error->getProps().isEmpty());
    EXPECT_THAT(recorded(), ElementsAre("init"));
}

TEST_F(NetRequestOptionsTest, TheEndOfARequestResetsItsHandleFirst) {
    makeRequest();
    request = nullptr;
    EXPECT_THAT(recorded(), ElementsAre("reset", "cleanup"));
}

TEST_F(NetRequestOptionsTest, AFailingEscapeIsAnError) {
    makeRequest();
    escapeFails = true;
    const auto error = thrownBy<CError>([&] { (void)request->urlEscape("a b"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getMessage(), "Error URL-escaping a string.");
    EXPECT_EQ(error->getDomain(), "");
    EXPECT_EQ(error->getCode(), -1);
}

TEST_F(NetRequestOptionsTest, AFailingFigureIsAnErrorWithoutAResponse) {
    makeRequest();
    getInfoFails = true;
    const auto check = [&](auto call) {
        const auto error = thrownBy<CCURLError>(call);
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getCode(), CURLE_BAD_FUNCTION_ARGUMENT);
        EXPECT_EQ(error->getResponseCode(), -1);
        EXPECT_EQ(error->getResponseCodeDomain(), "");
    };
    check([&] { request->getResponseCode(); });
    check([&] { request->getInfoLong(CURLINFO_RESPONSE_CODE); });
    check([&] { request->getInfoDouble(CURLINFO_TOTAL_TIME); });
    check([&] { request->getDownloadedBytes(); });
    check([&] { request->getUploadedBytes(); });
    check([&] { request->getDownloadSize(); });
    check([&] { request->getUploadSize(); });
    check([&] { request->getAvgDownloadSpeed(); });
    check([&] { request->getAvgUploadSpeed(); });
    check([&] { request->getInfoInt64(CURLINFO_SIZE_DOWNLOAD_T); });
}

// ---- the setters -----------------------------------------------------------------------------------------

/// A call and the options that it sets.
struct Setter {
    std::string name;
    std::function<void(CNetRequest&)> call;
    std::vector<std::string> expected;
};

std::vector<Setter> setters() {
    constexpr int64 large = 0x7edcba9876543210;
    const P<CNetHeaders> headers = new CNetHeaders;
    headers->add("A", "b");
    headers->add("C", "d");
    const P<CNetStringList> commands = new CNetStringList;
    commands->add("NOOP");
    commands->add("SYST");
    const P<TBuffer<unsigned char>> buffer = new TBuffer<unsigned char>(1234);
    const auto ms = [](int64 count) { return CTimeSpan::fromMilliseconds(count); };
    const auto us = [](int64 count) { return CTimeSpan::fromMicroseconds(count); };
    using R = CNetRequest;
    return {
        {"URL", [](R& r) { r.setURL("http://h/\xc3\xbc"); }, {"URL='http://h/\xc3\xbc'"}},
        {"UploadOn", [](R& r) { r.setUpload(true); }, {"UPLOAD=1L"}},
        {"UploadOff", [](R& r) { r.setUpload(false); }, {"UPLOAD=0L"}},
        {"SendDataSize", [](R& r) { r.setSendDataSize(large); }, {"INFILESIZE_LARGE=9141386507638288912OFF"}},
        {"SendDataSizeUnknown", [](R& r) { r.setSendDataSize(-1); }, {"INFILESIZE_LARGE=-1OFF"}},
        {"Headers", [=](R& r) { r.setCustomHTTPHeaders(headers); }, {"HTTPHEADER=[A: b|C: d]"}},
        {"NoHeaders", [](R& r) { r.setCustomHTTPHeaders(nullptr); }, {"HTTPHEADER=null"}},
        {"Follow", [](R& r) { r.setFollowRedirects(true); }, {"FOLLOWLOCATION=1L"}},
        {"NoFollow", [](R& r) { r.setFollowRedirects(false); }, {"FOLLOWLOCATION=0L"}},
        {"RedirectProtocols",
         [](R& r) { r.setRedirectProtocols("http,https"); },
         {"REDIR_PROTOCOLS_STR='http,https'"}},
        {"MaxRedirects", [](R& r) { r.setMaxRedirects(20); }, {"MAXREDIRS=20L"}},
        {"NoMaxRedirects", [](R& r) { r.setMaxRedirects(-1); }, {"MAXREDIRS=-1L"}},
        {"KeepPost", [](R& r) { r.setKeepPostOnRedirect(true); }, {"POSTREDIR=7L"}},
        {"NoKeepPost", [](R& r) { r.setKeepPostOnRedirect(false); }, {"POSTREDIR=0L"}},
        {"Auth", [](R& r) { r.setHTTPAuthMethods(CURLAUTH_BASIC | CURLAUTH_DIGEST); }, {"HTTPAUTH=3L"}},
        {"AuthAllBits", [](R& r) { r.setHTTPAuthMethods(0xffffffefu); }, {"HTTPAUTH=4294967279L"}},
        {"User", [](R& r) { r.setUserName("u\xc3\xbc"); }, {"USERNAME='u\xc3\xbc'"}},
        {"Password", [](R& r) { r.setUserPassword("p\xe2\x82\xac"); }, {"PASSWORD='p\xe2\x82\xac'"}},
        {"Proxy", [](R& r) { r.setProxy("h:1"); }, {"PROXY='h:1'"}},
        {"NoProxy", [](R& r) { r.setProxy(""); }, {"PROXY=''"}},
        {"ConnectTimeout", [=](R& r) { r.setConnectTimeout(us(1999)); }, {"CONNECTTIMEOUT_MS=1L"}},
        {"ConnectTimeoutNegative", [=](R& r) { r.setConnectTimeout(us(-999)); }, {"CONNECTTIMEOUT_MS=0L"}},
        {"ConnectTimeoutNone", [](R& r) { r.setConnectTimeout(CTimeSpan()); }, {"CONNECTTIMEOUT_MS=0L"}},
        {"ConnectTimeoutLargest",
         [=](R& r) { r.setConnectTimeout(ms(2147483647)); },
         {"CONNECTTIMEOUT_MS=2147483647L"}},
        {"ConnectTimeoutWraps",
         [=](R& r) { r.setConnectTimeout(ms((int64(1) << 32) + 5)); },
         {"CONNECTTIMEOUT_MS=5L"}},
        {"FullTimeout", [=](R& r) { r.setFullRequestTimeout(us(2500999)); }, {"TIMEOUT_MS=2500L"}},
        {"FullTimeoutNone",
         [=](R& r) { r.setFullRequestTimeout(us(std::numeric_limits<int64>::min())); },
         {"TIMEOUT_MS=0L"}},
        {"LowSpeed",
         [=](R& r) { r.setLowSpeedLimit(7, ms(3000)); },
         {"LOW_SPEED_LIMIT=7L", "LOW_SPEED_TIME=3L"}},
        {"LowSpeedRoundsUp",
         [=](R& r) { r.setLowSpeedLimit(0, us(3000001)); },
         {"LOW_SPEED_LIMIT=0L", "LOW_SPEED_TIME=4L"}},
        {"LowSpeedLess",
         [=](R& r) { r.setLowSpeedLimit(1, us(1)); },
         {"LOW_SPEED_LIMIT=1L", "LOW_SPEED_TIME=1L"}},
        {"LowSpeedForMoreThanLibcurlTakes",
         [=](R& r) { r.setLowSpeedLimit(1, us(2147483647000001)); },
         {"LOW_SPEED_LIMIT=1L", "LOW_SPEED_TIME=2147483647L"}},
        {"LowSpeedForEver",
         [=](R& r) { r.setLowSpeedLimit(1, us(std::numeric_limits<int64>::max())); },
         {"LOW_SPEED_LIMIT=1L", "LOW_SPEED_TIME=2147483647L"}},
        {"VerifyCertificate",
         [](R& r) { r.setVerifyCertificate(true); },
         {"SSL_VERIFYPEER=1L", "SSL_VERIFYHOST=2L"}},
        {"NoVerifyCertificate",
         [](R& r) { r.setVerifyCertificate(false); },
         {"SSL_VERIFYPEER=0L", "SSL_VERIFYHOST=0L"}},
        {"Verify", [](R& r) { r.setSSLVerifyPeer(true); }, {"SSL_VERIFYPEER=1L"}},
        {"NoVerify", [](R& r) { r.setSSLVerifyPeer(false); }, {"SSL_VERIFYPEER=0L"}},
        {"Bundle",
         [](R& r) {
             r.setRootCertBundlePath(vexil::TPathImpl<vexil::CWindowsPathTraits>("/a/\xc3\xbc.crt"));
         },
         {"CAINFO='/a/\xc3\xbc.crt'"}},
        {"TLSAtMost1_0", [](R& r) { r.setMaxTLSVersion(vexil::TLSVersion1_0); }, {"SSLVERSION=262144L"}},
        {"TLSAtMost1_1", [](R& r) { r.setMaxTLSVersion(vexil::TLSVersion1_1); }, {"SSLVERSION=327680L"}},
        {"TLSAtMost1_2", [](R& r) { r.setMaxTLSVersion(vexil::TLSVersion1_2); }, {"SSLVERSION=393216L"}},
        {"TLSAtMost1_3", [](R& r) { r.setMaxTLSVersion(vexil::TLSVersion1_3); }, {"SSLVERSION=458752L"}},
        {"TLSOfLibcurl", [](R& r) { r.setMaxTLSVersion(vexil::TLSVersionDefault); }, {"SSLVERSION=0L"}},
        {"Range", [](R& r) { r.setRange(0, 10); }, {"RANGE='0-9'"}},
        {"RangeOpen", [](R& r) { r.setRange(100, -1); }, {"RANGE='100-'"}},
        {"RangeOfOne", [](R& r) { r.setRange(5, 1); }, {"RANGE='5-5'"}},
        {"RangeOfNone", [](R& r) { r.setRange(5, 0); }, {"RANGE='5-4'"}},
        {"RangeLarge",
         [](R& r) { r.setRange(int64(1) << 40, int64(1) << 40); },
         {"RANGE='1099511627776-2199023255551'"}},
        {"RangeLargest",
         [](R& r) { r.setRange(1, std::numeric_limits<int64>::max()); },
         {"RANGE='1-9223372036854775807'"}},
        {"UseSSL", [](R& r) { r.setFTPUseSSL(CURLUSESSL_ALL); }, {"USE_SSL=3L"}},
        {"FileMethod", [](R& r) { r.setFTPFileMethod(CURLFTPMETHOD_SINGLECWD); }, {"FTP_FILEMETHOD=3L"}},
        {"CreateDirs", [](R& r) { r.setFTPCreateMissingDirs(2); }, {"FTP_CREATE_MISSING_DIRS=2L"}},
        {"NeverTLS", [](R& r) { r.setFTPUseSSL(vexil::TLSUpgrade::Never); }, {"USE_SSL=0L"}},
        {"OfferedTLS", [](R& r) { r.setFTPUseSSL(vexil::TLSUpgrade::IfOffered); }, {"USE_SSL=1L"}},
        {"ControlTLS", [](R& r) { r.setFTPUseSSL(vexil::TLSUpgrade::ControlConnection); }, {"USE_SSL=2L"}},
        {"RequiredTLS", [](R& r) { r.setFTPUseSSL(vexil::TLSUpgrade::Required); }, {"USE_SSL=3L"}},
        {"DefaultCWD",
         [](R& r) { r.setFTPFileMethod(vexil::FTPFileMethod::Default); },
         {"FTP_FILEMETHOD=0L"}},
        {"MultipleCWD",
         [](R& r) { r.setFTPFileMethod(vexil::FTPFileMethod::MultipleCWD); },
         {"FTP_FILEMETHOD=1L"}},
        {"NoCWD", [](R& r) { r.setFTPFileMethod(vexil::FTPFileMethod::NoCWD); }, {"FTP_FILEMETHOD=2L"}},
        {"SingleCWD",
         [](R& r) { r.setFTPFileMethod(vexil::FTPFileMethod::SingleCWD); },
         {"FTP_FILEMETHOD=3L"}},
        {"FailWithoutDirs",
         [](R& r) { r.setFTPCreateMissingDirs(vexil::FTPMissingDirs::Fail); },
         {"FTP_CREATE_MISSING_DIRS=0L"}},
        {"CreateMissingDirs",
         [](R& r) { r.setFTPCreateMissingDirs(vexil::FTPMissingDirs::Create); },
         {"FTP_CREATE_MISSING_DIRS=1L"}},
        {"CreateDirsAndRetry",
         [](R& r) { r.setFTPCreateMissingDirs(vexil::FTPMissingDirs::CreateAndRetry); },
         {"FTP_CREATE_MISSING_DIRS=2L"}},
        {"ListCommand", [](R& r) { r.setFTPListOverrideCommand("MLSD"); }, {"CUSTOMREQUEST='MLSD'"}},
        {"NoListCommand", [](R& r) { r.setFTPListOverrideCommand(""); }, {"CUSTOMREQUEST=null"}},
        {"Pre", [=](R& r) { r.setFTPCustomPreCommands(commands); }, {"PREQUOTE=[NOOP|SYST]"}},
        {"NoPre", [](R& r) { r.setFTPCustomPreCommands(nullptr); }, {"PREQUOTE=null"}},
        {"Post", [=](R& r) { r.setFTPCustomPostCommands(commands); }, {"POSTQUOTE=[NOOP|SYST]"}},
        {"NoPost", [](R& r) { r.setFTPCustomPostCommands(nullptr); }, {"POSTQUOTE=null"}},
        {"Recipients", [=](R& r) { r.setMailRecipients(commands); }, {"MAIL_RCPT=[NOOP|SYST]"}},
        {"NoRecipients", [](R& r) { r.setMailRecipients(nullptr); }, {"MAIL_RCPT=null"}},
        {"EmptyRecipients", [](R& r) { r.setMailRecipients(new CNetStringList); }, {"MAIL_RCPT=null"}},
        {"Verbose", [](R& r) { r.setVerbose(true); }, {"VERBOSE=1L"}},
        {"NoVerbose", [](R& r) { r.setVerbose(false); }, {"VERBOSE=0L"}},
        {"Buffer", [=](R& r) { r.setSendDataBuffer(buffer); }, {"INFILESIZE_LARGE=1234OFF"}},
        {"Text", [](R& r) { r.setSendDataAsUTF8("gr\xc3\xbc\xc3\x9f"); }, {"INFILESIZE_LARGE=6OFF"}},
        {"EmptyText", [](R& r) { r.setSendDataAsUTF8(""); }, {"INFILESIZE_LARGE=0OFF"}},
        {"Int", [](R& r) { r.setOptionInt(CURLOPT_BUFFERSIZE, 65536); }, {"BUFFERSIZE=65536L"}},
        {"IntNegative", [](R& r) { r.setOptionInt(CURLOPT_MAXREDIRS, -1); }, {"MAXREDIRS=-1L"}},
        {"Int64",
         [](R& r) { r.setOptionInt64(CURLOPT_MAX_SEND_SPEED_LARGE, large); },
         {"MAX_SEND_SPEED_LARGE=9141386507638288912OFF"}},
        {"Pointer", [](R& r) { r.setOptionPtr(CURLOPT_PRIVATE, &r); }, {"PRIVATE=request"}},
        {"NullPointer", [](R& r) { r.setOptionPtr(CURLOPT_PRIVATE, nullptr); }, {"PRIVATE=null"}},
        {"String",
         [](R& r) { r.setOptionString(CURLOPT_REFERER, "\xf0\x9f\x98\x80"); },
         {"REFERER='\xf0\x9f\x98\x80'"}},
        {"EmptyString", [](R& r) { r.setOptionString(CURLOPT_REFERER, ""); }, {"REFERER=''"}},
    };
}

TEST_F(NetRequestOptionsTest, EachSetterSetsItsOptionWithItsType) {
    makeRequest();
    for (const Setter& setter : setters()) {
        setter.call(*request);
        EXPECT_THAT(recorded(), ElementsAreArray(setter.expected)) << setter.name;
    }
}

TEST_F(NetRequestOptionsTest, EachSetterThrowsWhenLibcurlRefuses) {
    makeRequest();
    for (const Setter& setter : setters()) {
        for (int i = 0; i < static_cast<int>(setter.expected.size()); ++i) {
            optionsUntilFailure = i;
            const auto error = thrownBy<CCURLError>([&] { setter.call(*request); });
            ASSERT_TRUE(error) << setter.name;
            EXPECT_EQ(error->getDomain(), "curl");
            EXPECT_EQ(error->getCode(), CURLE_OUT_OF_MEMORY);
            EXPECT_EQ(error->getResponseCode(), -1);
            EXPECT_EQ(error->getResponseCodeDomain(), "");
        }
    }
    optionsUntilFailure = -1;
}

TEST_F(NetRequestOptionsTest, TheNewestVersionOfTLSLeavesTheOldestOneAsItIs) {
    makeRequest();
    request->setOptionInt(CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1_2);
    request->setMaxTLSVersion(vexil::TLSVersion1_3);
    request->setMaxTLSVersion(vexil::TLSVersionDefault);
    EXPECT_THAT(recorded(), ElementsAre("SSLVERSION=6L", "SSLVERSION=458758L", "SSLVERSION=6L"));
    request->reset();
    recorded();
    request->setMaxTLSVersion(vexil::TLSVersion1_2);
    EXPECT_THAT(recorded(), ElementsAre("SSLVERSION=393216L")) << "a reset forgets the oldest one";
}

TEST_F(NetRequestOptionsTest, AVersionOfTLSThatDoesNotExistIsRefused) {
    makeRequest();
    for (const int version : {1, 9, 14, -1}) {
        const auto error = thrownBy<vexil::CInvalidArgError>(
            [&] { request->setMaxTLSVersion(static_cast<vexil::TLSVersion>(version)); });
        ASSERT_TRUE(error) << version;
        EXPECT_EQ(error->getPlace(), "CNetRequest::setMaxTLSVersion");
        EXPECT_EQ(error->getMessage(), "unknown TLS version: " + String::fromInt(version));
    }
    EXPECT_THAT(recorded(), IsEmpty());
}

TEST_F(NetRequestOptionsTest, TheSizeOfAPostIsSetTwice) {
    makeRequest();
    request->setHTTPMethod("POST");
    recorded();
    request->setSendDataSize(9);
    EXPECT_THAT(recorded(), ElementsAre("INFILESIZE_LARGE=9OFF", "POSTFIELDSIZE_LARGE=9OFF"));
    request->setSendDataAsUTF8("abc");
    EXPECT_THAT(recorded(), ElementsAre("INFILESIZE_LARGE=3OFF", "POSTFIELDSIZE_LARGE=3OFF"));
    const P<TBuffer<unsigned char>> buffer = new TBuffer<unsigned char>(4);
    request->setSendDataBuffer(buffer);
    EXPECT_THAT(recorded(), ElementsAre("INFILESIZE_LARGE=4OFF", "POSTFIELDSIZE_LARGE=4OFF"));
    request->setSendDataStream(nullptr);
    request->setSendDataSource(nullptr);
    EXPECT_THAT(recorded(), IsEmpty());
    request->setHTTPMethod("PUT");
    recorded();
    request->setSendDataSize(5);
    EXPECT_THAT(recorded(), ElementsAre("INFILESIZE_LARGE=5OFF"));
}

TEST_F(NetRequestOptionsTest, EachMethodSwitchesTheOthersOff) {
    makeRequest();
    request->setSendDataSize(77);
    recorded();
    request->setHTTPMethod("GET");
    EXPECT_THAT(recorded(), ElementsAre("CUSTOMREQUEST=null", "NOBODY=0L", "UPLOAD=0L", "POST=0L",
                                        "POSTFIELDSIZE_LARGE=0OFF", "HTTPGET=1L"));
    request->setHTTPMethod("PUT");
    EXPECT_THAT(recorded(), ElementsAre("CUSTOMREQUEST=null", "HTTPGET=0L", "NOBODY=0L", "POST=0L",
                                        "POSTFIELDSIZE_LARGE=0OFF", "UPLOAD=1L"));
    request->setHTTPMethod("POST");
    EXPECT_THAT(recorded(), ElementsAre("CUSTOMREQUEST=null", "HTTPGET=0L", "NOBODY=0L", "UPLOAD=0L",
                                        "POST=1L", "POSTFIELDSIZE_LARGE=77OFF"));
    request->setHTTPMethod("HEAD");
    EXPECT_THAT(recorded(), ElementsAre("CUSTOMREQUEST=null", "HTTPGET=0L", "UPLOAD=0L", "POST=0L",
                                        "POSTFIELDSIZE_LARGE=0OFF", "NOBODY=1L"));
    request->setHTTPMethod("DELETE");
    EXPECT_THAT(recorded(), ElementsAre("HTTPGET=0L", "NOBODY=0L", "UPLOAD=0L", "POST=0L",
                                        "POSTFIELDSIZE_LARGE=0OFF", "CUSTOMREQUEST='DELETE'"));
    request->setHTTPMethod("get");
    EXPECT_THAT(recorded(), ElementsAre("HTTPGET=0L", "NOBODY=0L", "UPLOAD=0L", "POST=0L",
                                        "POSTFIELDSIZE_LARGE=0OFF", "CUSTOMREQUEST='get'"));
    request->setHTTPMethod("");
    EXPECT_THAT(recorded(), ElementsAre("CUSTOMREQUEST=null", "HTTPGET=0L", "NOBODY=0L", "UPLOAD=0L",
                                        "POST=0L", "POSTFIELDSIZE_LARGE=0OFF"));
}

TEST_F(NetRequestOptionsTest, TheMethodIsReportedAsSetOrByTheUpload) {
    makeRequest();
    EXPECT_EQ(request->getHTTPMethod(), "GET");
    request->setUpload(true);
    EXPECT_EQ(request->getHTTPMethod(), "PUT");
    request->setHTTPMethod("POST");
    EXPECT_EQ(request->getHTTPMethod(), "POST");
    request->setHTTPMethod("");
    EXPECT_EQ(request->getHTTPMethod(), "GET");
    request->setHTTPMethod("PUT");
    request->setHTTPMethod("");
    EXPECT_EQ(request->getHTTPMethod(), "GET");
    request->setHTTPMethod("HEAD");
    request->setUpload(true);
    EXPECT_EQ(request->getHTTPMethod(), "HEAD");
    request->setHTTPMethod("MKCOL");
    EXPECT_EQ(request->getHTTPMethod(), "MKCOL");
}

TEST_F(NetRequestOptionsTest, ANewTransferHandsOverTheHeaderListAgain) {
    makeRequest();
    request->resetForPerform();
    EXPECT_THAT(recorded(), IsEmpty());
    const P<CNetHeaders> headers = new CNetHeaders;
    request->setCustomHTTPHeaders(headers);
    EXPECT_THAT(recorded(), ElementsAre("HTTPHEADER=null"));
    headers->add("A", "b");
    request->resetForPerform();
    EXPECT_THAT(recorded(), ElementsAre("HTTPHEADER=[A: b]"));
    EXPECT_EQ(request->getCustomHTTPHeaders().get(), headers.get());
}

TEST_F(NetRequestOptionsTest, AnErrorOfANewTransferIsThrown) {
    makeRequest();
    request->setCustomHTTPHeaders(P<CNetHeaders>(new CNetHeaders));
    optionsUntilFailure = 0;
    const P<TestListener> listener = new TestListener;
    request->setDoneListener(listener);
    EXPECT_TRUE(thrownBy<CCURLError>([&] { request->perform(); }));
    EXPECT_EQ(listener->count, 0) << "no transfer has begun";
}

// ---- options of another type -----------------------------------------------------------------------------

/// Which setters accept an option of this type.
struct Takers {
    bool isInt, isInt64, isPtr, isString;
};

Takers takersOf(const curl_easyoption& option) {
    if (option.id == CURLOPT_POSTFIELDS || option.id == CURLOPT_COPYPOSTFIELDS) {
        return {false, false, true, true};
    }
    switch (option.type) {
    case CURLOT_LONG:
    case CURLOT_VALUES:
        return {true, false, false, false};
    case CURLOT_OFF_T:
        return {false, true, false, false};
    case CURLOT_STRING:
        return {false, false, true, true};
    default:
        return {false, false, true, false};
    }
}

TEST_F(NetRequestOptionsTest, EachOptionIsTakenByTheSettersOfItsTypeAlone) {
    makeRequest();
    // Nothing reaches libcurl: an accepted option would fail.
    const auto isTaken = [&](const char* name, auto set) {
        optionsUntilFailure = 0;
        const auto error = thrownBy<CCURLError>([&] { set(); });
        optionsUntilFailure = -1;
        if (!error) {
            ADD_FAILURE() << name;
            return false;
        }
        if (error->getCode() == CURLE_OUT_OF_MEMORY) {
            return true;
        }
        EXPECT_EQ(error->getCode(), CURLE_UNKNOWN_OPTION) << name;
        EXPECT_EQ(error->getDomain(), "curl") << name;
        EXPECT_EQ(error->getResponseCode(), -1) << name;
        EXPECT_THAT(error->getMessage().toUTF8(),
                    testing::HasSubstr(std::string(": CURLOPT_") + name + " takes "));
        return false;
    };
    int count = 0;
    for (const curl_easyoption* o = curl_easy_option_next(nullptr); o; o = curl_easy_option_next(o)) {
        if (o->flags & CURLOT_FLAG_ALIAS) {
            continue;
        }
        const Takers expected = takersOf(*o);
        EXPECT_EQ(isTaken(o->name, [&] { request->setOptionInt(o->id, 5); }), expected.isInt) << o->name;
        EXPECT_EQ(isTaken(o->name, [&] { request->setOptionInt64(o->id, 5); }), expected.isInt64) << o->name;
        EXPECT_EQ(isTaken(o->name, [&] { request->setOptionPtr(o->id, &count); }), expected.isPtr) << o->name;
        EXPECT_EQ(isTaken(o->name, [&] { request->setOptionPtr(o->id, nullptr); }), expected.isPtr)
            << o->name;
        EXPECT_EQ(isTaken(o->name, [&] { request->setOptionString(o->id, "0"); }), expected.isString)
            << o->name;
        ++count;
    }
    EXPECT_GT(count, 250);
}

// ---- memory ----------------------------------------------------------------------------------------------

const std::vector<std::string> linesOfAResponse = {"HTTP/1.1 200 OK\r\n", "X-A: b\r\n", "\r\n"};

TEST_F(NetRequestOptionsTest, AHeaderLineForWhichThereIsNoMemoryMakesTheResponseIncomplete) {
    const LogCapture log;
    for (std::size_t failing = 0; failing < linesOfAResponse.size(); ++failing) {
        int allocation = 1;
        for (bool hasFailed = true; hasFailed; ++allocation) {
            makeRequest();
            request->setURL("http://h/a");
            request->resetForPerform();
            for (std::size_t i = 0; i < linesOfAResponse.size(); ++i) {
                t_failingAllocation = i == failing ? allocation : 0;
                EXPECT_EQ(request->header(linesOfAResponse[i]), linesOfAResponse[i].size());
                hasFailed = i == failing ? t_failingAllocation == 0 : hasFailed;
                t_failingAllocation = 0;
            }
            EXPECT_EQ(request->isResponseComplete(), !hasFailed) << failing << ", " << allocation;
            EXPECT_EQ(request->hasDroppedHeaderLine(), hasFailed) << failing << ", " << allocation;
        }
        EXPECT_GT(allocation, 2) << "line " << failing << " needs memory";
    }
}

TEST_F(NetRequestOptionsTest, AHeaderLineThatTheAskedListLacksMakesTheResponseIncomplete) {
    const LogCapture log;
    makeRequest();
    request->setURL("http://h/a");
    for (std::size_t failing = 0; failing <= linesOfAResponse.size(); ++failing) {
        request->resetForPerform();
        (void)request->getResponseInfo();
        for (std::size_t i = 0; i < linesOfAResponse.size(); ++i) {
            listFails = i == failing;
            EXPECT_EQ(request->header(linesOfAResponse[i]), linesOfAResponse[i].size());
        }
        listFails = false;
        EXPECT_EQ(request->isResponseComplete(), failing == linesOfAResponse.size()) << failing;
        EXPECT_EQ(request->hasDroppedHeaderLine(), failing != linesOfAResponse.size()) << failing;
    }
}

// ---- reset -----------------------------------------------------------------------------------------------

TEST_F(NetRequestOptionsTest, ResetClearsTheHandleAndSetsTheDefaults) {
    makeRequest();
    request->reset();
    EXPECT_THAT(recorded(), ElementsAreArray(withDefaults({"reset"})));
}

TEST_F(NetRequestOptionsTest, ResetHandsOverTheHeadersOnceMoreBeforeItClears) {
    makeRequest();
    const P<CNetHeaders> headers = new CNetHeaders;
    headers->add("A", "b");
    request->setCustomHTTPHeaders(headers);
    recorded();
    request->reset();
    EXPECT_THAT(recorded(), ElementsAreArray(withDefaults({"HTTPHEADER=[A: b]", "reset"})));
    EXPECT_EQ(request->getCustomHTTPHeaders().get(), nullptr);
}

TEST_F(NetRequestOptionsTest, ResetForgetsTheSizeOfTheBody) {
    makeRequest();
    request->setSendDataSize(77);
    request->reset();
    recorded();
    request->setHTTPMethod("POST");
    EXPECT_EQ(recorded().back(), "POSTFIELDSIZE_LARGE=-1OFF");
}

TEST_F(NetRequestOptionsTest, EachTransferGetsTheListsAsTheyAreThen) {
    makeRequest();
    const P<CNetStringList> before = new CNetStringList;
    const P<CNetStringList> behind = new CNetStringList;
    const P<CNetStringList> recipients = new CNetStringList;
    request->setFTPCustomPreCommands(before);
    request->setFTPCustomPostCommands(behind);
    request->setMailRecipients(recipients);
    EXPECT_THAT(recorded(), ElementsAre("PREQUOTE=null", "POSTQUOTE=null", "MAIL_RCPT=null"));
    before->add("NOOP");
    behind->add("SYST");
    recipients->add("a@x");
    request->resetForPerform();
    EXPECT_THAT(recorded(), ElementsAre("PREQUOTE=[NOOP]", "POSTQUOTE=[SYST]", "MAIL_RCPT=[a@x]"));
    // Then the nodes that libcurl knows no longer exist.
    CNetStringList other;
    other.add("HELP");
    *before = other;
    *behind = other;
    *recipients = CNetStringList();
    request->resetForPerform();
    EXPECT_THAT(recorded(), ElementsAre("PREQUOTE=[HELP]", "POSTQUOTE=[HELP]", "MAIL_RCPT=null"));
}

template <class List>
void expectTheOldListToLiveUntilTheOptionIsSet(void (CNetRequest::*set)(List*)) {
    onRecord = [] { livingListsAtOption = livingLists; };
    CNetRequest request;
    (request.*set)(new Counted<List>);
    isRecording = true;
    (request.*set)(new Counted<List>);
    isRecording = false;
    EXPECT_EQ(livingListsAtOption, 2);
    EXPECT_EQ(livingLists, 1);
}

TEST(NetRequestListsTest, LiveUntilLibcurlHasTheNextOne) {
    expectTheOldListToLiveUntilTheOptionIsSet(&CNetRequest::setCustomHTTPHeaders);
    expectTheOldListToLiveUntilTheOptionIsSet(&CNetRequest::setFTPCustomPreCommands);
    expectTheOldListToLiveUntilTheOptionIsSet(&CNetRequest::setFTPCustomPostCommands);
    expectTheOldListToLiveUntilTheOptionIsSet(&CNetRequest::setMailRecipients);
    EXPECT_EQ(livingLists, 0);
}

}  // namespace
