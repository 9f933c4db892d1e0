// The workloads as a careful program writes them directly on libcurl.

#include "bench/BenchMain.h"
#include "bench/PlainParts.h"

#include <curl/curl.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <sys/epoll.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using bench::require;

/// Map of header names in lower case and list of reply lines, as cheap as possible: wide text, but ASCII only
/// and in one pass.
class ReplyHeaders {
public:
    void clear() {
        m_headers.clear();
        m_lines.clear();
    }

    void add(std::string_view line) {
        m_lines.emplace_back(line);
        if (line.starts_with("HTTP/")) {
            m_headers.clear();
            return;
        }
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) {
            return;
        }
        m_name.resize(colon);
        std::transform(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(colon), m_name.begin(),
                       lower);
        std::string_view value = line.substr(colon + 1);
        value.remove_prefix(std::min(value.find_first_not_of(" \t"), value.size()));
        value = value.substr(0, value.find_last_not_of(" \t\r\n") + 1);
        std::wstring& stored = m_headers[m_name];
        if (!stored.empty()) {
            stored += L',';
        }
        // Not append() of the range: it makes a text of it first.
        const auto start = static_cast<std::ptrdiff_t>(stored.size());
        stored.resize(stored.size() + value.size());
        std::copy(value.begin(), value.end(), stored.begin() + start);
    }

private:
    static wchar_t lower(char c) { return static_cast<wchar_t>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); }

    std::map<std::wstring, std::wstring> m_headers;
    std::vector<std::string> m_lines;
    std::wstring m_name;
};

/// Grows like the library's buffer, with which it is compared: it doubles, by realloc, and is not cleared.
class Buffer {
public:
    ~Buffer() { std::free(m_data); }

    void clear() { m_used = 0; }
    std::size_t used() const { return m_used; }

    bool append(const char* data, std::size_t length) {
        if (m_used + length > m_capacity) {
            const std::size_t capacity = std::max(m_capacity * 2, m_used + length);
            char* memory = static_cast<char*>(std::realloc(m_data, capacity));
            if (!memory) {
                return false;
            }
            m_data = memory;
            m_capacity = capacity;
        }
        std::memcpy(m_data + m_used, data, length);
        m_used += length;
        return true;
    }

private:
    char* m_data = nullptr;
    std::size_t m_used = 0;
    std::size_t m_capacity = 0;
};

std::size_t onBody(char* data, std::size_t size, std::size_t count, void* buffer) {
    return static_cast<Buffer*>(buffer)->append(data, size * count) ? size * count : 0;
}

std::size_t countBody(char*, std::size_t size, std::size_t count, void* total) {
    *static_cast<std::int64_t*>(total) += static_cast<std::int64_t>(size * count);
    return size * count;
}

std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* headers) {
    static_cast<ReplyHeaders*>(headers)->add({data, size * count});
    return size * count;
}

struct MemorySource {
    std::string_view data;
    std::size_t position = 0;
};

std::size_t readMemory(char* buffer, std::size_t size, std::size_t count, void* memorySource) {
    MemorySource& source = *static_cast<MemorySource*>(memorySource);
    const std::size_t length = std::min(size * count, source.data.size() - source.position);
    std::memcpy(buffer, source.data.data() + source.position, length);
    source.position += length;
    return length;
}

/// Produces bytes without setting their values, because only the transfer is measured.
std::size_t readGenerated(char*, std::size_t size, std::size_t count, void* bytesLeft) {
    std::int64_t& left = *static_cast<std::int64_t*>(bytesLeft);
    const auto length =
        static_cast<std::size_t>(std::min<std::int64_t>(left, static_cast<std::int64_t>(size * count)));
    left -= static_cast<std::int64_t>(length);
    return length;
}

/// An easy handle with the options that a careful program sets: the same as vexil.
class Client {
public:
    explicit Client(bool keepHeaders = false) : m_keepHeaders(keepHeaders) { setDefaults(); }

    void reset() {
        curl_easy_reset(m_handle.get());
        setDefaults();
    }

    template <class Value>
    void set(CURLoption option, Value value) {
        require(curl_easy_setopt(m_handle.get(), option, value) == CURLE_OK, "curl_easy_setopt failed");
    }

    void perform() {
        prepare();
        finish(curl_easy_perform(m_handle.get()));
    }

    /// Clears the results of the last transfer.
    void prepare() {
        m_headers.clear();
        m_body.clear();
        m_error[0] = '\0';
    }

