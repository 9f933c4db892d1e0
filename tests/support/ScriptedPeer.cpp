#include "tests/support/ScriptedPeer.h"

#include <asio/awaitable.hpp>
#include <asio/buffer.hpp>
#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>
#include <asio/read.hpp>
#include <asio/redirect_error.hpp>
#include <asio/steady_timer.hpp>
#include <asio/use_awaitable.hpp>
#include <asio/write.hpp>

#include <algorithm>
#include <charconv>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace vexil_test {

namespace {

using asio::ip::tcp;

constexpr std::size_t blockSize = 64 * 1024;
constexpr std::size_t lineLimit = 1024 * 1024;
constexpr std::size_t patternPeriod = 251;

// Ends of a connection that are not in the script; thrown and caught inside a session.
struct Violation {
    std::string what;
};
struct ClientLeft {
    std::string what;
};
struct Stopped {};

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string lower(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](char c) { return lower(c); });
    return result;
}

std::string_view trim(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// The lines of a head without their ends, up to the empty line.
std::vector<std::string> headLines(std::string_view head) {
    std::vector<std::string> lines;
    while (!head.empty()) {
        const auto end = head.find("\r\n");
        if (end == 0)
            break;
        lines.emplace_back(head.substr(0, end));
        if (end == std::string_view::npos)
            break;
        head.remove_prefix(end + 2);
    }
    return lines;
}

std::optional<std::string> headerOf(std::string_view head, std::string_view name) {
    const auto lines = headLines(head);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const auto colon = lines[i].find(':');
        if (colon == std::string::npos || lower(std::string_view(lines[i]).substr(0, colon)) != lower(name))
            continue;
        return std::string(trim(std::string_view(lines[i]).substr(colon + 1)));
    }
    return std::nullopt;
}

bool asksToClose(std::string_view head) {
    return lower(headerOf(head, "Connection").value_or("")) == "close";
}

template <class Number>
Number parseNumber(std::string_view text, int base, const char* what) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size())
        throw Violation{std::string("bad ") + what + " \"" + std::string(text) + "\""};
    return value;
}

/// Text for a failure message: printable and of limited length.
std::string inQuotes(std::string_view bytes) {
    constexpr std::size_t limit = 200;
    constexpr std::string_view digits = "0123456789abcdef";
    std::string result = "\"";
    for (const char c : bytes.substr(0, limit)) {
        const auto code = static_cast<unsigned char>(c);
        if (c == '\r')
            result += "\\r";
        else if (c == '\n')
            result += "\\n";
        else if (code < 0x20 || code >= 0x7f)
            result.append("\\x").append(1, digits[code >> 4]).append(1, digits[code & 15]);
        else
            result += c;
    }
    result += bytes.size() > limit ? "...\"" : "\"";
    return result;
}

void appendUpTo(std::string& target, std::string_view bytes, std::size_t limit) {
    target.append(bytes.substr(0, limit - std::min(limit, target.size())));
}

std::string_view patternBlock() {
    static const std::string block = [] {
        std::string bytes(blockSize + patternPeriod, '\0');
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = ScriptedPeer::patternByte(i);
        return bytes;
    }();
    return block;
}

}  // namespace

struct ConnectionScript::Step {
    std::string name;
    std::function<asio::awaitable<void>(Session&)> play;
    bool isLast = false;
};

/// Guarded by the mutex of the core.
struct ConnectionScript::Script {
    std::deque<std::shared_ptr<const Step>> steps;
    std::size_t played = 0;
    bool hasLast = false;
    bool clientMayLeave = false;
    std::weak_ptr<Session> session;
};

struct ConnectionScript::Core {
    struct Connection {
        std::string received;
        std::uint64_t receivedSize = 0;
    };
    struct Gate {
        std::size_t permits = 0;
        std::deque<std::shared_ptr<Session>> waiting;
    };

    asio::io_context context{1};
    tcp::acceptor acceptor{context};
    std::uint16_t port = 0;
    std::thread thread;

    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    bool stopping = false;
    std::deque<std::shared_ptr<Script>> scripts;
    std::vector<Connection> connections;
    std::set<std::shared_ptr<Session>> sessions;
    std::vector<std::shared_ptr<RecordedRequest>> requests;
    std::vector<std::string> failures;
    std::map<std::size_t, std::string> excess;  ///< The bytes after the end of a script, by connection.
    std::map<std::string, Gate> gates;
    ScriptedPeer::DefaultReply defaultReply;
    std::size_t completedRequests = 0;
    std::size_t unexpected = 0;
    std::size_t busy = 0;
    std::size_t paused = 0;
    std::size_t recordLimit = 64 * 1024 * 1024;

