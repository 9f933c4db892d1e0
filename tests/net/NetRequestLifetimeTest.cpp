// How long references are kept, and what reset() keeps.
#include "tests/net/NetRequestTestSupport.h"
#include "zet/MemoryInStream.h"

#include <type_traits>

namespace {

using namespace vexil_test;
using testing::IsEmpty;
using vexil::CNetHeaders;
using vexil::CNetStringList;
using vexil::CServerInfo;
using vexil::TBuffer;

static_assert(!std::is_copy_constructible_v<CNetRequest> && !std::is_move_constructible_v<CNetRequest>);
static_assert(!std::is_copy_assignable_v<CNetRequest> && !std::is_move_assignable_v<CNetRequest>);

/// A class whose living objects are counted.
template <class Base>
class CountedOf : public Base {
public:
    template <class... Arguments>
    explicit CountedOf(int& alive, Arguments&&... arguments)
        : Base(std::forward<Arguments>(arguments)...), m_alive(alive) {
        ++m_alive;
    }
    ~CountedOf() override { --m_alive; }

private:
    int& m_alive;
};

class NetRequestLifetimeTest : public testing::Test {
protected:
    template <class Object, class... Arguments>
    Object* make(Arguments&&... arguments) {
        return new CountedOf<Object>(alive, std::forward<Arguments>(arguments)...);
    }

    void fill() {
        request->setURL("http://h/");
        request->setHTTPMethod("PUT");
        request->setSendDataSource(make<TestSource>());
        request->setReceiveDataSink(make<TestSink>());
        request->setDoneListener(make<TestListener>());
        request->setCustomHTTPHeaders(make<CNetHeaders>());
        request->setFTPCustomPreCommands(make<CNetStringList>());
        request->setFTPCustomPostCommands(make<CNetStringList>());
        request->setServerInfoToUpdate(make<CServerInfo>());
        request->addDependencyObject(new Counted(alive));
        request->addDependencyObject(new Counted(alive));
    }
    static constexpr int filled = 9;

