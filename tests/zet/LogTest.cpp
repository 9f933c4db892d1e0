#include "zet/Log.h"

#include "zet/Error.h"
#include "zet/Mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using zet::CLogMessage;
using zet::LogLevel;
using zet::P;
using zet::String;

class CRecordingSink : public virtual zet::CBase, public zet::ILogSink {
public:
    void log(const CLogMessage& message) override {
        const zet::CMutexLock lock(m_mutex);
        messages.push_back(message);
        errorTexts.push_back(message.error ? message.error->what() : "");
        elementNames.push_back(message.element ? message.element->getName() : String());
    }

    const CLogMessage& only() const {
        EXPECT_EQ(messages.size(), 1u);
        return messages.at(0);
    }

    std::vector<CLogMessage> messages;
    std::vector<std::string> errorTexts;
    std::vector<String> elementNames;

private:
    zet::CMutex m_mutex;
};

class LogTest : public testing::Test {
protected:
    void SetUp() override { zet::setLogSink(m_sink); }
    void TearDown() override { zet::setLogSink(nullptr); }

    P<CRecordingSink> m_sink = new CRecordingSink;
};

TEST(LogDefaultTest, IsSilent) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(zet::getLogSink(), nullptr);
    zet::logInfo("text");
    zet::logWarning("text");
    zet::logError("text");
    zet::logError(std::runtime_error("error"), "text");
    zet::onExceptionInDestructorIgnored("zet::CThing", nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(LogTest, PassesTextAndLevelToTheSink) {
    zet::logInfo("an info");
    zet::logWarning("a warning");
    zet::logError("an error");
    ASSERT_EQ(m_sink->messages.size(), 3u);
    const LogLevel levels[]{LogLevel::Info, LogLevel::Warning, LogLevel::Error};
    const char* texts[]{"an info", "a warning", "an error"};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(m_sink->messages[i].level, levels[i]);
        EXPECT_EQ(m_sink->messages[i].text, texts[i]);
        EXPECT_EQ(m_sink->messages[i].detail, "");
        EXPECT_EQ(m_sink->messages[i].error, nullptr);
        EXPECT_EQ(m_sink->messages[i].element, nullptr);
    }
}

TEST_F(LogTest, PassesAWarningWithItsErrorToTheSink) {
    const std::runtime_error error("cause");
    zet::logWarning(error, "text", "detail");
    EXPECT_EQ(m_sink->only().level, LogLevel::Warning);
    EXPECT_EQ(m_sink->only().text, "text");
    EXPECT_EQ(m_sink->only().detail, "detail");
    EXPECT_EQ(m_sink->only().error, &error);
    EXPECT_EQ(m_sink->errorTexts[0], "cause");
}

TEST_F(LogTest, PassesAnErrorWithItsErrorToTheSink) {
    const zet::CError error("cause");
    zet::logError(error, "text");
    EXPECT_EQ(m_sink->only().level, LogLevel::Error);
    EXPECT_EQ(m_sink->only().text, "text");
    EXPECT_EQ(m_sink->only().detail, "");
    EXPECT_EQ(m_sink->only().error, &error);
    EXPECT_EQ(m_sink->only().element, nullptr);
}

TEST_F(LogTest, PassesAnErrorWithAnElementToTheSink) {
    const zet::CXMLElement element("S3ResponseData");
    zet::logError(element, "text", "detail");
    EXPECT_EQ(m_sink->only().level, LogLevel::Error);
    EXPECT_EQ(m_sink->only().text, "text");
    EXPECT_EQ(m_sink->only().detail, "detail");
    EXPECT_EQ(m_sink->only().error, nullptr);
    EXPECT_EQ(m_sink->only().element, &element);
    EXPECT_EQ(m_sink->elementNames[0], "S3ResponseData");
}

TEST_F(LogTest, ReportsAnIgnoredExceptionOfADestructor) {
    const std::runtime_error error("cause");
    zet::onExceptionInDestructorIgnored("zet::CThing", &error);
    EXPECT_EQ(m_sink->only().level, LogLevel::Warning);
    EXPECT_EQ(m_sink->only().text, "Exception in the destructor of zet::CThing (ignored).");
    EXPECT_EQ(m_sink->only().error, &error);
}

