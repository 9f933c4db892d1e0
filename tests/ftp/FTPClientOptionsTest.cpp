// The options that the FTP client gives to libcurl. This program defines some of libcurl's functions: it
// records the options and plays the transfers.
#include "tests/ftp/FTPServerTestSupport.h"
#include "zet/BufferStream.h"
#include "zet/MTRand.h"
#include "zet/MemoryInStream.h"

#include <cstdarg>
#include <dlfcn.h>
#include <future>
#include <limits>
#include <list>
#include <map>
#include <regex>
#include <set>

#undef curl_easy_setopt

namespace {

/// Calls of libcurl since the last check of a test, and the current settings of the handle.
struct Recorder {
    std::vector<std::string> calls;
    std::map<CURLoption, void*> pointers;
    std::function<CURLcode(Recorder&)> perform;

    std::string textOf(CURLoption option) const {
        const auto found = pointers.find(option);
        return found == pointers.end() ? "" : static_cast<const char*>(found->second);
    }

    /// Delivers bytes as libcurl does.
    void deliver(const std::string& bytes) {
        using Callback = std::size_t(char*, std::size_t, std::size_t, void*);
        auto* const write = reinterpret_cast<Callback*>(pointers.at(CURLOPT_WRITEFUNCTION));
        std::string copy = bytes;
        ASSERT_EQ(write(copy.data(), 1, copy.size(), pointers.at(CURLOPT_WRITEDATA)), copy.size());
    }
};

Recorder recorder;
std::list<std::string> strings;  // libcurl copies its strings; so does the recorder

template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::string listText(const curl_slist* list) {
    std::string text = "[";
    for (; list; list = list->next) {
        text += std::string(list->data) + (list->next ? "|" : "");
    }
    return text + "]";
}

std::string valueText(const curl_easyoption& option, void* value) {
    if (option.type == CURLOT_STRING) {
        return value ? "'" + std::string(static_cast<const char*>(value)) + "'" : "null";
    }
    return option.type == CURLOT_SLIST ? listText(static_cast<const curl_slist*>(value)) : "pointer";
}

}  // namespace

extern "C" {

CURLcode curl_easy_setopt(CURL* handle, CURLoption option, ...) {
    static auto* const real = next<CURLcode(CURL*, CURLoption, ...)>("curl_easy_setopt");
    const curl_easyoption& known = *curl_easy_option_by_id(option);
    std::string value;
    CURLcode result = CURLE_OK;
    va_list arguments;
    va_start(arguments, option);
    if (option < CURLOPTTYPE_OBJECTPOINT) {
        const long number = va_arg(arguments, long);
        value = std::to_string(number) + "L";
        result = real(handle, option, number);
    } else if (option >= CURLOPTTYPE_OFF_T && option < CURLOPTTYPE_BLOB) {
        const curl_off_t number = va_arg(arguments, curl_off_t);
        value = std::to_string(number) + "OFF";
        result = real(handle, option, number);
    } else {
        void* const pointer = va_arg(arguments, void*);
        value = valueText(known, pointer);
        recorder.pointers[option] = pointer;
        if (known.type == CURLOT_STRING && pointer) {
            recorder.pointers[option] = strings.emplace_back(static_cast<const char*>(pointer)).data();
        }
        result = real(handle, option, pointer);
    }
    va_end(arguments);
    recorder.calls.push_back(known.name + ("=" + value));
    return result;
}

void curl_easy_reset(CURL* handle) {
    static auto* const real = next<void(CURL*)>("curl_easy_reset");
    recorder.calls.emplace_back("reset");
    recorder.pointers.clear();
    strings.clear();
    real(handle);
}

CURLcode curl_easy_perform(CURL*) {
    return recorder.perform ? recorder.perform(recorder) : CURLE_OK;
}

}  // extern "C"

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using vexil::CInvalidArgError;
using vexil::CNetHeaders;
using vexil::IBase;
using vexil::INetRequestSetup;

using Texts = std::vector<std::string>;

constexpr auto plain = CFTPClient::ConnectPlain;
const String fromPath = "/c d";

/// A preparation of "/a/b", and the options that it sets after the common ones.
struct Operation {
    std::string member;
    std::function<void(CFTPClient&, CNetRequest&, const String& path)> prepare;
    std::string urlPath;
    bool createsDirs = false;
    Texts options = {};
};

// Not read before the transfer.
constexpr char memory[] = "abc";
zet::CMemoryInStream stream(memory, 3);

const std::vector<Operation> operations = {
    {"prepareDownloadRequest", [](auto& c, auto& r, auto& p) { c.prepareDownloadRequest(r, p, 0, -1); },
     "/a/b"},
    {"prepareDownloadRequest",
     [](auto& c, auto& r, auto& p) { c.prepareDownloadRequest(r, p, 10, 5); },
     "/a/b",
     false,
     {"RANGE='10-14'"}},
    {"prepareUploadRequest",
     [](auto& c, auto& r, auto& p) { c.prepareUploadRequest(r, p, memory, 3, false); },
     "/a/b",
     false,
     {"UPLOAD=1L", "INFILESIZE_LARGE=3OFF"}},
    {"prepareUploadRequest",
     [](auto& c, auto& r, auto& p) { c.prepareUploadRequest(r, p, memory, 3, true); },
     "/a/b",
     true,
     {"UPLOAD=1L", "INFILESIZE_LARGE=3OFF"}},
    {"prepareUploadRequest",
     [](auto& c, auto& r, auto& p) { c.prepareUploadRequest(r, p, &stream, 5000000000, false); },
     "/a/b",
     false,
     {"UPLOAD=1L", "INFILESIZE_LARGE=5000000000OFF"}},
    {"prepareUploadRequest",
     [](auto& c, auto& r, auto& p) { c.prepareUploadRequest(r, p, &stream, 3, true); },
     "/a/b",
     true,
     {"UPLOAD=1L", "INFILESIZE_LARGE=3OFF"}},
    {"prepareDeleteFileRequest",
     [](auto& c, auto& r, auto& p) { c.prepareDeleteFileRequest(r, p); },
     "",
     false,
     {"PREQUOTE=[DELE /a/b]", "NOBODY=1L"}},
    {"prepareMoveFileRequest",
     [](auto& c, auto& r, auto& p) { c.prepareMoveFileRequest(r, fromPath, p, false); },
     "",
     false,
     {"PREQUOTE=[RNFR /c d|RNTO /a/b]", "NOBODY=1L"}},
    {"prepareMoveFileRequest",
     [](auto& c, auto& r, auto& p) { c.prepareMoveFileRequest(r, fromPath, p, true); },
     "/a/b",
     true,
     {"PREQUOTE=[RNFR /c d|RNTO /a/b]", "UPLOAD=1L", "APPEND=1L"}},
    {"prepareMoveDirRequest",
     [](auto& c, auto& r, auto& p) { c.prepareMoveDirRequest(r, fromPath, p, false); },
     "",
     false,
     {"PREQUOTE=[RNFR /c d|RNTO /a/b]", "NOBODY=1L"}},
    {"prepareMoveDirRequest",
     [](auto& c, auto& r, auto& p) { c.prepareMoveDirRequest(r, fromPath, p, true); },
     "/a/b/__dummyN",
     true,
     {"PREQUOTE=[RNFR /c d|RNTO /a/b]", "UPLOAD=1L", "POSTQUOTE=[DELE /a/b/__dummyN]"}},
    {"prepareListDirRequest",
     [](auto& c, auto& r, auto& p) { c.prepareListDirRequest(r, p); },
     "/a/b/",
     false,
     {"CUSTOMREQUEST='MLSD'"}},
    {"prepareGetInfoRequest",
     [](auto& c, auto& r, auto& p) { c.prepareGetInfoRequest(r, p); },
     "",
     false,
     {"PREQUOTE=[MLST /a/b]", "NOBODY=1L"}},
    {"prepareVerifyExistsRequest",
     [](auto& c, auto& r, auto& p) { c.prepareVerifyExistsRequest(r, p); },
     "",
     false,
     {"PREQUOTE=[MLST /a/b]", "NOBODY=1L"}},
    {"prepareCreateDirRequest",
     [](auto& c, auto& r, auto& p) { c.prepareCreateDirRequest(r, p, false); },
     "",
     false,
     {"PREQUOTE=[MKD /a/b]", "NOBODY=1L"}},
    {"prepareCreateDirRequest",
     [](auto& c, auto& r, auto& p) { c.prepareCreateDirRequest(r, p, true); },
     "/a/b/",
     true,
     {"PREQUOTE=[MKD /a/b]"}},
    {"prepareRemoveDirRequest",
     [](auto& c, auto& r, auto& p) { c.prepareRemoveDirRequest(r, p); },
     "",
     false,
     {"PREQUOTE=[RMD /a/b]", "NOBODY=1L"}},
    {"prepareDownloadRequest",
     [](auto& c, auto& r, auto& p) { c.prepareDownloadRequest(r, p, 10, 0); },
     "/a/b",
     false,
     {"FORBID_REUSE=1L", "RANGE='10-9'"}},
};