    int alive = 0;
    int userDataAlive = 0;
    P<OpenRequest> request = new OpenRequest;
};

TEST_F(NetRequestLifetimeTest, EverythingGivenIsKeptUntilTheRequestEnds) {
    fill();
    request->setUserData(new Counted(userDataAlive));
    EXPECT_EQ(alive, filled);
    EXPECT_EQ(userDataAlive, 1);
    request = nullptr;
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(userDataAlive, 0);
}

TEST_F(NetRequestLifetimeTest, ResetReleasesEverythingButTheUserData) {
    fill();
    const P<Counted> data = new Counted(userDataAlive);
    request->setUserData(data);
    request->reset();
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(request->getUserData().get(), static_cast<vexil::IBase*>(data.get()));
    request->setUserData(nullptr);
    EXPECT_EQ(request->getUserData().get(), nullptr);
}

TEST_F(NetRequestLifetimeTest, ANewValueReleasesTheOldOne) {
    fill();
    fill();
    EXPECT_EQ(alive, filled + 2) << "only dependencies add up";
    request->setSendDataSource(nullptr);
    request->setReceiveDataSink(nullptr);
    request->setDoneListener(nullptr);
    request->setCustomHTTPHeaders(nullptr);
    request->setFTPCustomPreCommands(nullptr);
    request->setFTPCustomPostCommands(nullptr);
    request->setServerInfoToUpdate(nullptr);
    EXPECT_EQ(alive, 4);
}

TEST_F(NetRequestLifetimeTest, TheSameValueAgainIsHarmless) {
    const P<CNetHeaders> headers = new CNetHeaders;
    request->setCustomHTTPHeaders(headers);
    request->setCustomHTTPHeaders(request->getCustomHTTPHeaders());
    request->setReceiveDataSink(make<TestSink>());
    request->setReceiveDataSink(nullptr);
    EXPECT_EQ(request->getCustomHTTPHeaders().get(), headers.get());
    EXPECT_EQ(alive, 0);
}

TEST_F(NetRequestLifetimeTest, AStreamIsKeptWhileItIsTheSource) {
    request->setSendDataStream(make<zet::CMemoryInStream>("abc", 3));
    EXPECT_EQ(alive, 1);
    request->setSendDataSource(nullptr);
    EXPECT_EQ(alive, 0);
    request->setSendDataStream(make<zet::CMemoryInStream>("abc", 3));
    request->setSendDataStream(nullptr);
    EXPECT_EQ(alive, 0);
    request->setSendDataStream(make<zet::CMemoryInStream>("abc", 3));
    request->reset();
    EXPECT_EQ(alive, 0);
}

TEST_F(NetRequestLifetimeTest, ABufferIsKeptWhileItIsSent) {
    const auto* buffer = make<TBuffer<unsigned char>>(3);
    request->setSendDataBuffer(buffer);
    EXPECT_EQ(alive, 1);
    request->setSendDataAsUTF8("x");
    EXPECT_EQ(alive, 0);
}

TEST_F(NetRequestLifetimeTest, AReceivingStreamIsKeptWhileItIsTheSink) {
    request->setReceiveDataStream(make<zet::CBufferStream>());
    EXPECT_EQ(alive, 1);
    request->setDefaultReceiveDataStream();
    EXPECT_EQ(alive, 0);
}

TEST_F(NetRequestLifetimeTest, ThePreviousHeadersLiveUntilLibcurlHasTheNewOnes) {
    request->setCustomHTTPHeaders(make<CNetHeaders>());
    request->setCustomHTTPHeaders(make<CNetHeaders>());
    EXPECT_EQ(alive, 1);
}

TEST_F(NetRequestLifetimeTest, ARequestOnTheStackIsNeverDeletedThroughAPointer) {
    CNetRequest onStack;
    { const P<CNetRequest> temporary = &onStack; }
    onStack.setURL("http://h/");
    EXPECT_EQ(onStack.getURL(), "http://h/");
}

TEST_F(NetRequestLifetimeTest, ResetGivesTheStateOfANewRequest) {
    fill();
    request->header("HTTP/1.1 200 OK\r\n");
    request->header("A: b\r\n");
    request->header("\r\n");
    request->setDefaultReceiveDataStream();
    request->write("body");
    request->setReceiveDataSink(new TestSink);
    request->setAsyncInfo(true, CURLE_COULDNT_CONNECT);
    request->reset();

    EXPECT_EQ(request->getURL(), "");
    EXPECT_EQ(request->getHTTPMethod(), "GET");
    EXPECT_EQ(request->getHTTPStatusLine(), "");
    EXPECT_EQ(request->getResponseCodeDomain(), "");
    EXPECT_EQ(request->getResponseCode(), 0);
    EXPECT_EQ(request->getErrorMessage(), "");
    EXPECT_THAT(request->getResponseHeaderMap(), IsEmpty());
    EXPECT_THAT(linesOf(request->getResponseInfo()), IsEmpty());
    EXPECT_EQ(bodyOf(*request), "");
    EXPECT_TRUE(request->usesDefaultReceiveBuffer());
    EXPECT_FALSE(request->isAsyncDone());
    EXPECT_TRUE(request->isResponseComplete());
    request->checkAsyncResult();
}

TEST_F(NetRequestLifetimeTest, ANewRequestHasNothingReceived) {
    EXPECT_EQ(request->getURL(), "");
    EXPECT_EQ(request->getHTTPMethod(), "GET");
    EXPECT_EQ(request->getHTTPStatusLine(), "");
    EXPECT_EQ(request->getResponseCode(), 0);
    EXPECT_THAT(request->getResponseHeaderMap(), IsEmpty());
    EXPECT_THAT(linesOf(request->getResponseInfo()), IsEmpty());
    EXPECT_EQ(bodyOf(*request), "");
    EXPECT_TRUE(request->usesDefaultReceiveBuffer());
    EXPECT_EQ(request->getUserData().get(), nullptr);
    EXPECT_EQ(request->getCustomHTTPHeaders().get(), nullptr);
    EXPECT_FALSE(request->isVerboseEnabled());
    EXPECT_FALSE(request->isAsyncDone());
    EXPECT_FALSE(request->waitAsyncDone(0));
    EXPECT_NE(request->getHandle(), nullptr);
}

TEST_F(NetRequestLifetimeTest, ResetMayBeRepeated) {
    fill();
    request->reset();
    request->reset();
    EXPECT_EQ(alive, 0);
}

// ---- what reset keeps ------------------------------------------------------------------------------------

/// The text in the log for a body that was sent.
std::string shownOfSentData(CNetRequest& request) {
    char body[] = "sent";
    request.setVerbose(true);
    request.onLogDebugMessage(request.getHandle(), CURLINFO_DATA_OUT, body, 4);
    const auto log = request.getVerboseOutput(100);
    return log->getChildren().back()->getText().toUTF8();
}

TEST_F(NetRequestLifetimeTest, ResetDecidesTheAutomaticVerboseSettingByTheLastUse) {
    request->setUpload(true);
    request->reset();
    EXPECT_EQ(shownOfSentData(*request), "~stripped~");
    request->resetForPerform();
    EXPECT_EQ(shownOfSentData(*request), "~stripped~") << "decided once";
}

TEST_F(NetRequestLifetimeTest, ResetDecidesTheAutomaticVerboseSettingByTheLastMethod) {
    request->setHTTPMethod("PUT");
    request->setUpload(false);
    request->reset();
    EXPECT_EQ(shownOfSentData(*request), "~stripped~");
}

TEST_F(NetRequestLifetimeTest, ResetWithoutAnUploadShowsSentDataFromThenOn) {
    request->reset();
    request->setHTTPMethod("PUT");
    request->resetForPerform();
    EXPECT_EQ(shownOfSentData(*request), "sent");
}

TEST_F(NetRequestLifetimeTest, ResetKeepsThatARequestIsVerbose) {
    request->setVerbose(true);
    request->reset();
    EXPECT_TRUE(request->isVerboseEnabled());
}

// ---- what calls back while it goes
// -------------------------------------------------------------------------

/// Calls a function in its destructor.
class CallingDependency : public virtual vexil::CBase {
public:
    explicit CallingDependency(std::function<void()> call) : m_call(std::move(call)) {}
    ~CallingDependency() override { m_call(); }

private:
    std::function<void()> m_call;
};

TEST_F(NetRequestLifetimeTest, ADependencyThatGoesMayAddOthers) {
    for (int i = 0; i < 3; ++i) {
        request->addDependencyObject(
            new CallingDependency([this] { request->addDependencyObject(new Counted(alive)); }));
    }
    request->reset();
    EXPECT_EQ(alive, 3) << "they came after the reset of the old ones";
    request->reset();
    EXPECT_EQ(alive, 0);
}

/// A sink that can restart, and calls a function in its destructor.
class CallingSink : public virtual vexil::CBase, public CNetRequest::IRestartableDataSink {
public:
    explicit CallingSink(std::function<void()> call) : m_call(std::move(call)) {}
    ~CallingSink() override {
        m_isGoing = true;
        m_call();
    }
    void write(const void*, int, int, const HeaderMap&) override {}
    void restart() override { EXPECT_FALSE(m_isGoing); }

private:
    std::function<void()> m_call;
    bool m_isGoing = false;
};

TEST_F(NetRequestLifetimeTest, ASinkThatGoesIsNotRestartedByWhatItCalls) {
    const auto begin = [this] { request->resetForPerform(); };
    request->setReceiveDataSink(new CallingSink(begin));
    request->setReceiveDataSink(make<TestSink>());
    request->setReceiveDataSink(new CallingSink(begin));
    request->setDefaultReceiveDataStream();
    EXPECT_EQ(alive, 0);
}

}  // namespace