    void finish(CURLcode result) {
        require(result == CURLE_OK, m_error);
        long status = 0;
        curl_easy_getinfo(m_handle.get(), CURLINFO_RESPONSE_CODE, &status);
        require(status >= 200 && status <= 299, "the server has refused the request");
    }

    CURL* handle() const { return m_handle.get(); }
    std::size_t bodySize() const { return m_body.used(); }

private:
    struct Cleanup {
        void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    };

    void setDefaults() {
        set(CURLOPT_ERRORBUFFER, m_error);
        set(CURLOPT_WRITEFUNCTION, &onBody);
        set(CURLOPT_WRITEDATA, &m_body);
        if (m_keepHeaders) {
            set(CURLOPT_HEADERFUNCTION, &onHeader);
            set(CURLOPT_HEADERDATA, &m_headers);
        }
        set(CURLOPT_FOLLOWLOCATION, 1L);
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_CONNECTTIMEOUT_MS, 30000L);
        set(CURLOPT_LOW_SPEED_LIMIT, 1L);
        set(CURLOPT_LOW_SPEED_TIME, 60L);
    }

    char m_error[CURL_ERROR_SIZE] = "";
    Buffer m_body;
    ReplyHeaders m_headers;
    const bool m_keepHeaders;
    std::unique_ptr<CURL, Cleanup> m_handle{curl_easy_init()};
};

void get(const std::string& url, int count, bool keepHeaders) {
    Client client(keepHeaders);
    client.set(CURLOPT_URL, url.c_str());
    for (int i = 0; i < count; ++i) {
        client.perform();
    }
}

void check(CURLMcode code) {
    require(code == CURLM_OK, "a call of libcurl's multi interface failed");
}

/// Drives transfers with curl_multi_poll().
class PollLoop {
public:
    void add(CURL* handle) { check(curl_multi_add_handle(m_multi.get(), handle)); }
    void remove(CURL* handle) { check(curl_multi_remove_handle(m_multi.get(), handle)); }

    /// Waits for the end of a transfer and removes it.
    std::pair<CURL*, CURLcode> waitForEnd() {
        for (;;) {
            check(curl_multi_poll(m_multi.get(), nullptr, 0, 1000, nullptr));
            int running = 0;
            check(curl_multi_perform(m_multi.get(), &running));
            const std::pair<CURL*, CURLcode> ended = takeEnded();
            if (ended.first) {
                return ended;
            }
        }
    }

protected:
    CURLM* multi() const { return m_multi.get(); }

    std::pair<CURL*, CURLcode> takeEnded() {
        int left = 0;
        while (const CURLMsg* const message = curl_multi_info_read(m_multi.get(), &left)) {
            if (message->msg == CURLMSG_DONE) {
                const std::pair<CURL*, CURLcode> ended(message->easy_handle, message->data.result);
                remove(ended.first);
                return ended;
            }
        }
        return {nullptr, CURLE_OK};
    }

private:
    struct Cleanup {
        void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
    };

    const std::unique_ptr<CURLM, Cleanup> m_multi{curl_multi_init()};
};

/// Drives transfers with curl_multi_socket_action() and epoll.
class EpollLoop : public PollLoop {
public:
    EpollLoop() {
        require(m_epoll >= 0, "epoll_create1 failed");
        check(curl_multi_setopt(multi(), CURLMOPT_SOCKETFUNCTION, &watchSocket));
        check(curl_multi_setopt(multi(), CURLMOPT_SOCKETDATA, this));
        check(curl_multi_setopt(multi(), CURLMOPT_TIMERFUNCTION, &setTimer));
        check(curl_multi_setopt(multi(), CURLMOPT_TIMERDATA, this));
    }
    ~EpollLoop() {
        // Afterwards libcurl closes its connections, and would call back.
        curl_multi_setopt(multi(), CURLMOPT_SOCKETFUNCTION, nullptr);
        close(m_epoll);
    }

    std::pair<CURL*, CURLcode> waitForEnd() {
        for (;;) {
            const std::pair<CURL*, CURLcode> ended = takeEnded();
            if (ended.first) {
                return ended;
            }
            epoll_event events[64];
            const int count = epoll_wait(m_epoll, events, std::size(events), timeLeft());
            for (int i = 0; i < count; ++i) {
                act(events[i].data.fd, selectBits(events[i].events));
            }
            if (timeLeft() == 0) {
                m_hasTimer = false;
                act(CURL_SOCKET_TIMEOUT, 0);
            }
        }
    }

private:
    using Clock = std::chrono::steady_clock;