    void listen();
    asio::awaitable<void> accept();
    void begin(tcp::socket socket);
    void noticeArrivals();
    void abortAll();
    void fail(std::string failure);

    template <class Condition>
    bool waitFor(std::chrono::milliseconds limit, Condition condition) const {
        // The system clock, because ThreadSanitizer of GCC 12 does not support the wait with the steady
        // clock.
        std::unique_lock lock(mutex);
        return changed.wait_until(lock, std::chrono::system_clock::now() + limit, condition);
    }
};

/// One accepted connection. All members run on the peer's thread.
struct ConnectionScript::Session : std::enable_shared_from_this<Session> {
    Session(Core& owner, tcp::socket accepted, std::size_t number, std::shared_ptr<Script> itsScript)
        : core(owner), socket(std::move(accepted)), index(number), script(std::move(itsScript)) {}

    static asio::awaitable<void> live(std::shared_ptr<Session> self);
    asio::awaitable<void> playAll();
    asio::awaitable<void> playScript();
    asio::awaitable<void> awaitMoreSteps();
    asio::awaitable<void> serveDefault();
    asio::awaitable<void> awaitRequest();
    void wake();

    asio::awaitable<void> readHead();
    asio::awaitable<void> readRequest(Interim interim);
    asio::awaitable<void> readChunked();
    asio::awaitable<void> readBytes(std::uint64_t count);
    asio::awaitable<void> readExpected(const std::string& text);
    asio::awaitable<void> readLine();
    asio::awaitable<void> readExpectedLine(const std::string& text);
    asio::awaitable<void> readUntilClose();
    asio::awaitable<void> waitForClose();
    asio::awaitable<void> send(const std::string& bytes);
    asio::awaitable<void> sendAnswer(const Answer& answer);
    asio::awaitable<void> sendPattern(std::uint64_t count);
    asio::awaitable<void> sendGenerated(std::uint64_t count, const Generator& generator);
    asio::awaitable<void> pause(const std::string& gate);
    asio::awaitable<void> close();
    void closeSocket();
    void reset();

    /// Reads up to and including the delimiter, and no byte more.
    asio::awaitable<std::string> readUntil(std::string_view delimiter);
    /// The same for a line that frames the body of a request.
    asio::awaitable<std::string> readFraming();
    asio::awaitable<void> readBody(std::uint64_t count);
    /// 0 at the end of the stream and after a reset; `error` then has the reason.
    asio::awaitable<std::size_t> receive(std::size_t limit, tcp::socket::message_flags flags,
                                         std::error_code& error);
    asio::awaitable<std::size_t> receiveSome(std::size_t limit, tcp::socket::message_flags flags);
    asio::awaitable<void> write(std::string_view bytes);
    std::string peekNow();
    bool hasArrivals();
    /// Peeks while the connection is idle.
    asio::awaitable<std::size_t> listen(std::error_code& error);

    void take(std::size_t count);
    void record(std::string_view bytes);
    void recordBody(std::string_view bytes);
    void beginRequest(const std::string& head);
    void completeRequest();
    void setBusy(bool now);
    void checkStopping() const;

    Core& core;
    tcp::socket socket;
    std::size_t index;
    std::shared_ptr<Script> script;
    asio::steady_timer alarm{core.context};
    std::unique_ptr<char[]> block{std::make_unique_for_overwrite<char[]>(blockSize)};
    std::shared_ptr<RecordedRequest> request;
    std::string lastRead;
    std::string stepName;
    std::uint64_t stepRead = 0;
    std::uint64_t stepSent = 0;
    bool isBusy = true;
    bool isWatching = false;  ///< Out of steps; `wake()` makes it look again.
    bool isReleased = false;
    bool hasEnded = false;     ///< No further byte will come from the client.
    bool isListening = false;  ///< Idle; the next byte or the end makes it busy.
};

// ---- the listener

void ConnectionScript::Core::listen() {
    const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), 0);
    acceptor.open(endpoint.protocol());
    acceptor.bind(endpoint);
    acceptor.listen();
    acceptor.non_blocking(true);
    port = acceptor.local_endpoint().port();
    asio::co_spawn(context, accept(), asio::detached);
}

asio::awaitable<void> ConnectionScript::Core::accept() {
    for (;;) {
        std::error_code error;
        tcp::socket socket(context);
        co_await acceptor.async_accept(socket, asio::redirect_error(asio::use_awaitable, error));
        if (!acceptor.is_open())
            co_return;
        if (error == asio::error::connection_aborted)
            continue;
        if (error) {
            acceptor.close();
            fail("the peer cannot accept: " + error.message());
            co_return;
        }
        begin(std::move(socket));
    }
}

