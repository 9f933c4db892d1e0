#include "zet/Log.h"

#include "zet/Mutex.h"

namespace zet {

namespace {

struct CSinkSlot {
    CMutex mutex;
    P<ILogSink> sink ZET_GUARDED_BY(mutex);
};

CSinkSlot& sinkSlot() {
    // Never destroyed: objects with static lifetime may log at the end of the process.
    static CSinkSlot& slot = *new CSinkSlot;
    return slot;
}

void send(LogLevel level, const String& text, const String& detail, const std::exception* error,
          const CXMLElement* element) noexcept {
    try {
        if (const P<ILogSink> sink = getLogSink()) {
            sink->log({level, text, detail, error, element});
        }
    } catch (...) {
        // There is no other place to report it.
    }
}

}  // namespace

ILogSink::~ILogSink() = default;

void setLogSink(ILogSink* sink) {
    P<ILogSink> replaced(sink);
    CSinkSlot& slot = sinkSlot();
    const CMutexLock lock(slot.mutex);
    slot.sink.swap(replaced);
}

P<ILogSink> getLogSink() {
    CSinkSlot& slot = sinkSlot();
    const CMutexLock lock(slot.mutex);
    return slot.sink;
}

void logInfo(const String& text) noexcept {
    send(LogLevel::Info, text, String(), nullptr, nullptr);
}

void logWarning(const String& text) noexcept {
    send(LogLevel::Warning, text, String(), nullptr, nullptr);
}

void logWarning(const std::exception& error, const String& text, const String& detail) noexcept {
    send(LogLevel::Warning, text, detail, &error, nullptr);
}

void logError(const String& text) noexcept {
    send(LogLevel::Error, text, String(), nullptr, nullptr);
}

void logError(const std::exception& error, const String& text, const String& detail) noexcept {
    send(LogLevel::Error, text, detail, &error, nullptr);
}

void logError(const CXMLElement& element, const String& text, const String& detail) noexcept {
    send(LogLevel::Error, text, detail, nullptr, &element);
}

void onExceptionInDestructorIgnored(const char* className, const std::exception* error) noexcept {
    try {
        const String text = String("Exception in the destructor of ") + className + " (ignored).";
        send(LogLevel::Warning, text, String(), error, nullptr);
    } catch (...) {
        // There is no memory for the text.
    }
}

}  // namespace zet