/// The operations that prepare and perform, with the preparing member that they use first.
const std::vector<Operation> convenienceOperations = {
    {"prepareListDirRequest", [](auto& c, auto& r, auto& p) { (void)c.listDir(r, p); }, ""},
    {"prepareCreateDirRequest", [](auto& c, auto& r, auto& p) { c.createDir(r, p, false); }, ""},
    {"prepareCreateDirRequest", [](auto& c, auto& r, auto& p) { c.createDir(r, p, true); }, ""},
    {"prepareDeleteFileRequest", [](auto& c, auto& r, auto& p) { c.deleteFile(r, p); }, ""},
    {"prepareRemoveDirRequest", [](auto& c, auto& r, auto& p) { c.removeDir(r, p); }, ""},
    {"prepareListDirRequest", [](auto& c, auto& r, auto& p) { c.deleteDirWithAllContents(r, p); }, ""},
};

/// Those that take the path of the moved file or directory; "/to" is the other path.
const std::vector<Operation> fromOperations = {
    {"prepareMoveFileRequest",
     [](auto& c, auto& r, auto& p) { c.prepareMoveFileRequest(r, p, "/to", false); }, ""},
    {"prepareMoveFileRequest", [](auto& c, auto& r, auto& p) { c.prepareMoveFileRequest(r, p, "/to", true); },
     ""},
    {"prepareMoveDirRequest", [](auto& c, auto& r, auto& p) { c.prepareMoveDirRequest(r, p, "/to", false); },
     ""},
    {"prepareMoveDirRequest", [](auto& c, auto& r, auto& p) { c.prepareMoveDirRequest(r, p, "/to", true); },
     ""},
};

std::vector<Operation> allOperations() {
    std::vector<Operation> all = operations;
    all.insert(all.end(), convenienceOperations.begin(), convenienceOperations.end());
    all.insert(all.end(), fromOperations.begin(), fromOperations.end());
    return all;
}

class FTPClientOptionsTest : public testing::Test {
protected:
    FTPClientOptionsTest() {
        recorder.calls.clear();
        request.reset();
        defaults = std::exchange(recorder.calls, {});
    }
    ~FTPClientOptionsTest() override { recorder.perform = nullptr; }

    /// The options that a preparation sets after the reset of the request and its defaults. Numbers of dummy
    /// names are "N".
    Texts optionsOf(const std::function<void()>& prepare) {
        recorder.calls.clear();
        prepare();
        Texts options = std::exchange(recorder.calls, {});
        if (options.size() < defaults.size() ||
            !std::equal(defaults.begin(), defaults.end(), options.begin())) {
            ADD_FAILURE() << "the preparation does not begin with a reset";
            return options;
        }
        options.erase(options.begin(), options.begin() + static_cast<std::ptrdiff_t>(defaults.size()));
        static const std::regex number("__dummy[0-9]+");
        for (std::string& option : options) {
            option = std::regex_replace(option, number, "__dummyN");
        }
        return options;
    }
    Texts optionsOf(const Operation& operation, CFTPClient client, const String& path = "/a/b") {
        return optionsOf([&] { operation.prepare(client, request, path); });
    }
    /// The URL that a preparation sets.
    std::string urlOf(const Operation& operation, const CFTPClient& client, const String& path) {
        const Texts options = optionsOf(operation, client, path);
        return options.empty() ? "" : options[0];
    }

    /// what() of the CInvalidArgError of a call that does not change the request.
    std::string refusalOf(const std::function<void()>& call) {
        recorder.calls.clear();
        const auto error = thrownBy<CInvalidArgError>(call);
        EXPECT_THAT(recorder.calls, IsEmpty()) << "the request was touched";
        return error ? (error->getPlace() + ": " + error->getMessage()).toUTF8() : "(none)";
    }

    CNetRequest request;
    Texts defaults;
};

std::string fileMethodOf(int type) {
    return type == 0 ? "FTP_FILEMETHOD=1L" : type == 1 ? "FTP_FILEMETHOD=3L" : "FTP_FILEMETHOD=2L";
}

/// All options of an operation, as the contract requires.
Texts expectedOf(const Operation& operation, int connectType, int overrideType, bool isEncoded) {
    const std::string root = isEncoded && !operation.urlPath.empty() ? "/" : "";
    Texts expected = {std::string("URL='") + (connectType == 2 ? "ftps" : "ftp") + "://h:990" + root +
                          operation.urlPath + "'",
                      "USERNAME='u'", "PASSWORD='p'"};
    if (connectType == 1) {
        expected.emplace_back("USE_SSL=3L");
    }
    const int type = overrideType == -1 ? (operation.createsDirs ? 0 : 2) : overrideType;
    if (type >= 0 && type <= 2) {
        expected.push_back(fileMethodOf(type));
    }
    expected.emplace_back(operation.createsDirs ? "FTP_CREATE_MISSING_DIRS=2L"
                                                : "FTP_CREATE_MISSING_DIRS=0L");
    if (isEncoded) {
        expected.emplace_back("PATH_AS_IS=1L");
    }
    expected.emplace_back("HTTPPROXYTUNNEL=1L");
    expected.insert(expected.end(), operation.options.begin(), operation.options.end());
    return expected;
}

// ---- options ---------------------------------------------------------------------------------------------

TEST_F(FTPClientOptionsTest, EachOperationSetsItsOptionsWithEachConnectTypeAndEachOverride) {
    for (const Operation& operation : operations) {
        for (const int connectType : {0, 1, 2, 3, -1, 77}) {
            for (const int overrideType : {-1, 0, 1, 2, 3, 7, -2}) {
                for (const bool isEncoded : {false, true}) {
                    CFTPClient client("h:990", "u", "p", static_cast<CFTPClient::ConnectType>(connectType));
                    client.setOverrideCWDType(static_cast<CFTPClient::CWDType>(overrideType));
                    client.setPathEncoding(isEncoded ? CFTPClient::PathPercentEncode
                                                     : CFTPClient::PathVerbatim);
                    EXPECT_EQ(optionsOf(operation, client),
                              expectedOf(operation, connectType, overrideType, isEncoded))
                        << operation.member << ", connect type " << connectType << ", override "
                        << overrideType;
                }
            }
        }
    }
}

