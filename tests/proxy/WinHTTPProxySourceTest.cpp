// How the library reads the results of Windows. On other systems its file is built with headers of the tests.
#include "tests/support/PrintText.h"
#include "vexil/proxy/ProxySettings.h"
#include "vexil/proxy/WinHTTPProxySourceWindows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cwchar>
#include <map>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vexil::CProxySettings;
using vexil::CWinHTTPProxySource;
using vexil::P;
using vexil::String;

/// The results of the system; null for a text that it does not have.
struct Answers {
    bool hasUserConfig = true;
    BOOL isDetecting = 0;
    const wchar_t* scriptURL = nullptr;
    const wchar_t* userProxy = nullptr;
    const wchar_t* userBypass = nullptr;
    bool hasDefaultConfig = true;
    DWORD accessType = WINHTTP_ACCESS_TYPE_NAMED_PROXY;
    const wchar_t* defaultProxy = nullptr;
    const wchar_t* defaultBypass = nullptr;
};

Answers g_answers;
std::vector<std::string> g_calls;
/// Memory that the system has handed out and not got back.
std::map<void*, std::wstring> g_texts;
int g_wrongReturns = 0;

LPWSTR handOut(const wchar_t* text) {
    if (!text) {
        return nullptr;
    }
    const std::size_t size = std::wcslen(text) + 1;
    LPWSTR const copy = new wchar_t[size];
    std::wmemcpy(copy, text, size);
    g_texts[copy] = text;
    return copy;
}

BOOL WINAPI getUserConfig(WINHTTP_CURRENT_USER_IE_PROXY_CONFIG* config) {
    g_calls.emplace_back("user");
    if (!g_answers.hasUserConfig) {
        return 0;
    }
    config->fAutoDetect = g_answers.isDetecting;
    config->lpszAutoConfigUrl = handOut(g_answers.scriptURL);
    config->lpszProxy = handOut(g_answers.userProxy);
    config->lpszProxyBypass = handOut(g_answers.userBypass);
    return 1;
}

BOOL WINAPI getDefaultConfig(WINHTTP_PROXY_INFO* info) {
    g_calls.emplace_back("default");
    if (!g_answers.hasDefaultConfig) {
        return 0;
    }
    info->dwAccessType = g_answers.accessType;
    info->lpszProxy = handOut(g_answers.defaultProxy);
    info->lpszProxyBypass = handOut(g_answers.defaultBypass);
    return 1;
}

HGLOBAL WINAPI giveBack(HGLOBAL memory) {
    if (g_texts.erase(memory) == 0) {
        ++g_wrongReturns;
        return memory;
    }
    delete[] static_cast<wchar_t*>(memory);
    return nullptr;
}

CWinHTTPProxySource::CFunctions getFunctions() {
    CWinHTTPProxySource::CFunctions functions;
    functions.getUserConfig = &getUserConfig;
    functions.getDefaultConfig = &getDefaultConfig;
    functions.free = &giveBack;
    return functions;
}

class WinHTTPProxySourceTest : public testing::Test {
protected:
    WinHTTPProxySourceTest() {
        g_answers = Answers();
        g_calls.clear();
    }
    ~WinHTTPProxySourceTest() override {
        EXPECT_THAT(g_texts, IsEmpty()) << "texts that the system did not get back";
        EXPECT_EQ(g_wrongReturns, 0) << "texts given back that are not the system's, or twice";
    }

    /// "PROXIES | HOSTS".
    static std::string read() {
        String proxies = "old";
        String hosts = "old";
        P<CWinHTTPProxySource>(new CWinHTTPProxySource(getFunctions()))->read(proxies, hosts);
        return (proxies + " | " + hosts).toUTF8();
    }
};

TEST_F(WinHTTPProxySourceTest, TellsWhatTheUserHasSet) {
    g_answers.userProxy = L"http=p1:80;https=p2:443";
    g_answers.userBypass = L"a;b <local>";
    g_answers.defaultProxy = L"other:1";
    EXPECT_EQ(read(), "http=p1:80;https=p2:443 | a;b <local>");
    EXPECT_THAT(g_calls, ElementsAre("user"));
}

TEST_F(WinHTTPProxySourceTest, TextsAreFreedOfWhiteSpace) {
    g_answers.userProxy = L" \tp:1\r\n";
    g_answers.userBypass = L"\n a ";
    EXPECT_EQ(read(), "p:1 | a");
    g_answers.userProxy = nullptr;
    g_answers.defaultProxy = L" \tp:2\r\n";
    g_answers.defaultBypass = L"\n b ";
    EXPECT_EQ(read(), "p:2 | b");
}