    static int selectBits(std::uint32_t events) {
        return (events & EPOLLIN ? CURL_CSELECT_IN : 0) | (events & EPOLLOUT ? CURL_CSELECT_OUT : 0) |
               (events & (EPOLLERR | EPOLLHUP) ? CURL_CSELECT_ERR : 0);
    }

    static int watchSocket(CURL*, curl_socket_t socket, int what, void* loop, void* known) {
        const EpollLoop& self = *static_cast<EpollLoop*>(loop);
        epoll_event event{};
        event.data.fd = socket;
        event.events = (what & CURL_POLL_IN ? EPOLLIN : 0u) | (what & CURL_POLL_OUT ? EPOLLOUT : 0u);
        if (what == CURL_POLL_REMOVE) {
            epoll_ctl(self.m_epoll, EPOLL_CTL_DEL, socket, &event);
        } else if (known) {
            epoll_ctl(self.m_epoll, EPOLL_CTL_MOD, socket, &event);
        } else {
            epoll_ctl(self.m_epoll, EPOLL_CTL_ADD, socket, &event);
            curl_multi_assign(self.multi(), socket, loop);
        }
        return 0;
    }

    static int setTimer(CURLM*, long milliseconds, void* loop) {
        EpollLoop& self = *static_cast<EpollLoop*>(loop);
        self.m_hasTimer = milliseconds >= 0;
        self.m_due = Clock::now() + std::chrono::milliseconds(milliseconds);
        return 0;
    }

    /// Milliseconds until libcurl wants to be called, rounded up, at most a second.
    int timeLeft() const {
        if (!m_hasTimer) {
            return 1000;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_due - Clock::now()).count();
        return static_cast<int>(std::clamp<std::int64_t>(left, 0, 1000));
    }

    void act(curl_socket_t socket, int bits) {
        int running = 0;
        check(curl_multi_socket_action(multi(), socket, bits, &running));
    }

    const int m_epoll = epoll_create1(EPOLL_CLOEXEC);
    bool m_hasTimer = false;
    Clock::time_point m_due;
};

using Clients = std::vector<std::unique_ptr<Client>>;

/// Requests that wait for responses that never come.
template <class Loop>
Clients addIdle(Loop& loop, const std::string& url, int idleTransfers) {
    Clients idle;
    for (int i = 0; i < idleTransfers; ++i) {
        idle.push_back(std::make_unique<Client>(true));
        idle.back()->set(CURLOPT_URL, bench::neverAnswered(url).c_str());
        idle.back()->set(CURLOPT_LOW_SPEED_LIMIT, 0L);
        idle.back()->set(CURLOPT_LOW_SPEED_TIME, 0L);
        loop.add(idle.back()->handle());
    }
    return idle;
}

template <class Loop>
void getOne(Loop& loop, Client& client) {
    client.prepare();
    loop.add(client.handle());
    const auto [ended, result] = loop.waitForEnd();
    require(ended == client.handle(), "an idle transfer has ended");
    client.finish(result);
}

bool isConnected(const std::unique_ptr<Client>& client) {
    double seconds = 0;
    curl_easy_getinfo(client->handle(), CURLINFO_PRETRANSFER_TIME, &seconds);
    return seconds > 0;
}

/// Runs a request until all others have sent theirs.
template <class Loop>
void warmUp(Loop& loop, Client& client, const Clients& idle) {
    for (int i = 0; i < bench::warmUpRequests || !std::all_of(idle.begin(), idle.end(), isConnected); ++i) {
        getOne(loop, client);
    }
}

/// Small requests one after the other while others wait for responses that never come.
template <class Loop>
void getBesideIdle(int idleTransfers, const std::string& url, int count) {
    Loop loop;
    Client client(true);
    client.set(CURLOPT_URL, url.c_str());
    const Clients idle = addIdle(loop, url, idleTransfers);
    warmUp(loop, client, idle);
    {
        const bench::Counted counted;
        for (int i = 0; i < count; ++i) {
            getOne(loop, client);
        }
    }
    for (const auto& other : idle) {
        loop.remove(other->handle());
    }
}