TEST_F(FTPClientOptionsTest, AnImplicitConnectionIsASchemeAndAnExplicitOneAnOption) {
    const auto setUp = [this](CFTPClient::ConnectType type) {
        return optionsOf(operations[0], CFTPClient("h:990", "u", "p", type), "/x");
    };
    EXPECT_THAT(setUp(CFTPClient::ConnectImplicitTLS),
                ElementsAre("URL='ftps://h:990/x'", "USERNAME='u'", "PASSWORD='p'", "FTP_FILEMETHOD=2L",
                            "FTP_CREATE_MISSING_DIRS=0L", "HTTPPROXYTUNNEL=1L"));
    EXPECT_THAT(setUp(CFTPClient::ConnectExplicitTLS),
                ElementsAre("URL='ftp://h:990/x'", "USERNAME='u'", "PASSWORD='p'", "USE_SSL=3L",
                            "FTP_FILEMETHOD=2L", "FTP_CREATE_MISSING_DIRS=0L", "HTTPPROXYTUNNEL=1L"));
}

TEST_F(FTPClientOptionsTest, AServerIsGivenAsAURL) {
    const auto optionsOfURL = [this](const CFTPClient& client) {
        return optionsOf(operations[0], client, "/a/b");
    };
    const auto isUpgraded = testing::Contains("USE_SSL=3L");
    const Texts explicitTLS = optionsOfURL(CFTPClient::fromURL("ftp://h:2121/", "u", "p"));
    EXPECT_THAT(explicitTLS[0], testing::StartsWith("URL='ftp://h:2121/"));
    EXPECT_THAT(explicitTLS, testing::IsSupersetOf({"USERNAME='u'", "PASSWORD='p'", "USE_SSL=3L"}))
        << "never silently without TLS";
    const Texts implicitTLS = optionsOfURL(CFTPClient::fromURL("FTPS://h", "u", "p"));
    EXPECT_THAT(implicitTLS[0], testing::StartsWith("URL='ftps://h/"));
    EXPECT_THAT(implicitTLS, testing::Not(isUpgraded));
    const Texts unencrypted =
        optionsOfURL(CFTPClient::fromURL("ftp://[::1]", "u", "p", CFTPClient::ConnectPlain));
    EXPECT_THAT(unencrypted[0], testing::StartsWith("URL='ftp://[::1]/"));
    EXPECT_THAT(unencrypted, testing::Not(isUpgraded));
    for (const char* url :
         {"http://h", "h", "ftp://u:p@h", "ftp://h/a", "ftp://h:0", "ftp://h:65536", "ftp://"}) {
        EXPECT_THAT(refusalOf([&] { (void)CFTPClient::fromURL(url, "u", "p"); }),
                    testing::StartsWith("CFTPClient::fromURL: '"))
            << url;
    }
    const std::string mismatch = "CFTPClient::fromURL: ftps:// means ConnectImplicitTLS, and ftp:// does not";
    EXPECT_EQ(refusalOf([] { (void)CFTPClient::fromURL("ftps://h", "u", "p", CFTPClient::ConnectPlain); }),
              mismatch);
    EXPECT_EQ(
        refusalOf([] { (void)CFTPClient::fromURL("ftp://h", "u", "p", CFTPClient::ConnectImplicitTLS); }),
        mismatch);
}

TEST_F(FTPClientOptionsTest, AServerIsGivenAsHostAndPort) {
    const CFTPClient client = CFTPClient::fromHost("::1", 990, "u", "p", CFTPClient::ConnectImplicitTLS);
    const Texts options = optionsOf(operations[0], client, "/a/b");
    EXPECT_THAT(options[0], testing::StartsWith("URL='ftps://[::1]:990/"));
    EXPECT_THAT(options, testing::IsSupersetOf({"USERNAME='u'", "PASSWORD='p'"}));
    EXPECT_EQ(refusalOf([] { (void)CFTPClient::fromHost("h:21", 21, "u", "p", CFTPClient::ConnectPlain); }),
              "CFTPClient::fromHost: 'h:21': the host must be a name or an address, without a port");
    EXPECT_EQ(refusalOf([] { (void)CFTPClient::fromHost("h", 0, "u", "p", CFTPClient::ConnectPlain); }),
              "CFTPClient::fromHost: the port must be from 1 to 65535, not 0");
}

TEST_F(FTPClientOptionsTest, TheNewestVersionOfTLSIsSetBeforeTheHook) {
    for (const auto type : {CFTPClient::ConnectExplicitTLS, CFTPClient::ConnectImplicitTLS}) {
        CFTPClient client("h:990", "u", "p", type);
        client.setMaxTLSVersion(vexil::TLSVersion1_2);
        client.setRequestSetup(
            new FunctionSetup([](CNetRequest& prepared) { prepared.setOptionInt(CURLOPT_TIMEOUT_MS, 5); }));
        for (const Operation& operation : operations) {
            const Texts options = optionsOf(operation, client);
            const auto version = std::find(options.begin(), options.end(), "SSLVERSION=393216L");
            EXPECT_LT(version, std::find(options.begin(), options.end(), "TIMEOUT_MS=5L"))
                << operation.member;
        }
        const CFTPClient copy = client;
        EXPECT_EQ(optionsOf(operations[0], copy), optionsOf(operations[0], client));
        client.setMaxTLSVersion(vexil::TLSVersionDefault);
        EXPECT_THAT(optionsOf(operations[0], client),
                    testing::Not(testing::Contains(testing::StartsWith("SSLVERSION"))));
    }
}

TEST_F(FTPClientOptionsTest, TheCheckOfTheCertificateCanBeSwitchedOff) {
    CFTPClient client("h", "u", "p", CFTPClient::ConnectExplicitTLS);
    const Texts checked = optionsOf(operations[0], client);
    EXPECT_THAT(checked, testing::Not(testing::Contains(testing::StartsWith("SSL_VERIFY"))));
    client.setVerifyCertificate(false);
    for (const Operation& operation : operations) {
        const Texts options = optionsOf(operation, client);
        EXPECT_THAT(options, testing::IsSupersetOf({"SSL_VERIFYPEER=0L", "SSL_VERIFYHOST=0L"}))
            << operation.member;
    }
    const CFTPClient copy = client;
    EXPECT_EQ(optionsOf(operations[0], copy), optionsOf(operations[0], client));
    client.setVerifyCertificate(true);
    EXPECT_EQ(optionsOf(operations[0], client), checked);
}

TEST_F(FTPClientOptionsTest, TheOverrideIsTakenAwayAgain) {
    CFTPClient client("h", "u", "p", plain);
    client.setOverrideCWDType(CFTPClient::CWDDirect);
    EXPECT_EQ(optionsOf(operations[0], client)[3], "FTP_FILEMETHOD=3L");
    client.setOverrideCWDType(CFTPClient::CWDInvalid);
    EXPECT_EQ(optionsOf(operations[0], client)[3], "FTP_FILEMETHOD=2L");
}

TEST_F(FTPClientOptionsTest, AListingEndsWithOneSlash) {
    const Operation& list = operations[11];
    for (const char* path : {"/a", "/a/"}) {
        EXPECT_EQ(urlOf(list, CFTPClient("h", "u", "p", plain), path), "URL='ftp://h/a/'");
    }
    EXPECT_EQ(urlOf(list, CFTPClient("h", "u", "p", plain), "/"), "URL='ftp://h/'");
    EXPECT_EQ(urlOf(list, CFTPClient("h", "u", "p", plain), ""), "URL='ftp://h/'");
    EXPECT_EQ(urlOf(list, CFTPClient("h", "u", "p", plain), "/a//"), "URL='ftp://h/a//'");
}

TEST_F(FTPClientOptionsTest, ACreatedDirectoryWithParentsEndsWithOneSlashAndIsNamedAsGiven) {
    CFTPClient client("h", "u", "p", plain);
    const Texts options = optionsOf([&] { client.prepareCreateDirRequest(request, "/a/b/", true); });
    EXPECT_EQ(options.front(), "URL='ftp://h/a/b/'");
    EXPECT_EQ(options.back(), "PREQUOTE=[MKD /a/b/]");
}