TEST_F(WinHTTPProxySourceTest, ScriptsAndTheirDetectionAreNotHeeded) {
    g_answers.isDetecting = 1;
    g_answers.scriptURL = L"http://proxy.example/proxy.pac";
    EXPECT_EQ(read(), " | ");
    EXPECT_THAT(g_calls, ElementsAre("user", "default"));
    g_answers.userProxy = L"p:1";
    EXPECT_EQ(read(), "p:1 | ");
}

TEST_F(WinHTTPProxySourceTest, WithoutAProxyOfTheUsersThatOfWinHTTPCounts) {
    g_answers.defaultProxy = L"other:1";
    g_answers.defaultBypass = L"c";
    for (const wchar_t* none : {static_cast<const wchar_t*>(nullptr), L"", L" \t"}) {
        g_answers.userProxy = none;
        g_answers.userBypass = L"a";
        g_calls.clear();
        EXPECT_EQ(read(), "other:1 | c");
        EXPECT_THAT(g_calls, ElementsAre("user", "default"));
    }
}

TEST_F(WinHTTPProxySourceTest, TheAccessTypeWithoutAProxySkipsTheTexts) {
    g_answers.userBypass = L"a";
    g_answers.defaultProxy = L"other:1";
    g_answers.defaultBypass = L"c";
    g_answers.accessType = WINHTTP_ACCESS_TYPE_NO_PROXY;
    EXPECT_EQ(read(), " | a");
    // Only that one.
    g_answers.accessType = WINHTTP_ACCESS_TYPE_DEFAULT_PROXY;
    EXPECT_EQ(read(), "other:1 | c");
}

TEST_F(WinHTTPProxySourceTest, CallsThatFailAreSkipped) {
    g_answers.hasUserConfig = false;
    g_answers.userProxy = L"p:1";
    g_answers.defaultProxy = L"other:1";
    EXPECT_EQ(read(), "other:1 | ");
    g_answers.hasDefaultConfig = false;
    EXPECT_EQ(read(), " | ");
    g_answers.hasUserConfig = true;
    EXPECT_EQ(read(), "p:1 | ");
    g_answers.userProxy = nullptr;
    g_answers.userBypass = L"a";
    EXPECT_EQ(read(), " | a");
}

TEST_F(WinHTTPProxySourceTest, NullsOfTheSystemAreEmptyTexts) {
    g_answers.hasDefaultConfig = true;
    EXPECT_EQ(read(), " | ");
}

#ifndef _WIN32
// The functions of Windows itself are tested in UserProxySettingsWindowsTest.
TEST_F(WinHTTPProxySourceTest, AsksTheSystemItself) {
    g_answers.defaultProxy = L" p:1 ";
    String proxies;
    String hosts;
    P<CWinHTTPProxySource>(new CWinHTTPProxySource)->read(proxies, hosts);
    EXPECT_EQ(proxies, "p:1");
    EXPECT_THAT(g_calls, ElementsAre("user", "default"));
}

TEST_F(WinHTTPProxySourceTest, IsThatOfTheSystem) {
    g_answers.userProxy = L"http=p:1 https://q:2/";
    g_answers.userBypass = L"Files.Example;*.example";
    CProxySettings settings;
    settings.initFromSource(*vexil::IUserProxySource::createForSystem());
    EXPECT_EQ(settings.getProxyForURL("http://host/"), "p:1");
    EXPECT_EQ(settings.getProxyForURL("https://a.example/"), "https://q:2/");
    EXPECT_EQ(settings.getProxyForURL("http://files.example/"), "");
    g_answers.userProxy = nullptr;
    settings.initFromSource(*vexil::IUserProxySource::createForSystem());
    EXPECT_EQ(settings.getProxyForURL("http://host/"), "");
    EXPECT_FALSE(settings.isDirectConnectHost("files.example")) << "without a proxy hosts are not heeded";
}

#endif

}  // namespace

#ifndef _WIN32
BOOL WINAPI WinHttpGetIEProxyConfigForCurrentUser(WINHTTP_CURRENT_USER_IE_PROXY_CONFIG* config) {
    return getUserConfig(config);
}

BOOL WINAPI WinHttpGetDefaultProxyConfiguration(WINHTTP_PROXY_INFO* info) {
    return getDefaultConfig(info);
}

HGLOBAL WINAPI GlobalFree(HGLOBAL memory) {
    return giveBack(memory);
}
#endif