void ConnectionScript::Core::begin(tcp::socket socket) {
    std::error_code ignored;
    socket.non_blocking(true, ignored);
    socket.set_option(tcp::no_delay(true), ignored);

    std::unique_lock lock(mutex);
    std::shared_ptr<Script> script;
    if (!scripts.empty()) {
        script = std::move(scripts.front());
        scripts.pop_front();
    }
    const auto session = std::make_shared<Session>(*this, std::move(socket), connections.size(), script);
    if (script)
        script->session = session;
    connections.emplace_back();
    sessions.insert(session);
    ++busy;
    changed.notify_all();
    lock.unlock();

    asio::co_spawn(context, Session::live(session), asio::detached);
}

/// Marks connections with work as busy, before their thread is notified.
void ConnectionScript::Core::noticeArrivals() {
    for (;;) {
        std::error_code error;
        tcp::socket socket(context);
        acceptor.accept(socket, error);
        if (error)
            break;
        begin(std::move(socket));
    }
    std::vector<std::shared_ptr<Session>> open;
    {
        std::lock_guard lock(mutex);
        open.assign(sessions.begin(), sessions.end());
    }
    for (const auto& session : open)
        if (session->isListening && session->hasArrivals())
            session->setBusy(true);
}

void ConnectionScript::Core::abortAll() {
    std::error_code ignored;
    acceptor.close(ignored);
    std::lock_guard lock(mutex);
    for (const auto& session : sessions) {
        session->socket.close(ignored);
        session->alarm.cancel();
    }
}

void ConnectionScript::Core::fail(std::string failure) {
    std::lock_guard lock(mutex);
    failures.push_back(std::move(failure));
    changed.notify_all();
}

// ---- a connection

asio::awaitable<void> ConnectionScript::Session::live(std::shared_ptr<Session> self) {
    std::string failure;
    bool clientLeft = false;
    try {
        co_await self->playAll();
    } catch (const Stopped&) {
    } catch (const Violation& violation) {
        failure = violation.what;
    } catch (const ClientLeft& left) {
        failure = left.what;
        clientLeft = true;
    } catch (const std::exception& error) {
        failure = std::string("exception: ") + error.what();
    } catch (...) {
        failure = "unknown exception";
    }
    self->closeSocket();

    Core& core = self->core;
    self->setBusy(true);
    std::lock_guard lock(core.mutex);
    const bool excused = clientLeft && self->script && self->script->clientMayLeave;
    if (!failure.empty() && !excused)
        core.failures.push_back("connection " + std::to_string(self->index) + ", " + self->stepName + ": " +
                                failure);
    core.sessions.erase(self);
    --core.busy;
    core.changed.notify_all();
}

asio::awaitable<void> ConnectionScript::Session::playAll() {
    if (script) {
        co_await playScript();
        co_return;
    }
    stepName = "default reply";
    bool hasDefault = false;
    {
        std::lock_guard lock(core.mutex);
        hasDefault = static_cast<bool>(core.defaultReply);
        if (!hasDefault)
            ++core.unexpected;
    }
    if (!hasDefault) {
        stepName = "no script";
        throw Violation{"unexpected connection"};
    }
    co_await serveDefault();
}

asio::awaitable<void> ConnectionScript::Session::playScript() {
    for (;;) {
        std::shared_ptr<const Step> step;
        {
            std::lock_guard lock(core.mutex);
            if (script->played < script->steps.size()) {
                step = script->steps[script->played++];
                stepName = "step " + std::to_string(script->played) + " (" + step->name + ")";
            }
        }
        if (!step) {
            co_await awaitMoreSteps();
            if (!socket.is_open())
                co_return;
            continue;
        }
        stepRead = 0;
        stepSent = 0;
        co_await step->play(*this);
        if (step->isLast)
            co_return;
    }
}

/// Returns if there may be a further step, or with a closed socket.
asio::awaitable<void> ConnectionScript::Session::awaitMoreSteps() {
    // Bytes that have already come are found before the connection counts as idle, so that a test sees them.
    std::string beyond = peekNow();
    isWatching = true;
    bool hasMore = false;
    {
        std::lock_guard lock(core.mutex);
        hasMore = script->played < script->steps.size();
        if (!hasMore && !beyond.empty())
            core.excess[index] = inQuotes(beyond);
    }
    if (!hasMore) {
        setBusy(false);
        std::error_code error;
        if (beyond.empty()) {
            const std::size_t count = co_await listen(error);
            if (count > 0) {
                std::lock_guard lock(core.mutex);
                if (script->played == script->steps.size())
                    core.excess[index] = inQuotes({block.get(), count});
            } else if (error && error != asio::error::operation_aborted) {
                closeSocket();
            }
        } else {
            checkStopping();
            alarm.expires_at(asio::steady_timer::time_point::max());
            co_await alarm.async_wait(asio::redirect_error(asio::use_awaitable, error));
            checkStopping();
        }
        setBusy(true);
    }
    isWatching = false;

    std::lock_guard lock(core.mutex);
    if (script->played < script->steps.size())
        core.excess.erase(index);
}