TEST_F(FTPClientOptionsTest, ADeletedFileIsNoPartOfTheURL) {
    CFTPClient client("host", "u", "p", plain);
    const Texts options = optionsOf([&] { client.prepareDeleteFileRequest(request, "/a/b.txt"); });
    EXPECT_EQ(options.front(), "URL='ftp://host'");
    EXPECT_THAT(Texts(options.end() - 2, options.end()),
                ElementsAre("PREQUOTE=[DELE /a/b.txt]", "NOBODY=1L"));
}

TEST_F(FTPClientOptionsTest, ARangeIsTextAsCounted) {
    CFTPClient client("h", "u", "p", plain);
    const auto rangeOf = [&](int64 offset, int64 length) {
        const Texts options =
            optionsOf([&] { client.prepareDownloadRequest(request, "/x", offset, length); });
        return options.back();
    };
    EXPECT_EQ(rangeOf(0, -1), "HTTPPROXYTUNNEL=1L") << "the whole file";
    EXPECT_EQ(rangeOf(10, -1), "RANGE='10-'");
    EXPECT_EQ(rangeOf(100, -1), "RANGE='100-'");
    EXPECT_EQ(rangeOf(10, 5), "RANGE='10-14'");
    EXPECT_EQ(rangeOf(0, 10), "RANGE='0-9'");
    EXPECT_EQ(rangeOf(5, 0), "RANGE='5-4'");
    EXPECT_EQ(rangeOf(0, 0), "RANGE='0--1'");
    EXPECT_EQ(rangeOf(5000000000, 5000000000), "RANGE='5000000000-9999999999'");
    EXPECT_EQ(rangeOf(1, std::numeric_limits<int64>::max()), "RANGE='1-9223372036854775807'");
}

TEST_F(FTPClientOptionsTest, TextsGoOutAsUTF8) {
    CFTPClient client("h\xc3\xb6st", "\xc3\xbcser", "p\xe2\x82\xac", plain);
    const Texts options = optionsOf([&] { client.prepareDeleteFileRequest(request, "/\xf0\x9f\x98\x80"); });
    EXPECT_EQ(Texts(options.begin(), options.begin() + 3),
              (Texts{"URL='ftp://h\xc3\xb6st'", "USERNAME='\xc3\xbcser'", "PASSWORD='p\xe2\x82\xac'"}));
    EXPECT_EQ(options[options.size() - 2], "PREQUOTE=[DELE /\xf0\x9f\x98\x80]");
}

TEST_F(FTPClientOptionsTest, ACopyHasAllFieldsAndIsIndependent) {
    int calls = 0;
    CFTPClient client("h:990", "u", "p", CFTPClient::ConnectExplicitTLS);
    client.setOverrideCWDType(CFTPClient::CWDDirect);
    client.setPathEncoding(CFTPClient::PathPercentEncode);
    client.setRequestSetup(new FunctionSetup([&](CNetRequest&) { ++calls; }));
    CFTPClient copy(client);
    CFTPClient assigned("x", "y", "z", plain);
    assigned = client;
    CFTPClient moved(CFTPClient{client});
    CFTPClient moveAssigned("x", "y", "z", plain);
    moveAssigned = CFTPClient(client);
    client.setOverrideCWDType(CFTPClient::CWDNone);
    client.setPathEncoding(CFTPClient::PathVerbatim);
    client.setRequestSetup(nullptr);
    const Texts expected = expectedOf(operations[0], 1, 1, true);
    for (const CFTPClient* each : {&copy, &assigned, &moved, &moveAssigned}) {
        EXPECT_EQ(optionsOf(operations[0], *each), expected);
    }
    EXPECT_EQ(calls, 4);
    EXPECT_EQ(optionsOf(operations[0], client), expectedOf(operations[0], 1, 2, false));
    EXPECT_EQ(calls, 4);
}

TEST_F(FTPClientOptionsTest, CWDTypesHaveNames) {
    EXPECT_EQ(CFTPClient::cwdTypeToString(CFTPClient::CWDInvalid), "CWDInvalid");
    EXPECT_EQ(CFTPClient::cwdTypeToString(CFTPClient::CWDSteps), "CWDSteps");
    EXPECT_EQ(CFTPClient::cwdTypeToString(CFTPClient::CWDDirect), "CWDDirect");
    EXPECT_EQ(CFTPClient::cwdTypeToString(CFTPClient::CWDNone), "CWDNone");
    const auto errorOf = [](int type) {
        const auto error = thrownBy<CError>(
            [&] { (void)CFTPClient::cwdTypeToString(static_cast<CFTPClient::CWDType>(type)); });
        EXPECT_TRUE(error && error->getDomain().isEmpty() && error->getCode() == -1);
        return messageOf(error);
    };
    EXPECT_EQ(errorOf(7), "Unknown CWDType: 7");
    EXPECT_EQ(errorOf(3), "Unknown CWDType: 3");
    EXPECT_EQ(errorOf(-2), "Unknown CWDType: -2");
    EXPECT_EQ(errorOf(std::numeric_limits<int>::min()), "Unknown CWDType: -2147483648");
}

TEST_F(FTPClientOptionsTest, TheValuesOfTheTypesAreFixed) {
    EXPECT_EQ(CFTPClient::ConnectPlain, 0);
    EXPECT_EQ(CFTPClient::ConnectExplicitTLS, 1);
    EXPECT_EQ(CFTPClient::ConnectImplicitTLS, 2);
    EXPECT_EQ(CFTPClient::CWDInvalid, -1);
    EXPECT_EQ(CFTPClient::CWDSteps, 0);
    EXPECT_EQ(CFTPClient::CWDDirect, 1);
    EXPECT_EQ(CFTPClient::CWDNone, 2);
    static_assert(sizeof(CFTPClient::ConnectType) == 4 && sizeof(CFTPClient::CWDType) == 4);
}

// ---- refused texts ---------------------------------------------------------------------------------------

/// The characters that would begin another command, inside, before and after others.
const std::vector<String> lineEnds = {
    "/a\rb", "/a\nDELE /x", "/a\r\n", "\r", "/\n", std::wstring(L"/a\0b", 4), std::wstring(L"\0", 1)};

TEST_F(FTPClientOptionsTest, APathWithALineEndIsRefusedByThePreparingMember) {
    for (const auto encoding : {CFTPClient::PathVerbatim, CFTPClient::PathPercentEncode}) {
        CFTPClient client("h", "u", "p", plain);
        client.setPathEncoding(encoding);
        for (const Operation& operation : allOperations()) {
            for (const String& path : lineEnds) {
                EXPECT_EQ(refusalOf([&] { operation.prepare(client, request, path); }),
                          "CFTPClient::" + operation.member + ": path must not contain CR, LF or NUL");
            }
        }
    }
}

TEST_F(FTPClientOptionsTest, AHostUserNameOrPasswordWithALineEndIsRefusedByThePreparingMember) {
    for (const String& wrong : lineEnds) {
        CFTPClient host(wrong, "u", "p", plain);
        CFTPClient user("h", wrong, "p", plain);
        CFTPClient password("h", "u", wrong, plain);
        for (const Operation& operation : allOperations()) {
            const auto refusalBy = [&](CFTPClient& client) {
                return refusalOf([&] { operation.prepare(client, request, "/a"); });
            };
            const std::string place = "CFTPClient::" + operation.member;
            EXPECT_EQ(refusalBy(host), place + ": host must not contain CR, LF or NUL");
            EXPECT_EQ(refusalBy(user), place + ": user name must not contain CR, LF or NUL");
            EXPECT_EQ(refusalBy(password), place + ": password must not contain CR, LF or NUL");
        }
    }
}

TEST_F(FTPClientOptionsTest, ARefusalLeavesThePreparedRequest) {
    CFTPClient client("h", "u", "p", plain);
    client.prepareDeleteFileRequest(request, "/first");
    EXPECT_TRUE(thrownBy<CInvalidArgError>([&] { client.prepareDeleteFileRequest(request, "/\n"); }));
    EXPECT_EQ(request.getURL(), "ftp://h");
    EXPECT_EQ(listText(static_cast<const curl_slist*>(recorder.pointers.at(CURLOPT_PREQUOTE))),
              "[DELE /first]");
}