void getAfterReset(const std::string& url, int count, bool keepHeaders) {
    Client client(keepHeaders);
    for (int i = 0; i < count; ++i) {
        client.reset();
        client.set(CURLOPT_URL, url.c_str());
        client.set(CURLOPT_SSL_VERIFYPEER, 0L);
        client.set(CURLOPT_TIMEOUT_MS, 60000L);
        client.set(CURLOPT_POSTREDIR, long{CURL_REDIR_POST_ALL});
        client.perform();
    }
}

/// Shares what can be shared by one thread: connections, TLS sessions and names.
void getWithNew(const std::string& url, int count, bool keepHeaders) {
    const std::unique_ptr<CURLSH, decltype(&curl_share_cleanup)> shared(curl_share_init(),
                                                                        &curl_share_cleanup);
    for (const curl_lock_data data :
         {CURL_LOCK_DATA_CONNECT, CURL_LOCK_DATA_SSL_SESSION, CURL_LOCK_DATA_DNS}) {
        require(curl_share_setopt(shared.get(), CURLSHOPT_SHARE, data) == CURLSHE_OK,
                "curl_share_setopt failed");
    }
    for (int i = 0; i < count; ++i) {
        Client client(keepHeaders);
        client.set(CURLOPT_SHARE, shared.get());
        client.set(CURLOPT_URL, url.c_str());
        client.perform();
    }
}

void put(const std::string& url, int count, bool keepHeaders) {
    Client client(keepHeaders);
    const std::string body(bench::objectSize, 'x');
    MemorySource source{body};
    client.set(CURLOPT_URL, url.c_str());
    client.set(CURLOPT_UPLOAD, 1L);
    client.set(CURLOPT_READFUNCTION, &readMemory);
    client.set(CURLOPT_READDATA, &source);
    client.set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(body.size()));
    for (int i = 0; i < count; ++i) {
        source.position = 0;
        client.perform();
    }
}

/// Whether libcurl itself signs the requests, with version 4.
enum class Signature { None, V4 };

void setSignature(Client& client, Signature signature) {
    if (signature == Signature::V4) {
        client.set(CURLOPT_AWS_SIGV4, "aws:amz:us-east-1:s3");
        client.set(CURLOPT_USERPWD, "ACCESSKEY:SECRET");
    }
}

/// The servers of the benchmarks have certificates of their own.
void trustServer(Client& client) {
    client.set(CURLOPT_SSL_VERIFYPEER, 0L);
    client.set(CURLOPT_SSL_VERIFYHOST, 0L);
}

void getObject(const std::string& url, int count, Signature signature) {
    Client client(true);
    for (int i = 0; i < count; ++i) {
        client.reset();
        client.set(CURLOPT_URL, (url + "/bucket/object").c_str());
        setSignature(client, signature);
        client.perform();
        require(client.bodySize() == bench::objectSize, "the object is too short");
    }
}

/// Like libcurl's own upload, without the hash of the body.
void putObject(const std::string& url, int count, Signature signature) {
    Client client(true);
    const std::string body(bench::objectSize, 'x');
    for (int i = 0; i < count; ++i) {
        MemorySource source{body};
        client.reset();
        client.set(CURLOPT_URL, (url + "/bucket/object").c_str());
        client.set(CURLOPT_UPLOAD, 1L);
        client.set(CURLOPT_READFUNCTION, &readMemory);
        client.set(CURLOPT_READDATA, &source);
        client.set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(body.size()));
        if (url.starts_with("https:")) {
            trustServer(client);
        }
        setSignature(client, signature);
        client.perform();
    }
}

std::string rangeOf(int mebibytes) {
    return "0-" + std::to_string(mebibytes * bench::mebibyte - 1);
}

void getToBuffer(const std::string& url, int mebibytes) {
    Client client;
    client.set(CURLOPT_URL, url.c_str());
    client.set(CURLOPT_RANGE, rangeOf(mebibytes).c_str());
    client.perform();
    require(client.bodySize() == static_cast<std::size_t>(mebibytes * bench::mebibyte),
            "the body is too short");
}

void getToSink(const std::string& url, int mebibytes) {
    Client client;
    std::int64_t total = 0;
    client.set(CURLOPT_URL, url.c_str());
    client.set(CURLOPT_RANGE, rangeOf(mebibytes).c_str());
    client.set(CURLOPT_WRITEFUNCTION, &countBody);
    client.set(CURLOPT_WRITEDATA, &total);
    client.perform();
    require(total == mebibytes * bench::mebibyte, "the body is too short");
}

