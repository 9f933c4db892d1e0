#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/CurlEasy.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/PostBody.h"

#include <string>

namespace vexil {

/// The body that a request sends: from a source, or given as an option (CPostBody). One thread at a time.
class CRequestBody {
public:
    /// \param curl  has to live as long as this object
    explicit CRequestBody(CCurlEasy& curl) : m_curl(curl) {}

    /// \param keepAlive  kept as long as the source
    void setSource(CNetRequest::IDataSource* source, IBase* keepAlive);
    P<CNetRequest::IDataSource> getSource() const { return m_source; }
    bool hasSource() const noexcept { return m_source.get() != nullptr; }
    void dropSource();
    /// Also for a POST (`isPost`) the size of its body.
    void setSize(int64 size, bool isPost);
    int64 getSize() const noexcept { return m_size; }
    /// Forgets the size and the body given as an option. Call it after curl_easy_reset(): libcurl points to
    /// that body.
    void reset();

    /// Rewinds the source.
    void rewind();
    /// See CNetRequest::IDataSource::read(). No more than the size is sent over HTTP.
    int read(void* buffer, int maxLength, const TMap<String, String>& responseHeaders, bool isHTTP);
    /// \return whether the source can move there
    bool seek(int64 offset, int origin);

    // ---- a body given as an option: CURLOPT_POSTFIELDS and its relatives ----

    void setPostText(std::string text);
    /// @{

    /// \param isPost  whether the method is POST
    void setPostMemory(const void* memory, bool isPost);
    void copyPostMemory(const char* memory, bool isPost);
    void handOverPostBody(bool isPost);
    /// @}
    /// CURLOPT_POSTFIELDSIZE or CURLOPT_POSTFIELDSIZE_LARGE.
    void setPostSize(CURLoption option, int64 size);
    /// The size of a POST when the method changes.
    void setPostDataSize(int64 size);
    /// Another option has been set.
    void onOptionSet(CURLoption option, bool isOn) noexcept;

private:
    CPostBody& getPostBody();
    void moveSource(CNetRequest::IDataSource& source, int64 position);
    int cutToSize(int length) noexcept;
    void setOnPost();

    CCurlEasy& m_curl;
    P<CNetRequest::IDataSource> m_source;
    P<IBase> m_keepAlive;
    int64 m_size = -1;
    int64 m_position = 0;     // bytes of the body that libcurl has got
    P<CPostBody> m_postBody;  // null until a body or its size is given as an option
};

}  // namespace vexil