TEST_F(FTPClientOptionsTest, OtherControlCharactersArePassedOn) {
    CFTPClient client("h", "u", "p", plain);
    const Texts options = optionsOf([&] { client.prepareDeleteFileRequest(request, "/\t\x01\x7f\x0b"); });
    EXPECT_EQ(options[options.size() - 2], "PREQUOTE=[DELE /\t\x01\x7f\x0b]");
}

// ---- paths as URL text -----------------------------------------------------------------------------------

CFTPClient encodingClient() {
    CFTPClient client("h", "u", "p", plain);
    client.setPathEncoding(CFTPClient::PathPercentEncode);
    return client;
}

std::string printableASCII() {
    std::string all;
    for (char c = 0x20; c < 0x7f; ++c) {
        all += c;
    }
    return all;
}

TEST_F(FTPClientOptionsTest, PathsArePastedVerbatimByDefault) {
    const CFTPClient client("h", "u", "p", plain);
    const std::string path = "x" + printableASCII() + "%41\xc3\xa4/../;type=d";
    for (const Operation& operation : operations) {
        if (operation.urlPath == "/a/b") {
            EXPECT_EQ(urlOf(operation, client, text(path)), "URL='ftp://h" + path + "'");
        }
    }
}

TEST_F(FTPClientOptionsTest, EncodedPathsAreTextOfURLsFromTheRoot) {
    const std::string encodedASCII =
        "%20%21%22%23%24%25%26%27%28%29%2A%2B%2C-./0123456789%3A%3B%3C%3D%3E%3F%40"
        "ABCDEFGHIJKLMNOPQRSTUVWXYZ%5B%5C%5D%5E_%60abcdefghijklmnopqrstuvwxyz%7B%7C%7D~";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"/" + printableASCII(), "//" + encodedASCII},
        {"/\xc3\xa4/\xe4\xb8\xad/\xf0\x9f\x98\x80", "//%C3%A4/%E4%B8%AD/%F0%9F%98%80"},
        {"/100%41", "//100%2541"},
        {"/a#b?c", "//a%23b%3Fc"},
        {"/d;type=d", "//d%3Btype%3Dd"},
        {"/a b ", "//a%20b%20"},
        {"/a/../b/./c", "//a/../b/./c"},
        {"/t\tx", "//t%09x"},
        {"//x", "///x"},
    };
    for (const auto& [path, encoded] : cases) {
        for (const Operation& operation : operations) {
            const std::string suffix =
                operation.urlPath.starts_with("/a/b") ? operation.urlPath.substr(4) : "(none)";
            const std::string expected = suffix == "(none)" ? "" : encoded + suffix;
            EXPECT_EQ(urlOf(operation, encodingClient(), text(path)), "URL='ftp://h" + expected + "'")
                << operation.member << " " << path;
        }
    }
}

TEST_F(FTPClientOptionsTest, AnEncodedPathMayEndWithASlashUnlessItIsThatOfADownload) {
    const CFTPClient client = encodingClient();
    EXPECT_THROW(urlOf(operations[0], client, "/a b/"), vexil::CInvalidArgError) << "a download";
    EXPECT_EQ(urlOf(operations[11], client, "/a b/"), "URL='ftp://h//a%20b/'") << "a listing";
    EXPECT_EQ(urlOf(operations[11], client, "/"), "URL='ftp://h//'") << "the root's listing";
    EXPECT_EQ(urlOf(operations[15], client, "/a b/"), "URL='ftp://h//a%20b/'") << "a creation with parents";
}

TEST_F(FTPClientOptionsTest, CommandsHaveThePathAsItIsInBothModes) {
    const std::string path = "/" + printableASCII() + "\xc3\xa4 %41 ;type=d";
    for (const auto encoding : {CFTPClient::PathVerbatim, CFTPClient::PathPercentEncode}) {
        CFTPClient client("h", "u", "p", plain);
        client.setPathEncoding(encoding);
        std::size_t commands = 0;
        for (const Operation& operation : operations) {
            std::string expected;
            for (const std::string& option : operation.options) {
                expected = option.starts_with("PREQUOTE") ? option : expected;
            }
            if (!expected.empty()) {
                expected.replace(expected.find("/a/b"), 4, path);
                EXPECT_THAT(optionsOf(operation, client, text(path)), testing::Contains(expected));
                ++commands;
            }
        }
        EXPECT_EQ(commands, 10u);
    }
}

TEST_F(FTPClientOptionsTest, AnEncodedPathBeginsWithASlash) {
    for (const Operation& operation : allOperations()) {
        for (const char* path : {"a", "", " /a", "%2Fa"}) {
            CFTPClient client = encodingClient();
            EXPECT_EQ(refusalOf([&] { operation.prepare(client, request, path); }),
                      "CFTPClient::" + operation.member + ": path must begin with '/'");
        }
    }
}

TEST_F(FTPClientOptionsTest, AVerbatimPathMayBeginWithAnything) {
    for (const char* path : {"a", "", "%2Fa"}) {
        const Texts options = optionsOf(operations[0], CFTPClient("h", "u", "p", plain), path);
        EXPECT_EQ(options[0], std::string("URL='ftp://h") + path + "'");
    }
}

// ---- uploads ---------------------------------------------------------------------------------------------

/// The bytes that a request would send.
std::string sentBy(OpenRequest& request) {
    std::string sent;
    char block[16];
    while (const std::size_t count = request.readHandler(block, 1, sizeof block)) {
        if (count > sizeof block) {
            return "(error)";
        }
        sent.append(block, count);
    }
    return sent;
}

TEST_F(FTPClientOptionsTest, AnUploadSendsTheMemoryInPlace) {
    OpenRequest open;
    std::string data = "some more than sixteen bytes";
    CFTPClient client("h", "u", "p", plain);
    client.prepareUploadRequest(open, "/x", data.data(), static_cast<int>(data.size()), false);
    data[0] = 'S';
    EXPECT_EQ(sentBy(open), "Some more than sixteen bytes") << "nothing is copied";
}

TEST_F(FTPClientOptionsTest, AnUploadKeepsItsStream) {
    OpenRequest open;
    {
        const P<zet::IInStream> source = new zet::CMemoryInStream("stream", 6);
        CFTPClient("h", "u", "p", plain).prepareUploadRequest(open, "/x", source, 6, false);
    }
    EXPECT_EQ(sentBy(open), "stream");
}

TEST_F(FTPClientOptionsTest, AMoveThatCreatesDirectoriesSendsNothing) {
    OpenRequest open;
    CFTPClient client("h", "u", "p", plain);
    client.prepareMoveFileRequest(open, "/a", "/b", true);
    EXPECT_EQ(sentBy(open), "");
    client.prepareMoveDirRequest(open, "/a", "/b", true);
    EXPECT_EQ(sentBy(open), "");
}

TEST_F(FTPClientOptionsTest, AnUploadTakesSizesOfAllTypes) {
    CFTPClient client("h", "u", "p", plain);
    const auto sizeOf = [&](auto data, auto size) {
        return optionsOf([&] { client.prepareUploadRequest(request, "/x", data, size, false); }).back();
    };
    EXPECT_EQ(sizeOf(memory, 2), "INFILESIZE_LARGE=2OFF");
    EXPECT_EQ(sizeOf(memory, std::size_t(2)), "INFILESIZE_LARGE=2OFF");
    EXPECT_EQ(sizeOf(memory, int64(2)), "INFILESIZE_LARGE=2OFF");
    EXPECT_EQ(sizeOf(memory, std::uint16_t(2)), "INFILESIZE_LARGE=2OFF");
    EXPECT_EQ(sizeOf(memory, 0), "INFILESIZE_LARGE=0OFF");
    EXPECT_EQ(sizeOf(static_cast<const char*>(nullptr), 0), "INFILESIZE_LARGE=0OFF");
    EXPECT_EQ(sizeOf(&stream, 0), "INFILESIZE_LARGE=0OFF");
    EXPECT_EQ(sizeOf(&stream, 3), "INFILESIZE_LARGE=3OFF");
    EXPECT_EQ(sizeOf(&stream, std::size_t(3)), "INFILESIZE_LARGE=3OFF");
    EXPECT_EQ(sizeOf(&stream, int64(5000000000)), "INFILESIZE_LARGE=5000000000OFF");
}