TEST_F(LogTest, ReportsAnIgnoredExceptionOfAnotherType) {
    zet::onExceptionInDestructorIgnored("zet::CThing", nullptr);
    EXPECT_EQ(m_sink->only().text, "Exception in the destructor of zet::CThing (ignored).");
    EXPECT_EQ(m_sink->only().error, nullptr);
    EXPECT_NO_FATAL_FAILURE(zet::onExceptionInDestructorIgnored("\xFF", nullptr))
        << "a name that is not UTF-8";
}

TEST_F(LogTest, ReplacesTheSink) {
    const P<CRecordingSink> other = new CRecordingSink;
    EXPECT_EQ(zet::getLogSink().get(), m_sink.get());
    zet::setLogSink(other);
    EXPECT_EQ(zet::getLogSink().get(), other.get());
    zet::logInfo("text");
    EXPECT_EQ(other->messages.size(), 1u);
    EXPECT_TRUE(m_sink->messages.empty());
    zet::setLogSink(nullptr);
    zet::logInfo("text");
    EXPECT_EQ(other->messages.size(), 1u);
}

class CSinkWithFlag : public virtual zet::CBase, public zet::ILogSink {
public:
    explicit CSinkWithFlag(bool& isDestroyed) : m_isDestroyed(isDestroyed) {}
    ~CSinkWithFlag() override {
        // The slot can be used while the old sink is destroyed.
        static_cast<void>(zet::getLogSink());
        std::thread([] { static_cast<void>(zet::getLogSink()); }).join();
        m_isDestroyed = true;
    }
    void log(const CLogMessage&) override {}

private:
    bool& m_isDestroyed;
};

TEST_F(LogTest, KeepsTheSinkUntilItIsReplaced) {
    bool isDestroyed = false;
    zet::setLogSink(new CSinkWithFlag(isDestroyed));
    zet::logInfo("text");
    EXPECT_FALSE(isDestroyed);
    zet::setLogSink(nullptr);
    EXPECT_TRUE(isDestroyed);
}

class CThrowingSink : public virtual zet::CBase, public zet::ILogSink {
public:
    void log(const CLogMessage& message) override {
        ++calls;
        if (message.text == "foreign") {
            throw 5;
        }
        throw zet::CError("sink");
    }

    int calls = 0;
};

TEST_F(LogTest, IgnoresWhatASinkThrows) {
    const P<CThrowingSink> sink = new CThrowingSink;
    zet::setLogSink(sink);
    zet::logInfo("text");
    zet::logInfo("foreign");
    zet::onExceptionInDestructorIgnored("zet::CThing", nullptr);
    EXPECT_EQ(sink->calls, 3);
}

class CLoggingSink : public virtual zet::CBase, public zet::ILogSink {
public:
    void log(const CLogMessage& message) override {
        ++calls;
        // No lock is held: the sink can log and be replaced, and other threads can log.
        if (message.text == "outer") {
            zet::logInfo("inner");
            std::thread([] { zet::logInfo("inner"); }).join();
            zet::setLogSink(nullptr);
        }
    }

    std::atomic<int> calls = 0;
};

TEST_F(LogTest, CallsTheSinkWithNoLockHeld) {
    const P<CLoggingSink> sink = new CLoggingSink;
    zet::setLogSink(sink);
    zet::logInfo("outer");
    EXPECT_EQ(sink->calls, 3);
    EXPECT_EQ(zet::getLogSink(), nullptr);
}

TEST_F(LogTest, TakesMessagesOfManyThreadsWhileTheSinkChanges) {
    const P<CRecordingSink> other = new CRecordingSink;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int message = 0; message < 500; ++message) {
                zet::logInfo("text");
            }
        });
    }
    for (int i = 0; i < 100; ++i) {
        zet::setLogSink(i % 2 == 0 ? other : m_sink);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(m_sink->messages.size() + other->messages.size(), 2000u);
}

}  // namespace
