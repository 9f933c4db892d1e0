/// \file
/// The inside of CNetRequest, for its own source files.
#pragma once

#include "vexil/net/AsyncState.h"
#include "vexil/net/ConnectionChoice.h"
#include "vexil/net/CurlEasy.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/RequestBody.h"
#include "vexil/net/ResponseBody.h"
#include "vexil/net/ResponseHead.h"
#include "vexil/net/TransferWatch.h"
#include "vexil/net/VerboseLog.h"

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

    bool isPost() const { return httpMethod == "POST"; }
    bool isUpload() const { return upload || httpMethod == "PUT"; }
    /// Which kept connections the next transfer may use.
    void chooseConnections() { curl.check(connections.choose(curl, !isHTTP)); }
    /// Whether a transfer with this result has failed, apart from its status. One whose error document was
    /// cut has not.
    bool isFailure(CURLcode result) const noexcept {
        return result != CURLE_OK && !(responseBody.isCut() && result == CURLE_WRITE_ERROR);
    }
    String getErrorDetail(CURLcode result) const;
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
    CResponseHead responseHead;
    CVerboseLog verboseLog;
    CAsyncState async;
};

/// What libcurl calls, with the request as the last or first argument, and getSendDataSource().
struct CNetRequestCallbacks {
    static std::size_t write(char* data, std::size_t size, std::size_t count, void* request) noexcept;
    static std::size_t read(char* buffer, std::size_t size, std::size_t count, void* request) noexcept;
    static int seek(void* request, curl_off_t offset, int origin) noexcept;
    static std::size_t header(char* data, std::size_t size, std::size_t count, void* request) noexcept;
    static int progress(void* request, curl_off_t downloadTotal, curl_off_t downloaded,
                        curl_off_t uploadTotal, curl_off_t uploaded) noexcept;
    static P<CNetRequest::IDataSource> getSource(const CNetRequest& request);
};

}  // namespace vexil