TEST_F(FTPClientOptionsTest, AnUploadOfABufferSendsItsBytes) {
    OpenRequest open;
    CFTPClient client("h", "u", "p", plain);
    vexil::TBuffer<unsigned char> buffer;
    buffer.append(reinterpret_cast<const unsigned char*>("Hello"), 5);
    client.prepareUploadRequest(open, "/x", buffer, false);
    EXPECT_EQ(sentBy(open), "Hello");
}

// Allowed and refused types of `data`: all pointers convert to `const void*`.

template <class Data, class Size = int>
concept CanUpload = requires(CNetRequest& request, CFTPClient& client, Data data, Size size) {
    client.prepareUploadRequest(request, "/x", data, size, false);
    client.prepareUploadRequest(request, "/x", std::as_const(data), size, false);
};

using Buffer = vexil::TBuffer<unsigned char>;

static_assert(CanUpload<const void*>);
static_assert(CanUpload<const char*, std::size_t>);
static_assert(CanUpload<unsigned char*, int64>);
static_assert(CanUpload<std::nullptr_t>);
static_assert(CanUpload<zet::CBufferStream*, std::size_t>);
static_assert(CanUpload<P<zet::IInStream>>);
static_assert(CanUpload<P<zet::CBufferStream>, std::uint16_t>);

static_assert(!CanUpload<P<Buffer>>);
static_assert(!CanUpload<vexil::PC<Buffer>, std::size_t>);
static_assert(!CanUpload<const Buffer*, int64>);
static_assert(!CanUpload<std::string*>);
static_assert(!CanUpload<P<zet::IOutStream>>);
static_assert(!CanUpload<zet::IOutStream*, double>);
static_assert(!CanUpload<const zet::CBufferStream*>);
static_assert(!CanUpload<char**>);

TEST_F(FTPClientOptionsTest, TheLargestUploadFromMemoryIsTaken) {
    CFTPClient client("h", "u", "p", plain);
    const auto largest = std::numeric_limits<int>::max();
    EXPECT_EQ(optionsOf([&] { client.prepareUploadRequest(request, "/x", memory, largest, false); }).back(),
              "INFILESIZE_LARGE=2147483647OFF");
    EXPECT_EQ(optionsOf([&] {
                  client.prepareUploadRequest(request, "/x", memory, std::size_t(largest), false);
              }).back(),
              "INFILESIZE_LARGE=2147483647OFF");
}

TEST_F(FTPClientOptionsTest, AnUploadOfAWrongSizeIsRefused) {
    CFTPClient client("h", "u", "p", plain);
    const auto refusal = [&](auto data, auto size) {
        return refusalOf([&] { client.prepareUploadRequest(request, "/x", data, size, false); });
    };
    const std::string place = "CFTPClient::prepareUploadRequest: ";
    const std::string tooLarge = place + "size must be 0 to 2147483647 bytes; upload more from a stream";
    const char* const nothing = nullptr;
    zet::IInStream* const noStream = nullptr;
    EXPECT_EQ(refusal(memory, -1), place + "size must not be negative");
    EXPECT_EQ(refusal(nothing, 1), place + "data must not be null");
    EXPECT_EQ(refusal(nothing, std::size_t(1)), place + "data must not be null");
    EXPECT_EQ(refusal(memory, std::size_t(2147483648)), tooLarge);
    EXPECT_EQ(refusal(memory, int64(2147483648)), tooLarge);
    EXPECT_EQ(refusal(memory, std::numeric_limits<std::size_t>::max()), tooLarge);
    EXPECT_EQ(refusal(memory, int64(-2147483649)), tooLarge);
    EXPECT_EQ(refusal(&stream, -1), place + "size must not be negative");
    EXPECT_EQ(refusal(&stream, int64(-1)), place + "size must not be negative");
    EXPECT_EQ(refusal(noStream, 0), place + "data stream must not be null");
}

// ---- dummy names -----------------------------------------------------------------------------------------

std::string dummyOf(const Texts& calls) {
    std::smatch match;
    for (const std::string& call : calls) {
        static const std::regex pattern("^URL='ftp://h/to/(__dummy[0-9]+)'$");
        if (std::regex_match(call, match, pattern)) {
            return match[1];
        }
    }
    return "(none)";
}

TEST_F(FTPClientOptionsTest, ADummyIsNamedByTheNextNumberOfTheGlobalGenerator) {
    CFTPClient client("h", "u", "p", plain);
    for (int i = 0; i < 20; ++i) {
        recorder.calls.clear();
        // No other thread uses the generator here.
        zet::CMTRand copy(*zet::CMTRand::getGlobal());
        client.prepareMoveDirRequest(request, "/from", "/to", true);
        const std::string dummy = "__dummy" + std::to_string(copy.rand64());
        EXPECT_EQ(dummyOf(recorder.calls), dummy);
        EXPECT_EQ(recorder.calls.back(), "POSTQUOTE=[DELE /to/" + dummy + "]");
        EXPECT_EQ(copy.rand64(), zet::CMTRand::getGlobal()->rand64()) << "one number was drawn";
    }
}

TEST_F(FTPClientOptionsTest, OnlyADirectoryMoveThatCreatesDirectoriesDrawsANumber) {
    zet::CMTRand copy(*zet::CMTRand::getGlobal());
    for (const Operation& operation : operations) {
        if (operation.urlPath != "/a/b/__dummyN") {
            optionsOf(operation, CFTPClient("h", "u", "p", plain));
        }
    }
    EXPECT_EQ(copy.rand64(), zet::CMTRand::getGlobal()->rand64());
}

TEST_F(FTPClientOptionsTest, EachDummyHasAnotherName) {
    CFTPClient client("h", "u", "p", plain);
    std::set<std::string> names;
    for (int i = 0; i < 100; ++i) {
        recorder.calls.clear();
        client.prepareMoveDirRequest(request, "/from", "/to", true);
        names.insert(dummyOf(recorder.calls));
    }
    EXPECT_EQ(names.size(), 100u);
    EXPECT_EQ(names.count("(none)"), 0u);
}

