#include "tests/support/Latch.h"
#include "vexil/proxy/ProxySettings.h"
#include "vexil/proxy/UserProxySource.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

using vexil::CProxySettings;
using vexil::P;
using vexil::String;
using vexil::TArray;
using vexil_test::Latch;

constexpr int rounds = 300;

/// Runs each on its own thread, `rounds` times; all begin together.
void runTogether(const std::vector<std::function<void(int round)>>& works) {
    Latch start(static_cast<int>(works.size()));
    std::vector<std::thread> threads;
    for (const auto& work : works) {
        threads.emplace_back([&] {
            start.arriveAndWait();
            for (int round = 0; round < rounds; ++round) {
                work(round);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

class Source : public virtual vexil::CBase, public vexil::IUserProxySource {
public:
    void read(String& proxies, String& directConnectHosts) override {
        proxies = "http=p:1;https=p:1;ftp=p:1";
        directConnectHosts = "a;b;c";
    }
};

String numbered(const char* text, int number) {
    return text + String::fromInt(number % 7);
}

TEST(ProxySettingsThreadsTest, AllOperationsAtOnce) {
    CProxySettings settings;
    const P<Source> source = new Source;
    runTogether({
        [&](int) { settings.clear(); },
        [&](int round) { settings.setProxyForURLScheme(numbered("s", round), "p:1"); },
        [&](int round) { settings.setProxyForURLScheme(numbered("s", round), ""); },
        [&](int round) {
            const String proxy = settings.getProxyForURLScheme(numbered("s", round));
            EXPECT_TRUE(proxy.isEmpty() || proxy == "p:1");
        },
        [&](int) {
            TArray<String> schemes;
            settings.getProxyURLSchemes(schemes);
            EXPECT_LE(schemes.size(), 10u);
        },
        [&](int) {
            const String proxy = settings.getProxyForURL("http://a:80/path");
            EXPECT_TRUE(proxy.isEmpty() || proxy == "p:1");
        },
        [&](int round) { settings.addDirectConnectHost(numbered("h", round)); },
        [&](int round) { settings.removeDirectConnectHost(numbered("h", round)); },
        [&](int) { settings.isDirectConnectHost("a"); },
        [&](int) {
            TArray<String> hosts;
            settings.getDirectConnectHosts(hosts);
            EXPECT_LE(hosts.size(), 10u);
        },
        [&](int) { settings.addProxiesFromString("http=p:1 https=;ftp=p:1"); },
        [&](int) { settings.addDirectConnectHostsFromString("a,b"); },
        [&](int) { settings.initFromUserSettings(); },
        [&](int) { settings.initFromSource(*source); },
    });
}

TEST(ProxySettingsThreadsTest, AnOperationIsSeenWholeOrNotAtAll) {
    CProxySettings settings;
    const P<Source> source = new Source;
    settings.initFromSource(*source);
    const auto countAll = [&] {
        TArray<String> schemes;
        settings.getProxyURLSchemes(schemes);
        EXPECT_EQ(schemes.size(), 3u);
        TArray<String> hosts;
        settings.getDirectConnectHosts(hosts);
        EXPECT_EQ(hosts.size(), 3u);
    };
    const auto init = [&](int) { settings.initFromSource(*source); };
    const auto ask = [&](int) {
        EXPECT_EQ(settings.getProxyForURL("http://other/"), "p:1");
        EXPECT_EQ(settings.getProxyForURL("http://a/"), "");
        countAll();
    };
    runTogether({init, ask, ask, init, ask});
}

TEST(ProxySettingsThreadsTest, AListIsAddedWholeOrNotAtAll) {
    // Long enough that other threads run while it is added.
    constexpr int length = 200;
    String setting;
    String removing;
    for (int i = 0; i < length; ++i) {
        const String scheme = "s" + String::fromInt(i);
        setting += scheme + "=p ";
        removing += scheme + "= ";
    }
    CProxySettings settings;
    const auto add = [&](int round) {
        settings.addProxiesFromString(round % 2 == 0 ? setting : removing);
        settings.clear();
        settings.addDirectConnectHostsFromString(setting);
    };
    const auto count = [&](int) {
        TArray<String> schemes;
        settings.getProxyURLSchemes(schemes);
        EXPECT_TRUE(schemes.empty() || schemes.size() == length) << schemes.size();
        TArray<String> hosts;
        settings.getDirectConnectHosts(hosts);
        EXPECT_TRUE(hosts.empty() || hosts.size() == length) << hosts.size();
    };
    runTogether({add, count, add, count});
}

TEST(ProxySettingsThreadsTest, TheUsersAreSharedByAll) {
    const auto ask = [](int) {
        const P<CProxySettings> settings = CProxySettings::getUserSettings();
        settings->getProxyForURL("http://host/");
    };
    runTogether({ask, ask, ask, ask, [](int) { CProxySettings::getUserSettings()->initFromUserSettings(); },
                 [](int round) {
                     CProxySettings::getUserSettings()->setProxyForURLScheme(numbered("s", round), "p");
                 }});
}

}  // namespace
