#include "bench/PlainParts.h"

#include "bench/PartsFile.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

using bench::require;

struct EasyDeleter {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};

/// One request of several, with its own position in the file.
class Part {
public:
    explicit Part(int file) : m_easy(curl_easy_init()), m_file(file) {
        require(m_easy != nullptr, "curl_easy_init failed");
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_FAILONERROR, 1L);
        set(CURLOPT_PRIVATE, this);
        set(CURLOPT_READDATA, this);
        set(CURLOPT_READFUNCTION, &Part::read);
        set(CURLOPT_WRITEDATA, this);
        set(CURLOPT_WRITEFUNCTION, &Part::write);
    }

    CURL* easy() const { return m_easy.get(); }

    template <class Value>
    void set(CURLoption option, Value value) {
        require(curl_easy_setopt(m_easy.get(), option, value) == CURLE_OK, "curl_easy_setopt failed");
    }

    void begin(const std::string& url, std::int64_t start, std::int64_t size) {
        m_position = start;
        m_end = start + size;
        set(CURLOPT_URL, url.c_str());
    }

    void beginPut(const std::string& url, std::int64_t start, std::int64_t size) {
        begin(url, start, size);
        set(CURLOPT_UPLOAD, 1L);
        set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(size));
    }

    void beginGet(const std::string& url, std::int64_t start, std::int64_t size) {
        begin(url, start, size);
        set(CURLOPT_RANGE, (std::to_string(start) + "-" + std::to_string(start + size - 1)).c_str());
    }

    bool isComplete() const { return m_position == m_end; }

private:
    static std::size_t read(char* buffer, std::size_t size, std::size_t count, void* self) {
        Part& part = *static_cast<Part*>(self);
        const auto wanted =
            std::min<std::int64_t>(static_cast<std::int64_t>(size * count), part.m_end - part.m_position);
        const ssize_t done = pread(part.m_file, buffer, static_cast<std::size_t>(wanted), part.m_position);
        part.m_position += std::max<ssize_t>(done, 0);
        return done < 0 ? CURL_READFUNC_ABORT : static_cast<std::size_t>(done);
    }

    static std::size_t write(char* data, std::size_t size, std::size_t count, void* self) {
        Part& part = *static_cast<Part*>(self);
        const ssize_t done = part.m_file < 0 ? static_cast<ssize_t>(size * count)
                                             : pwrite(part.m_file, data, size * count, part.m_position);
        part.m_position += part.m_file < 0 ? 0 : std::max<ssize_t>(done, 0);
        return done < 0 ? 0 : static_cast<std::size_t>(done);
    }

    std::unique_ptr<CURL, EasyDeleter> m_easy;
    const int m_file;  // -1: the body is dropped
    std::int64_t m_position = 0;
    std::int64_t m_end = 0;
};

/// Calls `begin` for each part of the object; at most 8 run at once.
template <class Begin>
void runParts(int file, int mebibytes, Begin begin) {
    const std::int64_t size = mebibytes * bench::mebibyte;
    CURLM* const multi = curl_multi_init();
    std::vector<std::unique_ptr<Part>> parts;
    std::int64_t next = 0;
    const auto start = [&](Part& part) {
        begin(part, static_cast<int>(next / bench::partSize) + 1, next);
        next += bench::partSize;
        require(curl_multi_add_handle(multi, part.easy()) == CURLM_OK, "curl_multi_add_handle failed");
    };
    while (next < size && parts.size() < bench::parallelParts) {
        parts.push_back(std::make_unique<Part>(file));
        start(*parts.back());
    }
    for (int running = 1; running > 0;) {
        require(curl_multi_perform(multi, &running) == CURLM_OK, "curl_multi_perform failed");
        int left = 0;
        while (const CURLMsg* const message = curl_multi_info_read(multi, &left)) {
            Part* part = nullptr;
            CURL* const easy = message->easy_handle;
            require(message->data.result == CURLE_OK, curl_easy_strerror(message->data.result));
            require(curl_easy_getinfo(easy, CURLINFO_PRIVATE, &part) == CURLE_OK, "no part");
            require(part->isComplete(), "a part is too short");
            curl_multi_remove_handle(multi, easy);
            if (next < size) {
                start(*part);
                running = 1;
            }
        }
        if (running > 0) {
            require(curl_multi_poll(multi, nullptr, 0, 1000, nullptr) == CURLM_OK, "curl_multi_poll failed");
        }
    }
    curl_multi_cleanup(multi);
}

void post(const std::string& url, const std::string& body) {
    Part request(-1);
    request.set(CURLOPT_URL, url.c_str());
    request.set(CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    request.set(CURLOPT_COPYPOSTFIELDS, body.c_str());
    require(curl_easy_perform(request.easy()) == CURLE_OK, "a POST has failed");
}

}  // namespace

void putInParts(const std::string& url, int mebibytes) {
    const bench::PartsFile file(mebibytes * bench::mebibyte);
    const std::string object = url + "/bucket/object";
    post(object + "?uploads", "");
    runParts(file.descriptor(), mebibytes, [&object](Part& part, int number, std::int64_t start) {
        part.beginPut(object + "?partNumber=" + std::to_string(number) + "&uploadId=1", start,
                      bench::partSize);
    });
    post(object + "?uploadId=1", "<CompleteMultipartUpload/>");
}

void getInParts(const std::string& url, int mebibytes) {
    const bench::PartsFile file(0);
    runParts(file.descriptor(), mebibytes, [&url](Part& part, int, std::int64_t start) {
        part.beginGet(url + "/bucket/object", start, bench::partSize);
    });
    require(fsync(file.descriptor()) == 0, "fsync failed");
}