/// A step was added.
void ConnectionScript::Session::wake() {
    if (!isWatching)
        return;
    std::error_code ignored;
    socket.cancel(ignored);
    alarm.cancel();
}

asio::awaitable<void> ConnectionScript::Session::serveDefault() {
    for (;;) {
        co_await awaitRequest();
        if (!socket.is_open())
            co_return;
        stepRead = 0;
        stepSent = 0;
        co_await readRequest(Interim::Send);
        ScriptedPeer::DefaultReply makeReply;
        RecordedRequest copy;
        {
            std::lock_guard lock(core.mutex);
            makeReply = core.defaultReply;
            copy = *request;
        }
        if (!makeReply)
            throw Violation{"a request, but the default reply was taken away"};
        const std::string reply = makeReply(copy);
        co_await send(reply);
        if (asksToClose(copy.head) || asksToClose(reply)) {
            co_await close();
            co_return;
        }
    }
}

/// Returns if a further request begins, or with a closed socket.
asio::awaitable<void> ConnectionScript::Session::awaitRequest() {
    if (!peekNow().empty())
        co_return;
    setBusy(false);
    std::error_code error;
    if (co_await listen(error) == 0)
        closeSocket();
    setBusy(true);
}

// ---- reading

asio::awaitable<void> ConnectionScript::Session::readHead() {
    const std::string head = co_await readUntil("\r\n\r\n");
    beginRequest(head);
    lastRead = head;
    completeRequest();
}

asio::awaitable<void> ConnectionScript::Session::readRequest(Interim interim) {
    const std::string head = co_await readUntil("\r\n\r\n");
    beginRequest(head);
    if (interim == Interim::Send && lower(headerOf(head, "Expect").value_or("")) == "100-continue")
        co_await write("HTTP/1.1 100 Continue\r\n\r\n");

    const auto encoding = headerOf(head, "Transfer-Encoding");
    const auto length = headerOf(head, "Content-Length");
    if (encoding && lower(*encoding) == "chunked")
        co_await readChunked();
    else if (length)
        co_await readBody(parseNumber<std::uint64_t>(*length, 10, "Content-Length"));
    completeRequest();

    std::lock_guard lock(core.mutex);
    lastRead = request->raw;
}

asio::awaitable<void> ConnectionScript::Session::readChunked() {
    for (;;) {
        std::string line = co_await readFraming();
        const auto size = parseNumber<std::uint64_t>(
            trim(std::string_view(line).substr(0, std::min(line.find(';'), line.size() - 2))), 16,
            "chunk size");
        if (size == 0)
            break;
        co_await readBody(size);
        line = co_await readFraming();
        if (line != "\r\n")
            throw Violation{"no line end behind a chunk, but " + inQuotes(line)};
    }
    std::string trailer;
    do {
        trailer = co_await readFraming();
    } while (trailer != "\r\n");
}

asio::awaitable<void> ConnectionScript::Session::readBytes(std::uint64_t count) {
    lastRead.clear();
    co_await readBody(count);
}

asio::awaitable<void> ConnectionScript::Session::readExpected(const std::string& text) {
    co_await readBytes(text.size());
    if (lastRead != text)
        throw Violation{"expected " + inQuotes(text) + ", got " + inQuotes(lastRead)};
}

asio::awaitable<void> ConnectionScript::Session::readLine() {
    const std::string line = co_await readUntil("\r\n");
    lastRead.clear();
    recordBody(line);
}

asio::awaitable<void> ConnectionScript::Session::readExpectedLine(const std::string& text) {
    co_await readLine();
    if (lastRead != text + "\r\n")
        throw Violation{"expected the line " + inQuotes(text) + ", got " + inQuotes(lastRead)};
}

asio::awaitable<void> ConnectionScript::Session::readUntilClose() {
    lastRead.clear();
    for (;;) {
        std::error_code error;
        const std::size_t count = co_await receive(blockSize, 0, error);
        if (count == 0)
            co_return;
        const std::string_view bytes(block.get(), count);
        record(bytes);
        recordBody(bytes);
    }
}

asio::awaitable<void> ConnectionScript::Session::waitForClose() {
    std::error_code error;
    const std::size_t count = co_await receive(blockSize, 0, error);
    if (count > 0) {
        record({block.get(), count});
        throw Violation{"the client did not close, but sent " + inQuotes({block.get(), count})};
    }
}

