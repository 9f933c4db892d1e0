// The settings of the user and of the machine in the registry, read by the system's own functions. Only under
// Wine, whose registry belongs to these tests alone.
#include "tests/support/PrintText.h"
#include "vexil/proxy/ProxySettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>
#include <windows.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vexil::CProxySettings;
using vexil::String;
using vexil::TArray;

// In the value of the user's settings.
constexpr DWORD direct = 1;
constexpr DWORD proxy = 2;
constexpr DWORD script = 4;
constexpr DWORD detection = 8;
// In the value of the settings for WinHTTP.
constexpr DWORD accessDirect = 1;
constexpr DWORD accessNamedProxy = 3;

constexpr wchar_t connections[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\Connections";
constexpr wchar_t userValue[] = L"DefaultConnectionSettings";
constexpr wchar_t machineValue[] = L"WinHttpSettings";

bool isWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

/// A value as WinHTTP stores it: numbers, and texts after their lengths.
class Value {
public:
    Value& add(DWORD number) {
        for (int shift = 0; shift < 32; shift += 8) {
            m_bytes.push_back(static_cast<BYTE>(number >> shift));
        }
        return *this;
    }
    Value& add(const std::string& text) {
        add(static_cast<DWORD>(text.size()));
        m_bytes.insert(m_bytes.end(), text.begin(), text.end());
        return *this;
    }
    Value& addZeros(std::size_t count) {
        m_bytes.resize(m_bytes.size() + count);
        return *this;
    }

    void write(HKEY root, const wchar_t* name) const {
        EXPECT_EQ(RegSetKeyValueW(root, connections, name, REG_BINARY, m_bytes.data(),
                                  static_cast<DWORD>(m_bytes.size())),
                  ERROR_SUCCESS);
    }

private:
    std::vector<BYTE> m_bytes;
};

class UserProxySettingsTest : public testing::Test {
protected:
    void SetUp() override {
        if (!isWine()) {
            GTEST_SKIP() << "the settings of a real user are left alone";
        }
        removeValues();
    }
    void TearDown() override {
        if (isWine()) {
            removeValues();
        }
    }

    static void setUser(DWORD flags, const std::string& proxies, const std::string& bypass,
                        const std::string& scriptURL = "") {
        Value().add(0x46).add(1).add(flags).add(proxies).add(bypass).add(scriptURL).addZeros(32).write(
            HKEY_CURRENT_USER, userValue);
    }
    static void setMachine(DWORD access, const std::string& proxies, const std::string& bypass) {
        Value().add(0x18).add(0).add(access).add(proxies).add(bypass).write(HKEY_LOCAL_MACHINE, machineValue);
    }

    /// "scheme=proxy" for each, then the hosts that are reached directly.
    static std::vector<std::string> read() {
        CProxySettings settings;
        settings.setProxyForURLScheme("old", "old:1");
        settings.addDirectConnectHost("old");
        settings.initFromUserSettings();
        TArray<String> schemes;
        settings.getProxyURLSchemes(schemes);
        std::vector<std::string> all;
        for (const String& scheme : schemes) {
            all.push_back((scheme + "=" + settings.getProxyForURLScheme(scheme)).toUTF8());
        }
        TArray<String> hosts;
        settings.getDirectConnectHosts(hosts);
        for (const String& host : hosts) {
            all.push_back(host.toUTF8());
        }
        return all;
    }

private:
    static void removeValues() {
        RegDeleteKeyValueW(HKEY_CURRENT_USER, connections, userValue);
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, connections, machineValue);
    }
};

TEST_F(UserProxySettingsTest, AreEmptyWhereNothingIsSet) {
    EXPECT_THAT(read(), IsEmpty());
}

TEST_F(UserProxySettingsTest, AreTheUsersProxiesAndHosts) {
    setUser(direct | proxy, "http=p1:80;https=p2:443", "a.example;<local>");
    setMachine(accessNamedProxy, "other:1", "b.example");
    EXPECT_THAT(read(), ElementsAre("http=p1:80", "https=p2:443", "<local>", "a.example"));
    setUser(proxy, "p:3128", "");
    EXPECT_THAT(read(), ElementsAre("ftp=p:3128", "http=p:3128", "https=p:3128"));
}

TEST_F(UserProxySettingsTest, AProxyThatIsSwitchedOffIsNone) {
    setUser(direct, "p:1", "a.example");
    EXPECT_THAT(read(), IsEmpty());
}

TEST_F(UserProxySettingsTest, ScriptsAndDetectionAreNotHeeded) {
    setUser(direct | script, "", "", "http://127.0.0.1:1/proxy.pac");
    EXPECT_THAT(read(), IsEmpty());
    setUser(direct | detection, "", "");
    EXPECT_THAT(read(), IsEmpty());
    setUser(direct | proxy | script | detection, "http=p:1", "", "http://127.0.0.1:1/proxy.pac");
    EXPECT_THAT(read(), ElementsAre("http=p:1"));
}

TEST_F(UserProxySettingsTest, AreThoseOfTheMachineWhereTheUserHasNone) {
    setMachine(accessNamedProxy, "http=other:1", "b.example");
    EXPECT_THAT(read(), ElementsAre("http=other:1", "b.example"));
    setUser(direct, "p:1", "a.example");
    EXPECT_THAT(read(), ElementsAre("http=other:1", "b.example"));
    setUser(direct | script, "", "", "http://127.0.0.1:1/proxy.pac");
    EXPECT_THAT(read(), ElementsAre("http=other:1", "b.example"));
}

TEST_F(UserProxySettingsTest, AMachineWithoutAProxyHasNone) {
    setMachine(accessDirect, "", "");
    EXPECT_THAT(read(), IsEmpty());
}

}  // namespace