void putFromSource(const std::string& url, int mebibytes) {
    Client client;
    std::int64_t left = mebibytes * bench::mebibyte;
    trustServer(client);
    client.set(CURLOPT_URL, url.c_str());
    client.set(CURLOPT_UPLOAD, 1L);
    client.set(CURLOPT_READFUNCTION, &readGenerated);
    client.set(CURLOPT_READDATA, &left);
    client.set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(left));
    client.perform();
    require(left == 0, "the body was not read to its end");
}

void putStream(const std::string& url, int mebibytes) {
    putFromSource(url + "/bucket/object", mebibytes);
}

void measureHeap(const std::string& url, int count) {
    std::vector<std::unique_ptr<Client>> clients;
    clients.reserve(static_cast<std::size_t>(count));
    Client first;
    first.set(CURLOPT_URL, url.c_str());
    first.perform();  // allocates the memory that libcurl shares between all handles
    const std::size_t before = bench::heapInUse();
    for (int i = 0; i < count; ++i) {
        clients.push_back(std::make_unique<Client>(true));
        clients.back()->set(CURLOPT_URL, url.c_str());
    }
    const std::size_t configured = bench::heapInUse();
    for (const auto& client : clients) {
        client->perform();
    }
    const std::size_t connected = bench::heapInUse();
    std::cout << "heap_configured=" << (configured - before) / clients.size()
              << "\nheap_connected=" << (connected - before) / clients.size() << '\n';
}

/// While the requests wait for their responses.
void measureActiveHeap(const std::string& url, int count) {
    PollLoop loop;
    Client client(true);
    client.set(CURLOPT_URL, url.c_str());
    getOne(loop, client);
    const std::size_t before = bench::heapInUse();
    const Clients idle = addIdle(loop, url, count);
    warmUp(loop, client, idle);
    std::cout << "heap_active=" << (bench::heapInUse() - before) / idle.size() << '\n';
    for (const auto& other : idle) {
        loop.remove(other->handle());
    }
}

}  // namespace

int main(int argc, char** argv) {
    curl_global_init(CURL_GLOBAL_ALL);
    const auto bare = [](auto workload) {
        return [workload](const std::string& url, int count) { workload(url, count, false); };
    };
    const auto keeping = [](auto workload) {
        return [workload](const std::string& url, int count) { workload(url, count, true); };
    };
    const auto beside = [](auto workload, int idleTransfers) {
        return [workload, idleTransfers](const std::string& url, int count) {
            workload(idleTransfers, url, count);
        };
    };
    const auto signedBy = [](auto workload, Signature signature) {
        return [workload, signature](const std::string& url, int count) { workload(url, count, signature); };
    };
    return bench::run(argc, argv,
                      {{"get", keeping(get)},
                       {"s3-get", signedBy(getObject, Signature::None)},
                       {"s3-get-v4", signedBy(getObject, Signature::V4)},
                       {"s3-put", signedBy(putObject, Signature::None)},
                       {"s3-put-v4", signedBy(putObject, Signature::V4)},
                       {"multi-1", beside(getBesideIdle<PollLoop>, 0)},
                       {"multi-100", beside(getBesideIdle<PollLoop>, 99)},
                       {"multi-901", beside(getBesideIdle<PollLoop>, 900)},
                       {"multi-epoll-1", beside(getBesideIdle<EpollLoop>, 0)},
                       {"multi-epoll-100", beside(getBesideIdle<EpollLoop>, 99)},
                       {"multi-epoll-901", beside(getBesideIdle<EpollLoop>, 900)},
                       {"multi-epoll-10001", beside(getBesideIdle<EpollLoop>, 10000)},
                       {"get-bare", bare(get)},
                       {"reset", keeping(getAfterReset)},
                       {"reset-bare", bare(getAfterReset)},
                       {"new", keeping(getWithNew)},
                       {"new-bare", bare(getWithNew)},
                       {"put", keeping(put)},
                       {"put-bare", bare(put)},
                       {"get-buffer", getToBuffer},
                       {"get-sink", getToSink},
                       {"put-source", putFromSource},
                       {"put-stream", putStream},
                       {"put-parts", putInParts},
                       {"get-parts", getInParts},
                       {"heap", measureHeap},
                       {"heap-active", measureActiveHeap}});
}