asio::awaitable<std::string> ConnectionScript::Session::readUntil(std::string_view delimiter) {
    std::string text;
    for (;;) {
        const std::size_t count = co_await receiveSome(blockSize, tcp::socket::message_peek);
        const std::size_t old = text.size();
        text.append(block.get(), count);
        const std::size_t overlap = std::min(old, delimiter.size() - 1);
        const std::size_t at = text.find(delimiter, old - overlap);
        if (at == std::string::npos) {
            take(count);
            if (text.size() > lineLimit)
                throw Violation{"no end of a line or head in " + std::to_string(text.size()) + " bytes"};
            continue;
        }
        text.resize(at + delimiter.size());
        take(text.size() - old);
        co_return text;
    }
}

asio::awaitable<std::string> ConnectionScript::Session::readFraming() {
    std::string line = co_await readUntil("\r\n");
    std::lock_guard lock(core.mutex);
    appendUpTo(request->raw, line, core.recordLimit);
    co_return line;
}

asio::awaitable<void> ConnectionScript::Session::readBody(std::uint64_t count) {
    std::uint64_t left = count;
    while (left > 0) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, blockSize));
        const std::size_t got = co_await receiveSome(wanted, 0);
        const std::string_view bytes(block.get(), got);
        record(bytes);
        recordBody(bytes);
        left -= got;
    }
}

asio::awaitable<std::size_t> ConnectionScript::Session::receiveSome(std::size_t limit,
                                                                    tcp::socket::message_flags flags) {
    std::error_code error;
    const std::size_t count = co_await receive(limit, flags, error);
    if (count == 0)
        throw ClientLeft{(error == asio::error::eof ? std::string("the client closed") : error.message()) +
                         " after " + std::to_string(stepRead) + " bytes of this step"};
    co_return count;
}

asio::awaitable<std::size_t> ConnectionScript::Session::receive(std::size_t limit,
                                                                tcp::socket::message_flags flags,
                                                                std::error_code& error) {
    checkStopping();
    if (hasEnded) {
        // asio would wait again for a stream whose end it has already reported.
        error = asio::error::eof;
        co_return 0;
    }
    const std::size_t count = co_await socket.async_receive(asio::buffer(block.get(), limit), flags,
                                                            asio::redirect_error(asio::use_awaitable, error));
    checkStopping();
    hasEnded = error && error != asio::error::operation_aborted;
    co_return error ? 0 : count;
}

/// The bytes that can be read without waiting; they stay in the socket.
std::string ConnectionScript::Session::peekNow() {
    std::error_code error;
    const std::size_t count =
        socket.receive(asio::buffer(block.get(), blockSize), tcp::socket::message_peek, error);
    return error ? std::string() : std::string(block.get(), count);
}

/// Bytes, the end of the stream or an error.
bool ConnectionScript::Session::hasArrivals() {
    char byte = 0;
    std::error_code error;
    socket.receive(asio::buffer(&byte, 1), tcp::socket::message_peek, error);
    return error != asio::error::would_block;
}

asio::awaitable<std::size_t> ConnectionScript::Session::listen(std::error_code& error) {
    isListening = true;
    const std::size_t count = co_await receive(blockSize, tcp::socket::message_peek, error);
    isListening = false;
    co_return count;
}

/// Removes peeked bytes from the socket.
void ConnectionScript::Session::take(std::size_t count) {
    std::error_code error;
    asio::read(socket, asio::buffer(block.get(), count), error);
    if (error)
        throw ClientLeft{error.message()};
    record({block.get(), count});
}

void ConnectionScript::Session::record(std::string_view bytes) {
    stepRead += bytes.size();
    std::lock_guard lock(core.mutex);
    auto& connection = core.connections[index];
    connection.receivedSize += bytes.size();
    appendUpTo(connection.received, bytes, core.recordLimit);
    core.changed.notify_all();
}

void ConnectionScript::Session::recordBody(std::string_view bytes) {
    std::lock_guard lock(core.mutex);
    appendUpTo(lastRead, bytes, core.recordLimit);
    if (!request)
        return;
    request->bodySize += bytes.size();
    appendUpTo(request->body, bytes, core.recordLimit);
    appendUpTo(request->raw, bytes, core.recordLimit);
}

void ConnectionScript::Session::beginRequest(const std::string& head) {
    std::lock_guard lock(core.mutex);
    request = std::make_shared<RecordedRequest>();
    request->head = head;
    request->raw = head;
    request->connection = index;
    core.requests.push_back(request);
    core.changed.notify_all();
}

void ConnectionScript::Session::completeRequest() {
    std::lock_guard lock(core.mutex);
    request->complete = true;
    ++core.completedRequests;
    core.changed.notify_all();
}

