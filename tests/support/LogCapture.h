#pragma once

#include "zet/Log.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

namespace vexil_test {

/// Collects the log during its lifetime.
class LogCapture {
public:
    LogCapture() : m_previous(zet::getLogSink()), m_sink(new Sink) { zet::setLogSink(m_sink); }
    ~LogCapture() { zet::setLogSink(m_previous); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// "I: text", "W: text" or "E: text", with " [what]" of an error and " <name>content" of an element.
    std::vector<std::string> lines() const {
        const std::lock_guard lock(m_sink->mutex);
        return m_sink->lines;
    }

private:
    struct Sink : virtual zet::CBase, zet::ILogSink {
        void log(const zet::CLogMessage& message) override {
            std::string line = message.level == zet::LogLevel::Info      ? "I: "
                               : message.level == zet::LogLevel::Warning ? "W: "
                                                                         : "E: ";
            line += message.text.toUTF8();
            if (message.error) {
                line += std::string(" [") + message.error->what() + "]";
            }
            if (message.element) {
                line +=
                    " <" + message.element->getName().toUTF8() + ">" + message.element->getText().toUTF8();
                EXPECT_TRUE(message.element->getAttributes().isEmpty());
            }
            const std::lock_guard lock(mutex);
            lines.push_back(line);
        }

        std::mutex mutex;
        std::vector<std::string> lines;
    };

    zet::P<zet::ILogSink> m_previous;
    zet::P<Sink> m_sink;
};

}  // namespace vexil_test
