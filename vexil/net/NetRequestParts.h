/// \file
/// The inside of CNetRequest, for its own source files.
#pragma once

#include "vexil/net/AsyncState.h"
#include "vexil/net/ConnectionChoice.h"
#include "vexil/net/CurlEasy.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/RequestBody.h"
#include "vexil/net/RequestRate.h"
#include "vexil/net/ResponseBody.h"
#include "vexil/net/ResponseHead.h"
#include "vexil/net/TransferWatch.h"
#include "vexil/net/VerboseLog.h"

#include <chrono>
#include <memory>

namespace vexil {

inline bool isSuccessStatus(int status) noexcept {
    return status >= 200 && status <= 299;
}

/// The members of a request.
struct CNetRequestParts {
    /// A list of an option, and the node that libcurl begins with.
    struct ListOption {
        P<CNetStringList> list;
        const curl_slist* head = nullptr;
    };

    CNetRequestParts() : requestBody(curl) {}

    void setList(CURLoption option, ListOption& slot, CNetStringList* list);
    /// Sets a list again that has another first node now. libcurl sees all other changes by itself.
    void setChangedList(CURLoption option, ListOption& slot);

    /// \param function  named in the CInvalidArgError for a text that contains NUL
    void setText(CURLoption option, const String& value, const char* function);

    bool isPost() const { return httpMethod.view() == L"POST"; }
    bool isUpload() const { return upload || httpMethod.view() == L"PUT"; }
    /// Which kept connections the next transfer may use.
    void chooseConnections() { curl.check(connections.choose(curl, !isHTTP)); }
    /// The same for perform(): also connections that are shared with other requests.
    void borrowConnections();
    /// Whether a transfer with this result has failed, apart from its status. One whose error document was
    /// cut has not.
    bool isFailure(CURLcode result) const noexcept {
        return result != CURLE_OK && !(responseBody.isCut() && result == CURLE_WRITE_ERROR);
    }
    String getErrorDetail(CURLcode result) const;
    /// A transfer begins. Its driver continues it when its turn under a rate limit has come.
    /// \param waiters  of the driver; null for perform()
    void beginRate(CRateWaiters* waiters) noexcept;
    /// The transfer has ended.
    void endRate() noexcept {
        if (rate) {
            rate->end();
        }
    }
    /// The result of the transfer, from that of libcurl.
    CURLcode getResult(CURLcode result) const noexcept { return rate ? rate->getResult(result) : result; }
    /// \throws CError if the server has announced a body that is to be kept in memory and is too large for it
    void refuseTooLargeBody() const;
    /// After a cancelled transfer: the caller's CURLOPT_FORBID_REUSE counts again.
    void restoreReuse() noexcept;

    CCurlEasy curl;
    P<CNetHeaders> customHTTPHeaders;
    ListOption ftpPreCommands;
    ListOption ftpPostCommands;
    ListOption mailRecipients;
    TList<P<IBase>> dependencies;
    CConnectionChoice connections;
    CRequestBody requestBody;
    CResponseBody responseBody;

    bool isHTTP = false;
    String httpMethod;
    bool upload = false;
    P<IBase> userData;
    P<CNetRequest::IDoneListener> doneListener;

    CTransferWatch watch;
    std::unique_ptr<CRequestRate> rate;  // null until the request gets a limit
    CResponseHead responseHead;
    CVerboseLog verboseLog;
    CAsyncState async;
};

/// What libcurl calls, with the request as the last or first argument, and what free functions need.
struct CNetRequestCallbacks {
    static std::size_t write(char* data, std::size_t size, std::size_t count, void* request) noexcept;
    static std::size_t read(char* buffer, std::size_t size, std::size_t count, void* request) noexcept;
    static int seek(void* request, curl_off_t offset, int origin) noexcept;
    static std::size_t header(char* data, std::size_t size, std::size_t count, void* request) noexcept;
    static int progress(void* request, curl_off_t downloadTotal, curl_off_t downloaded,
                        curl_off_t uploadTotal, curl_off_t uploaded) noexcept;
    static P<CNetRequest::IDataSource> getSource(const CNetRequest& request);
    static const CCurlEasy& getCurl(const CNetRequest& request) noexcept { return request.m_parts->curl; }
    static CConnectionChoice& getConnections(CNetRequest& request) noexcept {
        return request.m_parts->connections;
    }

    /// @{

    /// The body's bytes without a limit. Like the callbacks they return libcurl's results.
    static std::size_t deliver(CNetRequest& request, const char* data, std::size_t length) noexcept;
    static std::size_t fetch(CNetRequest& request, char* buffer, std::size_t length) noexcept;
    /// @}
    /// @{

    /// The same under the rate limit of the running transfer.
    static std::size_t deliverLimited(CNetRequest& request, const char* data, std::size_t length) noexcept;
    static std::size_t fetchLimited(CNetRequest& request, char* buffer, std::size_t length) noexcept;
    /// @}
    /// Whether the running transfer has a rate limit.
    static bool isLimited(const CNetRequest& request) noexcept;
    static void setRateLimit(CNetRequest& request, CRateLimit* limit);
    static P<CRateLimit> getRateLimit(const CNetRequest& request);
    /// @{

    /// For a manager: a transfer begins or is over.
    static void beginRate(CNetRequest& request, CRateWaiters& waiters) noexcept;
    static void endRate(CNetRequest& request) noexcept;
    /// @}
    /// For a manager: ends a pause of a transfer with a rate limit.
    /// \return false for another transfer, with which nothing was done
    static bool continueLimited(CNetRequest& request) noexcept;
    /// For a manager: whether a transfer waits for its turn under a rate limit.
    static bool isHeldByRate(const CNetRequest& request) noexcept;
    /// For a manager: whether the transfer is cancelled and has to end.
    static bool mustEnd(const CNetRequest& request) noexcept { return request.m_parts->watch.mustEnd(); }
    /// For a manager: the limit of the whole transfer; 0 for none.
    static std::chrono::milliseconds getTimeLimit(const CNetRequest& request) noexcept {
        return std::chrono::milliseconds(request.m_parts->curl.getTimeLimit());
    }
    /// @{

    /// For a manager that ends a transfer before libcurl does: prepares its error.
    /// \return whether the transfer is cancelled
    static bool noteCancelled(CNetRequest& request) noexcept {
        return request.m_parts->watch.checkCancelled();
    }
    static void noteTimedOut(CNetRequest& request, std::chrono::milliseconds waited) noexcept {
        request.m_parts->curl.setTimedOutMessage(waited.count());
    }
    /// @}
};

}  // namespace vexil