// ---- sending

asio::awaitable<void> ConnectionScript::Session::write(std::string_view bytes) {
    checkStopping();
    std::error_code error;
    stepSent += co_await asio::async_write(socket, asio::buffer(bytes.data(), bytes.size()),
                                           asio::redirect_error(asio::use_awaitable, error));
    checkStopping();
    if (error)
        throw ClientLeft{error.message() + " after " + std::to_string(stepSent) + " sent bytes of this step"};
}

asio::awaitable<void> ConnectionScript::Session::send(const std::string& bytes) {
    co_await write(bytes);
}

asio::awaitable<void> ConnectionScript::Session::sendAnswer(const Answer& answer) {
    const std::string bytes = answer(lastRead);
    co_await write(bytes);
}

asio::awaitable<void> ConnectionScript::Session::sendPattern(std::uint64_t count) {
    for (std::uint64_t sent = 0; sent < count;) {
        const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(count - sent, blockSize));
        co_await write(patternBlock().substr(static_cast<std::size_t>(sent % patternPeriod), size));
        sent += size;
    }
}

asio::awaitable<void> ConnectionScript::Session::sendGenerated(std::uint64_t count,
                                                               const Generator& generator) {
    for (std::uint64_t sent = 0; sent < count;) {
        const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(count - sent, blockSize));
        generator(sent, std::span<char>(block.get(), size));
        co_await write({block.get(), size});
        sent += size;
    }
}

// ---- waiting and ends

asio::awaitable<void> ConnectionScript::Session::pause(const std::string& name) {
    checkStopping();
    {
        std::lock_guard lock(core.mutex);
        auto& gate = core.gates[name];
        isReleased = gate.permits > 0;
        if (isReleased) {
            --gate.permits;
            co_return;
        }
        gate.waiting.push_back(shared_from_this());
        ++core.paused;
        core.changed.notify_all();
    }
    while (!isReleased) {
        std::error_code ignored;
        alarm.expires_at(asio::steady_timer::time_point::max());
        co_await alarm.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
        checkStopping();
    }
}

asio::awaitable<void> ConnectionScript::Session::close() {
    std::error_code error;
    socket.shutdown(tcp::socket::shutdown_send, error);
    // Closing a socket with unread bytes would send RST, and the client could lose the reply.
    setBusy(false);
    while (!error)
        co_await receive(blockSize, 0, error);
    closeSocket();
}

void ConnectionScript::Session::closeSocket() {
    std::error_code ignored;
    socket.close(ignored);
}

void ConnectionScript::Session::reset() {
    std::error_code ignored;
    socket.set_option(tcp::socket::linger(true, 0), ignored);
    closeSocket();
}

void ConnectionScript::Session::setBusy(bool now) {
    if (isBusy == now)
        return;
    isBusy = now;
    std::lock_guard lock(core.mutex);
    if (now)
        ++core.busy;
    else
        --core.busy;
    core.changed.notify_all();
}

void ConnectionScript::Session::checkStopping() const {
    std::lock_guard lock(core.mutex);
    if (core.stopping)
        throw Stopped{};
}

// ---- ConnectionScript

ConnectionScript::ConnectionScript(std::weak_ptr<Core> core, std::shared_ptr<Script> script)
    : m_core(std::move(core)), m_script(std::move(script)) {}

ConnectionScript& ConnectionScript::add(Step step) {
    const auto core = m_core.lock();
    if (!core)
        throw std::logic_error("a step is added to a script whose peer is gone: " + step.name);
    std::lock_guard lock(core->mutex);
    if (m_script->hasLast)
        throw std::logic_error("a step is added behind the end of a connection: " + step.name);
    m_script->hasLast = step.isLast;
    m_script->steps.push_back(std::make_shared<const Step>(std::move(step)));
    if (const auto session = m_script->session.lock(); session && !core->stopping)
        asio::post(core->context, [session] { session->wake(); });
    return *this;
}

ConnectionScript& ConnectionScript::expectHead() {
    return add({"expectHead", [](Session& session) { return session.readHead(); }});
}

ConnectionScript& ConnectionScript::expectRequest(Interim interim) {
    return add({"expectRequest", [interim](Session& session) { return session.readRequest(interim); }});
}

ConnectionScript& ConnectionScript::expectBytes(std::uint64_t count) {
    return add({"expectBytes", [count](Session& session) { return session.readBytes(count); }});
}

ConnectionScript& ConnectionScript::expectExactly(std::string text) {
    return add(
        {"expectExactly", [text = std::move(text)](Session& session) { return session.readExpected(text); }});
}

ConnectionScript& ConnectionScript::expectLine() {
    return add({"expectLine", [](Session& session) { return session.readLine(); }});
}