TEST_F(FTPClientOptionsTest, ADummyIsDrawnUnderTheLockOfTheGenerator) {
    std::promise<void> begun;
    std::future<void> done;
    {
        const zet::CMutexLock lock(zet::CMTRand::getGlobalInstanceMutex());
        done = std::async(std::launch::async, [&] {
            begun.set_value();
            CFTPClient("h", "u", "p", plain).prepareMoveDirRequest(request, "/from", "/to", true);
        });
        begun.get_future().wait();
        EXPECT_EQ(done.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
    }
    done.get();
}

// ---- the hook --------------------------------------------------------------------------------------------

TEST_F(FTPClientOptionsTest, TheHookIsCalledLastOfTheCommonBeginning) {
    CFTPClient client("h", "u", "p", plain);
    client.setRequestSetup(
        new FunctionSetup([](CNetRequest& prepared) { prepared.setOptionInt(CURLOPT_TCP_NODELAY, 0); }));
    for (const Operation& operation : operations) {
        const Texts options = optionsOf(operation, client);
        const std::size_t position = options.size() - operation.options.size() - 1;
        EXPECT_EQ(options.at(position), "TCP_NODELAY=0L") << operation.member;
        EXPECT_EQ(options.at(position - 1), "HTTPPROXYTUNNEL=1L") << operation.member;
    }
}

TEST_F(FTPClientOptionsTest, TheHookIsCalledOnceAPreparationUntilItIsTakenAway) {
    int calls = 0;
    CFTPClient client("h", "u", "p", plain);
    client.setRequestSetup(new FunctionSetup([&](CNetRequest& prepared) {
        EXPECT_EQ(&prepared, &request);
        ++calls;
    }));
    for (const Operation& operation : operations) {
        operation.prepare(client, request, "/a/b");
    }
    EXPECT_EQ(calls, static_cast<int>(operations.size()));
    client.setRequestSetup(nullptr);
    client.prepareDeleteFileRequest(request, "/a");
    EXPECT_EQ(calls, static_cast<int>(operations.size()));
}

TEST_F(FTPClientOptionsTest, TheHookMayUndoTheTunnel) {
    CFTPClient client("h", "u", "p", plain);
    client.setRequestSetup(
        new FunctionSetup([](CNetRequest& prepared) { prepared.setOptionInt(CURLOPT_HTTPPROXYTUNNEL, 0); }));
    EXPECT_EQ(optionsOf(operations[0], client).back(), "HTTPPROXYTUNNEL=0L");
}

TEST_F(FTPClientOptionsTest, TheHookMayNotTouchWhatBelongsToTheOperation) {
    zet::CBufferStream sink;
    const std::vector<std::pair<std::string, std::function<void(CNetRequest&)>>> wrong = {
        {"URL", [](CNetRequest& r) { r.setURL("ftp://other"); }},
        {"method", [](CNetRequest& r) { r.setHTTPMethod("POST"); }},
        {"header list", [](CNetRequest& r) { r.setCustomHTTPHeaders(new CNetHeaders); }},
        {"receive data sink", [&](CNetRequest& r) { r.setReceiveDataStream(&sink); }},
        {"receive data sink", [](CNetRequest& r) { r.setReceiveDataSink(nullptr); }},
    };
    for (const auto& [what, call] : wrong) {
        CFTPClient client("h", "u", "p", plain);
        client.setRequestSetup(new FunctionSetup(call));
        for (const Operation& operation : allOperations()) {
            const auto error = thrownBy<CInvalidArgError>([&] { operation.prepare(client, request, "/a"); });
            ASSERT_TRUE(error);
            EXPECT_EQ(error->getPlace(), "CFTPClient::setRequestSetup");
            EXPECT_EQ(error->getMessage(), text("the set-up must not replace the " + what));
        }
    }
}

TEST_F(FTPClientOptionsTest, WhatTheHookThrowsEndsTheOperation) {
    CFTPClient client("h", "u", "p", plain);
    client.setRequestSetup(new FunctionSetup([](CNetRequest&) { throw OwnError("no"); }));
    bool performed = false;
    recorder.perform = [&](Recorder&) {
        performed = true;
        return CURLE_OK;
    };
    for (const Operation& operation : allOperations()) {
        EXPECT_EQ(messageOf(thrownBy<OwnError>([&] { operation.prepare(client, request, "/a"); })), "no");
    }
    EXPECT_FALSE(performed);
}

class SelfReplacingSetup : public virtual vexil::CBase, public INetRequestSetup {
public:
    SelfReplacingSetup(CFTPClient& client, INetRequestSetup* successor, int& alive)
        : m_client(client), m_successor(successor), m_counted(alive), m_alive(alive) {}
    void setUp(CNetRequest& request) override {
        m_client.setRequestSetup(m_successor);
        EXPECT_EQ(m_alive, 1) << "the hook is gone while it runs";
        request.setOptionInt(CURLOPT_MAXREDIRS, 1);
    }

private:
    CFTPClient& m_client;
    const P<INetRequestSetup> m_successor;
    const Counted m_counted;
    int& m_alive;
};

TEST_F(FTPClientOptionsTest, AHookMayReplaceItself) {
    int alive = 0;
    CFTPClient client("h", "u", "p", plain);
    const P<INetRequestSetup> successor =
        new FunctionSetup([](CNetRequest& prepared) { prepared.setOptionInt(CURLOPT_MAXREDIRS, 2); });
    client.setRequestSetup(new SelfReplacingSetup(client, successor, alive));
    const auto prepare = [&] { client.prepareDownloadRequest(request, "/x", 0, -1); };
    EXPECT_EQ(optionsOf(prepare).back(), "MAXREDIRS=1L");
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(optionsOf(prepare).back(), "MAXREDIRS=2L");
}

// ---- the recursive delete --------------------------------------------------------------------------------

/// Plays a server: listings by URL path; everything else succeeds and is recorded.
class FTPClientDeleteTest : public FTPClientOptionsTest {
protected:
    FTPClientDeleteTest() {
        recorder.perform = [this](Recorder& calls) {
            if (calls.pointers.count(CURLOPT_PREQUOTE) > 0) {
                return play(listText(static_cast<const curl_slist*>(calls.pointers.at(CURLOPT_PREQUOTE))));
            }
            EXPECT_EQ(calls.textOf(CURLOPT_CUSTOMREQUEST), "MLSD");
            const std::string url = calls.textOf(CURLOPT_URL).substr(std::string("ftp://h").size());
            const CURLcode result = play("list " + url);
            const std::string listing = listingOf(url);
            if (result == CURLE_OK && !listing.empty()) {
                calls.deliver(listing);
            }
            return result;
        };
        listingOf = [this](const std::string& url) { return listings[url]; };
    }

    CURLcode play(const std::string& step) {
        steps.push_back(step);
        return step == failing ? CURLE_QUOTE_ERROR : CURLE_OK;
    }

    CFTPClient client{"h", "u", "p", plain};
    std::map<std::string, std::string> listings;
    std::function<std::string(const std::string& url)> listingOf;
    Texts steps;
    std::string failing;
};

TEST_F(FTPClientDeleteTest, GoesIntoTheDepthInTheOrderOfTheListing) {
    listings["/d/"] = "type=file; z\r\ntype=dir; sub\r\ntype=file; a b#?%41\r\n";
    listings["/d/sub/"] = "type=dir; deep\ntype=file; x\n";
    client.deleteDirWithAllContents(request, "/d");
    EXPECT_THAT(steps, ElementsAre("list /d/", "[DELE /d/z]", "list /d/sub/", "list /d/sub/deep/",
                                   "[RMD /d/sub/deep]", "[DELE /d/sub/x]", "[RMD /d/sub]",
                                   "[DELE /d/a b#?%41]", "[RMD /d]"));
}

TEST_F(FTPClientDeleteTest, PassesOverTheDirectoryItselfItsParentAndUnknownTypes) {
    listings["/d/"] = "type=cdir; .\r\ntype=pdir; ..\r\ntype=cdir; /d\r\ntype=OS.unix=slink:; link\r\n"
                      "size=3; nothing\r\n last\r\ntype=pdir; \r\n";
    client.deleteDirWithAllContents(request, "/d");
    EXPECT_THAT(steps, ElementsAre("list /d/", "[RMD /d]"));
}

TEST_F(FTPClientDeleteTest, JoinsWithOneMoreSlash) {
    listings["/d/"] = "type=file; f\r\ntype=dir; e\r\n";
    client.deleteDirWithAllContents(request, "/d/");
    EXPECT_THAT(steps, ElementsAre("list /d/", "[DELE /d//f]", "list /d//e/", "[RMD /d//e]", "[RMD /d/]"));
}

TEST_F(FTPClientDeleteTest, EncodesTheURLsOnly) {
    client.setPathEncoding(CFTPClient::PathPercentEncode);
    listings["//d%20e/"] = "type=dir; #?%41;type=d \r\ntype=file; \xc3\xa4\r\n";
    listings["//d%20e/%23%3F%2541%3Btype%3Dd%20/"] = "type=file; a\tb\r\n";
    client.deleteDirWithAllContents(request, "/d e");
    EXPECT_THAT(steps, ElementsAre("list //d%20e/", "list //d%20e/%23%3F%2541%3Btype%3Dd%20/",
                                   "[DELE /d e/#?%41;type=d /a\tb]", "[RMD /d e/#?%41;type=d ]",
                                   "[DELE /d e/\xc3\xa4]", "[RMD /d e]"));
}

TEST_F(FTPClientDeleteTest, StopsAtTheFirstFailure) {
    listings["/d/"] = "type=file; a\r\ntype=dir; b\r\ntype=file; c\r\n";
    listings["/d/b/"] = "type=file; x\r\n";
    const Texts all = {"list /d/",   "[DELE /d/a]", "list /d/b/", "[DELE /d/b/x]",
                       "[RMD /d/b]", "[DELE /d/c]", "[RMD /d]"};
    for (std::size_t i = 0; i < all.size(); ++i) {
        steps.clear();
        failing = all[i];
        const auto error = thrownBy<CCURLError>([&] { client.deleteDirWithAllContents(request, "/d"); });
        EXPECT_EQ(error ? error->getCode() : -1, CURLE_QUOTE_ERROR);
        EXPECT_THAT(steps, ElementsAreArray(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(i) + 1));
    }
}

TEST_F(FTPClientDeleteTest, StopsAtAListingThatIsNone) {
    listings["/d/"] = "type=file; a\r\nrubbish\r\n";
    EXPECT_EQ(messageOf(thrownBy<CError>([&] { client.deleteDirWithAllContents(request, "/d"); })),
              "Invalid FTP dir entry: 'rubbish'");
    EXPECT_THAT(steps, ElementsAre("list /d/"));
}

TEST_F(FTPClientDeleteTest, StopsAtAMisleadingNameOfAFileOrDirectoryInBothModes) {
    const std::vector<std::string> names = {
        "", ".", "..", "/", "a/b", "../x", "/etc", "x/", std::string("a\0b", 3), std::string("\0", 1)};
    for (const auto encoding : {CFTPClient::PathVerbatim, CFTPClient::PathPercentEncode}) {
        client.setPathEncoding(encoding);
        const std::string root = encoding == CFTPClient::PathVerbatim ? "/d/" : "//d/";
        for (const std::string type : {"file", "dir"}) {
            for (const std::string& name : names) {
                steps.clear();
                listings[root] = "type=file; first\r\ntype=" + type + "; " + name + "\r\ntype=file; last\r\n";
                const auto error = thrownBy<CError>([&] { client.deleteDirWithAllContents(request, "/d"); });
                EXPECT_EQ(messageOf(error), "Invalid name in FTP directory '/d': '" + name + "'");
                EXPECT_EQ(error->getDomain(), "");
                EXPECT_EQ(error->getCode(), -1);
                EXPECT_THAT(steps, ElementsAre("list " + root, "[DELE /d/first]"));
            }
        }
    }
}

const Texts namesChangedByURLs = {
    " ",       "a b",  " a",       "a ",    "a\tb",         "#",         "a#b",
    "?x",      "a?",   "%41",      "a%2fb", "%Aa%",         "100%%ff",   ";type=d",
    "x;type=", "%25z", "a;type=i", "%00",   "é\xc3\xa9%E9", "%9Fx;type="};

TEST_F(FTPClientDeleteTest, StopsAtADirectoryWhoseNameIsAnotherInAURL) {
    for (const std::string& name : namesChangedByURLs) {
        steps.clear();
        listings["/d/"] = "type=file; first\r\ntype=dir; " + name + "\r\n";
        EXPECT_EQ(messageOf(thrownBy<CError>([&] { client.deleteDirWithAllContents(request, "/d"); })),
                  "Invalid name in FTP directory '/d': '" + name + "'");
        EXPECT_THAT(steps, ElementsAre("list /d/", "[DELE /d/first]")) << name;
    }
}

TEST_F(FTPClientDeleteTest, DeletesFilesWhoseNamesAreOthersInAURL) {
    for (const std::string& name : namesChangedByURLs) {
        steps.clear();
        listings["/d/"] = "type=file; " + name + "\r\n";
        client.deleteDirWithAllContents(request, "/d");
        EXPECT_THAT(steps, ElementsAre("list /d/", "[DELE /d/" + name + "]", "[RMD /d]"));
    }
}

TEST_F(FTPClientDeleteTest, GoesIntoEncodedDirectoriesOfAnyName) {
    client.setPathEncoding(CFTPClient::PathPercentEncode);
    for (const std::string& name : namesChangedByURLs) {
        steps.clear();
        listings["//d/"] = "type=dir; " + name + "\r\n";
        client.deleteDirWithAllContents(request, "/d");
        ASSERT_EQ(steps.size(), 4u) << name;
        EXPECT_EQ(steps[2], "[RMD /d/" + name + "]");
    }
}

TEST_F(FTPClientDeleteTest, GoesIntoDirectoriesWhoseNamesOnlyLookLikeOthers) {
    for (const std::string name : {"%", "a%", "%4", "%g1", "%1g", "100%x1", ";type", ";TYPE=", "type=d",
                                   "...", ".a", "a..", "-rf", "*", "\\", "\"", "\xc3\xa4", "~", "@:"}) {
        steps.clear();
        listings["/d/"] = "type=dir; " + name + "\r\n";
        client.deleteDirWithAllContents(request, "/d");
        EXPECT_THAT(steps,
                    ElementsAre("list /d/", "list /d/" + name + "/", "[RMD /d/" + name + "]", "[RMD /d]"));
    }
}

TEST_F(FTPClientDeleteTest, GoesAThousandLevelsDeep) {
    constexpr int limit = 1000;
    int levels = limit;
    listingOf = [&](const std::string& url) {
        const auto level = std::count(url.begin(), url.end(), '/') - 1;
        return level < levels ? "type=dir; d\r\n" : std::string("type=file; f\r\n");
    };
    client.deleteDirWithAllContents(request, "/d");
    EXPECT_EQ(steps.size(), 2u * limit + 1) << "each listed and removed, and the file";
    EXPECT_EQ(steps[limit - 1].size(), std::string("list ").size() + 2 * limit + 1);

    steps.clear();
    levels = limit + 1;
    const auto error = thrownBy<CError>([&] { client.deleteDirWithAllContents(request, "/d"); });
    std::string path;
    for (int i = 0; i <= limit; ++i) {
        path += "/d";
    }
    EXPECT_EQ(messageOf(error), "The FTP directory '" + path + "' lies more than 1000 levels deep.");
    EXPECT_EQ(steps.size(), static_cast<std::size_t>(limit)) << "listed, nothing removed";
}

TEST_F(FTPClientDeleteTest, NeedsNoEntries) {
    client.deleteDirWithAllContents(request, "/d");
    EXPECT_THAT(steps, ElementsAre("list /d/", "[RMD /d]"));
}

// ---- operations that perform -----------------------------------------------------------------------------

TEST_F(FTPClientDeleteTest, TheConvenienceOperationsPrepareAndPerform) {
    listings["/a/"] = "type=file;size=3; x\r\ntype=cdir; .\r\n";
    const P<CFTPListDirResult> listing = client.listDir(request, "/a");
    ASSERT_EQ(listing->getEntries().size(), 2u);
    EXPECT_EQ(listing->getEntries()[0]->getName(), "x");
    EXPECT_EQ(listing->getEntries()[1]->getName(), ".");
    client.createDir(request, "/b", false);
    client.createDir(request, "/c/d", true);
    client.deleteFile(request, "/e");
    client.removeDir(request, "/f");
    EXPECT_THAT(steps, ElementsAre("list /a/", "[MKD /b]", "[MKD /c/d]", "[DELE /e]", "[RMD /f]"));
}

}  // namespace
