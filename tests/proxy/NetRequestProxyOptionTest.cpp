// Which option a request sets for the user's proxies. Linux: the function in OptionRecorder.h replaces
// libcurl's.
#include "tests/net/NetRequestTestSupport.h"
#include "tests/proxy/ProxyEnvironment.h"
#include "tests/support/OptionRecorder.h"
#include "tests/support/ScriptedPeer.h"
#include "vexil/proxy/ProxySettings.h"

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;
using vexil::CProxySettings;

class NetRequestProxyOptionTest : public testing::Test {
protected:
    NetRequestProxyOptionTest() {
        clearProxyVariables();
        settings->initFromUserSettings();
    }
    ~NetRequestProxyOptionTest() override {
        isRecording = false;
        optionsUntilFailure = -1;
    }

    std::vector<std::string> recordedBy(const std::function<void()>& work) {
        events.clear();
        isRecording = true;
        work();
        isRecording = false;
        std::vector<std::string> texts;
        for (const RecordedOption& event : events) {
            texts.push_back(event.text);
        }
        return texts;
    }

    P<CProxySettings> settings = CProxySettings::getUserSettings();
    P<CNetRequest> request = new CNetRequest;
};

TEST_F(NetRequestProxyOptionTest, TheAnswerIsSetAsItIs) {
    settings->addProxiesFromString("http=Proxy:3128;ftp=http://u:p%20w@h:1/;smtp=socks5h://s");
    settings->addDirectConnectHost("near");
    const std::pair<const char*, const char*> cases[] = {
        {"http://host/a", "PROXY='Proxy:3128'"},
        {"HTTP://host/a", "PROXY='Proxy:3128'"},
        {"ftp://host/", "PROXY='http://u:p%20w@h:1/'"},
        {"smtp://host:25", "PROXY='socks5h://s'"},
        {"https://host/", "PROXY=''"},
        {"http://Near:80/", "PROXY=''"},
        {"http", "PROXY=''"},
        {"", "PROXY=''"},
    };
    for (const auto& [url, option] : cases) {
        request->setURL(url);
        EXPECT_THAT(recordedBy([&] { request->setProxyForCurrentURLFromUserSettings(); }),
                    ElementsAre(option))
            << url;
    }
}

TEST_F(NetRequestProxyOptionTest, WithoutAURLItIsEmpty) {
    settings->addProxiesFromString("http=p:1;=p:2");
    EXPECT_THAT(recordedBy([&] { request->setProxyForCurrentURLFromUserSettings(); }),
                ElementsAre("PROXY=''"));
}

TEST_F(NetRequestProxyOptionTest, AFailureOfTheOptionIsToldAndItsValueIsLeft) {
    ScriptedPeer proxy;
    settings->addProxiesFromString("http=127.0.0.1:" + String::fromInt(proxy.port()));
    request->setURL("http://files.example/a");
    request->setProxyForCurrentURLFromUserSettings();
    optionsUntilFailure = 0;
    EXPECT_TRUE(thrownBy<CCURLError>([&] { request->setProxyForCurrentURLFromUserSettings(); }));
    optionsUntilFailure = -1;
    proxy.onConnection().expectHead().reply("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
    request->perform();
    EXPECT_EQ(bodyOf(*request), "ok");
    // Ends the connection; the script waits for this.
    request = nullptr;
    EXPECT_TRUE(proxy.waitUntilIdle());
    EXPECT_THAT(proxy.failures(), IsEmpty());
}

}  // namespace