ConnectionScript& ConnectionScript::expectLine(std::string text) {
    return add({"expectLine",
                [text = std::move(text)](Session& session) { return session.readExpectedLine(text); }});
}

ConnectionScript& ConnectionScript::readUntilClose() {
    return add({"readUntilClose", [](Session& session) { return session.readUntilClose(); }});
}

ConnectionScript& ConnectionScript::waitForClose() {
    return add({"waitForClose", [](Session& session) { return session.waitForClose(); }});
}

ConnectionScript& ConnectionScript::reply(std::string bytes) {
    return add({"reply", [bytes = std::move(bytes)](Session& session) { return session.send(bytes); }});
}

ConnectionScript& ConnectionScript::replyWith(Answer answer) {
    return add(
        {"replyWith", [answer = std::move(answer)](Session& session) { return session.sendAnswer(answer); }});
}

ConnectionScript& ConnectionScript::replyCut(const std::string& bytes, std::size_t count) {
    if (count > bytes.size())
        throw std::invalid_argument("replyCut: " + std::to_string(count) + " of " +
                                    std::to_string(bytes.size()) + " bytes");
    return add(
        {"replyCut", [head = bytes.substr(0, count)](Session& session) { return session.send(head); }});
}

ConnectionScript& ConnectionScript::sendPattern(std::uint64_t count) {
    return add({"sendPattern", [count](Session& session) { return session.sendPattern(count); }});
}

ConnectionScript& ConnectionScript::sendGenerated(std::uint64_t count, Generator generator) {
    return add({"sendGenerated", [count, generator = std::move(generator)](Session& session) {
                    return session.sendGenerated(count, generator);
                }});
}

ConnectionScript& ConnectionScript::pause(std::string gate) {
    return add({"pause", [gate = std::move(gate)](Session& session) { return session.pause(gate); }});
}

ConnectionScript& ConnectionScript::close() {
    return add({"close", [](Session& session) { return session.close(); }, true});
}

ConnectionScript& ConnectionScript::closeAbruptly() {
    return add({"closeAbruptly",
                [](Session& session) -> asio::awaitable<void> {
                    session.closeSocket();
                    co_return;
                },
                true});
}

ConnectionScript& ConnectionScript::reset() {
    return add({"reset",
                [](Session& session) -> asio::awaitable<void> {
                    session.reset();
                    co_return;
                },
                true});
}

ConnectionScript& ConnectionScript::thenDefault() {
    return add({"thenDefault", [](Session& session) { return session.serveDefault(); }, true});
}

ConnectionScript& ConnectionScript::clientMayLeave() {
    if (const auto core = m_core.lock()) {
        std::lock_guard lock(core->mutex);
        m_script->clientMayLeave = true;
    }
    return *this;
}

ConnectionScript& ConnectionScript::thenClientMayLeave() {
    return add({"thenClientMayLeave", [](Session& session) -> asio::awaitable<void> {
                    std::lock_guard lock(session.core.mutex);
                    session.script->clientMayLeave = true;
                    co_return;
                }});
}

// ---- ScriptedPeer

ScriptedPeer::ScriptedPeer() : m_core(std::make_shared<Core>()) {
    m_core->listen();
    m_core->thread = std::thread([core = m_core.get()] { core->context.run(); });
}

ScriptedPeer::~ScriptedPeer() {
    {
        std::lock_guard lock(m_core->mutex);
        m_core->stopping = true;
    }
    // Every operation ends when its socket is closed, every session at its next check of `stopping`, and then
    // run() ends.
    asio::post(m_core->context, [core = m_core.get()] { core->abortAll(); });
    m_core->thread.join();
}

std::uint16_t ScriptedPeer::port() const {
    return m_core->port;
}

std::string ScriptedPeer::url(std::string_view path) const {
    return "http://127.0.0.1:" + std::to_string(port()) + std::string(path);
}

ConnectionScript ScriptedPeer::onConnection() {
    auto script = std::make_shared<ConnectionScript::Script>();
    std::lock_guard lock(m_core->mutex);
    m_core->scripts.push_back(script);
    return ConnectionScript(m_core, std::move(script));
}

void ScriptedPeer::setDefaultReply(std::string reply) {
    setDefaultReply(DefaultReply([reply = std::move(reply)](const RecordedRequest&) { return reply; }));
}

void ScriptedPeer::setDefaultReply(DefaultReply reply) {
    std::lock_guard lock(m_core->mutex);
    m_core->defaultReply = std::move(reply);
}

