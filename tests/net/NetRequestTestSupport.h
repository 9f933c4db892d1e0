/// \file
/// Shared by the tests of CNetRequest: scripted sources and sinks, a log to read, errors as values.
#pragma once

#include "tests/support/Inspect.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PrintText.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/NetRequest.h"
#include "zet/Log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <typeinfo>
#include <utility>
#include <vector>

namespace vexil_test {

using vexil::CCURLError;
using vexil::CError;
using vexil::CNetRequest;
using vexil::int64;
using vexil::P;
using vexil::String;

using HeaderMap = vexil::TMap<String, String>;

/// An error of a type that the library does not know.
class OwnError : public CError {
public:
    explicit OwnError(const String& message) : CError(message, "own", 7) {}
    P<CError> clone() const override { return new OwnError(*this); }
    [[noreturn]] void throwClone() const override { throw OwnError(*this); }
};

/// The `Error` that `call` throws. If it throws another error or none, the test fails.
template <class Error, class Call>
std::optional<Error> thrownBy(Call call) {
    try {
        call();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const Error& error) {
        return error;
    } catch (const std::exception& error) {
        ADD_FAILURE() << "another error was thrown: " << typeid(error).name() << ", " << error.what();
    }
    return std::nullopt;
}

inline std::string messageOf(const std::optional<CError>& error) {
    return error ? error->getMessage().toUTF8() : "(none)";
}

inline std::vector<std::string> linesOf(const vexil::CNetStringList& list) {
    std::vector<std::string> lines;
    for (const auto line = list.createIterator(); line->next();) {
        lines.push_back(line->getEntry().toUTF8());
    }
    return lines;
}

/// Counts its living instances.
class Counted : public virtual vexil::CBase {
public:
    explicit Counted(int& alive) : m_alive(alive) { ++m_alive; }
    ~Counted() override { --m_alive; }

private:
    int& m_alive;
};

/// A body in memory. Every operation is recorded and can be replaced.
class TestSource : public virtual vexil::CBase, public CNetRequest::IDataSource {
public:
    explicit TestSource(std::string bytes = {}) : body(std::move(bytes)) {}

    int read(void* buffer, int maxLength, const HeaderMap& headers) override {
        calls.push_back("read " + std::to_string(maxLength));
        headersSeen = headers;
        if (onRead) {
            return onRead(buffer, maxLength);
        }
        const std::size_t rest = body.size() - static_cast<std::size_t>(position);
        const std::size_t count = std::min(rest, static_cast<std::size_t>(maxLength));
        std::memcpy(buffer, body.data() + position, count);
        position += static_cast<int64>(count);
        return static_cast<int>(count);
    }
    int64 getSize() override { return size; }
    void seek(int64 target) override {
        calls.push_back("seek " + std::to_string(target));
        if (onSeek) {
            onSeek(target);
        }
        position = target;
    }
    int64 getPosition() override { return position; }

    /// Only the seeks.
    std::vector<std::string> seeks() const {
        std::vector<std::string> found;
        for (const std::string& call : calls) {
            if (call.starts_with("seek")) {
                found.push_back(call);
            }
        }
        return found;
    }

    std::string body;
    int64 size = -1;
    int64 position = 0;
    std::function<int(void*, int)> onRead;
    std::function<void(int64)> onSeek;
    std::vector<std::string> calls;
    HeaderMap headersSeen;
};

/// Records the blocks of a body.
class TestSink : public virtual vexil::CBase, public CNetRequest::IDataSink {
public:
    void write(const void* data, int length, int httpStatus, const HeaderMap& headers) override {
        blocks.emplace_back(static_cast<const char*>(data), static_cast<std::size_t>(length));
        statuses.push_back(httpStatus);
        headersSeen = headers;
        if (onWrite) {
            onWrite();
        }
    }

    std::string all() const {
        std::string text;
        for (const std::string& block : blocks) {
            text += block;
        }
        return text;
    }

    std::vector<std::string> blocks;
    std::vector<int> statuses;
    HeaderMap headersSeen;
    std::function<void()> onWrite;
};

/// Records its calls; `then` runs inside the call.
class TestListener : public virtual vexil::CBase, public CNetRequest::IDoneListener {
public:
    void onDone(CNetRequest* request, CError* error) override {
        ++count;
        requestSeen = request;
        errorSeen = error ? error->clone() : nullptr;
        addressSeen = error;
        if (then) {
            // The listener may be destroyed before its function ends.
            const auto call = std::exchange(then, {});
            call();
        }
    }

    int count = 0;
    CNetRequest* requestSeen = nullptr;
    P<CError> errorSeen;
    const CError* addressSeen = nullptr;
    std::function<void()> then;
};

/// A request whose handlers can be called as libcurl does.
class OpenRequest : public CNetRequest {
public:
    using CNetRequest::headerHandler;
    using CNetRequest::readHandler;
    using CNetRequest::seekHandler;
    using CNetRequest::writeHandler;

    std::size_t header(std::string_view line) { return headerHandler(line.data(), line.size()); }
    std::size_t write(std::string_view block) { return writeHandler(block.data(), 1, block.size()); }

    /// The error that a callback has left.
    std::optional<CError> keptError() {
        setAsyncInfo(true, CURLE_OK);
        try {
            checkAsyncResult();
        } catch (const CCURLError&) {
            return std::nullopt;
        } catch (const CError& error) {
            return error;
        }
        return std::nullopt;
    }
};

}  // namespace vexil_test