void ScriptedPeer::release(const std::string& gate, std::size_t count) {
    std::lock_guard lock(m_core->mutex);
    auto& waiting = m_core->gates[gate].waiting;
    for (; count > 0 && !waiting.empty(); --count) {
        --m_core->paused;
        asio::post(m_core->context, [session = std::move(waiting.front())] {
            session->isReleased = true;
            session->alarm.cancel();
        });
        waiting.pop_front();
    }
    m_core->gates[gate].permits += count;
}

std::vector<RecordedRequest> ScriptedPeer::requests() const {
    std::lock_guard lock(m_core->mutex);
    std::vector<RecordedRequest> result;
    result.reserve(m_core->requests.size());
    for (const auto& request : m_core->requests)
        result.push_back(*request);
    return result;
}

std::size_t ScriptedPeer::connectionCount() const {
    std::lock_guard lock(m_core->mutex);
    return m_core->connections.size();
}

std::size_t ScriptedPeer::unexpectedConnections() const {
    std::lock_guard lock(m_core->mutex);
    return m_core->unexpected;
}

std::size_t ScriptedPeer::unplayedScripts() const {
    std::lock_guard lock(m_core->mutex);
    return m_core->scripts.size();
}

std::string ScriptedPeer::received(std::size_t connection) const {
    std::lock_guard lock(m_core->mutex);
    return m_core->connections.at(connection).received;
}

std::uint64_t ScriptedPeer::receivedSize(std::size_t connection) const {
    std::lock_guard lock(m_core->mutex);
    return m_core->connections.at(connection).receivedSize;
}

void ScriptedPeer::setRecordLimit(std::size_t bytes) {
    std::lock_guard lock(m_core->mutex);
    m_core->recordLimit = bytes;
}

void ScriptedPeer::clearRecords() {
    std::lock_guard lock(m_core->mutex);
    m_core->requests.clear();
    m_core->completedRequests = 0;
    for (auto& connection : m_core->connections)
        connection = {};
}

std::vector<std::string> ScriptedPeer::failures() const {
    std::lock_guard lock(m_core->mutex);
    auto result = m_core->failures;
    for (const auto& [connection, bytes] : m_core->excess)
        result.push_back("connection " + std::to_string(connection) +
                         ": the script has ended, but the client sent more: " + bytes);
    return result;
}

bool ScriptedPeer::waitForConnections(std::size_t count, std::chrono::milliseconds limit) const {
    return m_core->waitFor(limit, [&] { return m_core->connections.size() >= count; });
}

bool ScriptedPeer::waitForRequests(std::size_t count, std::chrono::milliseconds limit) const {
    return m_core->waitFor(limit, [&] { return m_core->completedRequests >= count; });
}

bool ScriptedPeer::waitForReceived(std::size_t connection, std::uint64_t count,
                                   std::chrono::milliseconds limit) const {
    return m_core->waitFor(limit, [&] {
        const auto& connections = m_core->connections;
        return connection < connections.size() && connections[connection].receivedSize >= count;
    });
}

bool ScriptedPeer::waitUntilPaused(std::size_t count, std::chrono::milliseconds limit) const {
    return m_core->waitFor(limit, [&] { return m_core->paused >= count; });
}

bool ScriptedPeer::waitUntilIdle(std::chrono::milliseconds limit) const {
    const auto looked = std::make_shared<bool>(false);
    asio::post(m_core->context, [core = m_core.get(), looked] {
        core->noticeArrivals();
        std::lock_guard lock(core->mutex);
        *looked = true;
        core->changed.notify_all();
    });
    return m_core->waitFor(limit, [&] { return *looked && m_core->scripts.empty() && m_core->busy == 0; });
}

std::uint16_t ScriptedPeer::closedPort() {
    // Bound, but not listening: connections are refused, and no other process can take the port.
    static asio::io_context context;
    static const tcp::acceptor reserved = [] {
        const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), 0);
        tcp::acceptor acceptor(context, endpoint.protocol());
        acceptor.bind(endpoint);
        return acceptor;
    }();
    return reserved.local_endpoint().port();
}

char ScriptedPeer::patternByte(std::uint64_t offset) {
    return static_cast<char>(static_cast<unsigned char>(offset % patternPeriod));
}

std::string ScriptedPeer::pattern(std::uint64_t offset, std::size_t count) {
    std::string bytes(count, '\0');
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = patternByte(offset + i);
    return bytes;
}

// ---- RecordedRequest

std::string RecordedRequest::requestLine() const {
    return head.substr(0, head.find("\r\n"));
}

std::vector<std::string> RecordedRequest::headerLines() const {
    auto lines = headLines(head);
    if (!lines.empty())
        lines.erase(lines.begin());
    return lines;
}

std::optional<std::string> RecordedRequest::header(std::string_view name) const {
    return headerOf(head, name);
}

}  // namespace vexil_test
