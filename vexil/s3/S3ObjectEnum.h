#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/NetRequest.h"
#include "vexil/s3/S3CircleGuard.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3ListObjectsElement.h"
#include "vexil/s3/S3ListObjectsResult.h"
#include "vexil/s3/S3ListObjectsV2Result.h"

#include <cstddef>
#include <iterator>
#include <string>

namespace vexil {

/// The version of the listing of objects.
enum class S3ListVersion {
    V1 = 1,  ///< goes on after the last key of a page; every service knows it
    V2 = 2,  ///< goes on with a token that the service makes; Amazon recommends it
};

/// Walks over all objects of a bucket whose keys begin with a prefix, in ascending order. Fetches the listing
/// page by page.
///
/// One thread at a time, which also uses the client and the request. A copy continues from the same object on
/// its own, with the same client and request.
///
/// \code
/// CS3ObjectEnum objects(client, request, "bucket", "photos/", "", -1);
/// for (const CS3ListObjectsElement& object : objects) {
///     std::wcout << object.getKey().c_str() << L'\n';
/// }
/// \endcode
class VEXIL_API CS3ObjectEnum : public virtual CBase {
public:
    /// Sends nothing yet.
    /// \param client    not null; a reference is kept
    /// \param request   not null; a reference is kept. Used for every page: do not use it for anything else
    ///                  meanwhile
    /// \param prefix    "" for all objects
    /// \param marker    begin after this key; "" for the first key
    /// \param pageSize  objects per page, at most what the service allows (usually 1000); -1 for its default
    CS3ObjectEnum(CS3Client* client, CNetRequest* request, const String& bucket, const String& prefix,
                  const String& marker, int pageSize);
    CS3ObjectEnum(const CS3ObjectEnum&) = default;
    CS3ObjectEnum(CS3ObjectEnum&&) = default;
    CS3ObjectEnum& operator=(const CS3ObjectEnum&) = default;
    CS3ObjectEnum& operator=(CS3ObjectEnum&&) = default;
    ~CS3ObjectEnum() override;

    /// Checks each page with CS3ListObjectsResult::verifyKeys() before any of its objects becomes current. A
    /// service that ignores the prefix, lists in a circle or changes keys then cannot lead to the wrong
    /// objects. An empty page that claims that more follows is then an error, too; otherwise it ends the
    /// enumeration. Default false. Switch it on if keys are used to delete or to write.
    void setVerifyKeys(bool verify) { m_verifiesKeys = verify; }

    /// Requests pages with `encoding-type=url` and reads them with CS3ListObjectsResult::fromEncoded(). No
    /// key is then changed on the way, and a key that cannot be read does not end the enumeration: it is
    /// skipped and named by takeUnreadableKeys(). If the service refuses the argument, the page is requested
    /// without it. Default false. Set it before the first next().
    void setEncodedKeys(bool areEncoded) { m_hasEncodedKeys = areEncoded; }

    /// The version of the listing. Default S3ListVersion::V1. Set it before the first next(). Version 2 reads
    /// each page as setEncodedKeys() does, and a page without objects does not end it if more follows.
    /// \throws CInvalidArgError for another value
    void setListVersion(S3ListVersion version);

    /// Moves to the next object; the first call moves to the first one. False at the end, and from then on.
    /// \throws the errors of CS3Client::listObjects; a CError for an endless listing, which comes to the last
    ///         key of an earlier page again; a CError that names the key for a page that setVerifyKeys()
    ///         refuses. With version 2 a CError also if a token is missing or repeated, or after more than
    ///         1,000 pages without an object. The next call requests the same page again
    bool next();
    /// The current object; null before the first next(), at the end, and after next() has thrown.
    P<CS3ListObjectsElement> getCurrObject() const;

    class CIterator;

    /// @{

    /// The enumeration as an input range, for range-based for loops. begin() calls next(), so a second loop
    /// continues after the object at which the first one stopped. Errors are those of next().
    CIterator begin();
    std::default_sentinel_t end() const noexcept { return {}; }
    /// @}

    /// The keys that were skipped since the last call, as text for people. Call it after each next(), also
    /// the last.
    TArray<String> takeUnreadableKeys();

protected:
    /// Loads the next page. False if there is none.
    bool nextPage();

private:
    bool canGoOn() const;
    void noticeCircle(const CS3ListObjectsResult& page);
    P<CS3ListObjectsResult> loadPage();
    P<CS3ListObjectsResult> listEncoded();
    P<CS3ListObjectsResult> listPage();
    P<CS3ListObjectsV2Result> listPageV2();
    void checkToken(const CS3ListObjectsV2Result& page);
    void verifyPage(const CS3ListObjectsResult& page) const;

    P<CS3Client> m_client;
    P<CNetRequest> m_request;
    String m_bucket;
    String m_prefix;
    int m_pageSize;
    P<CS3ListObjectsResult> m_page;
    int m_index = 0;
    String m_marker;
    bool m_isEnded = false;
    bool m_verifiesKeys = false;
    bool m_hasEncodedKeys = false;
    bool m_isEncodingRefused = false;
    std::string m_markerBytes;  // bytes of the last key, readable or not; only with encoded keys
    TArray<String> m_unreadableKeys;
    CS3CircleGuard m_keyGuard;
    S3ListVersion m_listVersion = S3ListVersion::V1;
    std::string m_token;  // version 2: of the next page
    CS3CircleGuard m_tokenGuard;
    int m_emptyPages = 0;
};

/// An input iterator over the objects of a CS3ObjectEnum. It moves the enumeration, which must outlive it.
class CS3ObjectEnum::CIterator {
public:
    /// @{

    /// The types of an input iterator.
    using value_type = CS3ListObjectsElement;
    using difference_type = std::ptrdiff_t;
    using iterator_concept = std::input_iterator_tag;
    /// @}

    /// An iterator at the end.
    CIterator() = default;
    /// An iterator at the current object.
    /// \param objects  not null
    explicit CIterator(CS3ObjectEnum* objects) : m_objects(objects), m_object(objects->getCurrObject()) {}

    /// @{

    /// The current object; valid until the iterator is moved.
    const CS3ListObjectsElement& operator*() const noexcept { return *m_object; }
    const CS3ListObjectsElement* operator->() const noexcept { return m_object.get(); }
    /// @}

    /// The current object as a reference that may be kept; null at the end.
    const P<CS3ListObjectsElement>& getObject() const noexcept { return m_object; }

    /// @{

    /// Calls next() of the enumeration, with its errors.
    CIterator& operator++() {
        m_object = m_objects->next() ? m_objects->getCurrObject() : nullptr;
        return *this;
    }
    void operator++(int) { ++*this; }
    /// @}

    /// True at the end.
    bool operator==(std::default_sentinel_t) const noexcept { return !m_object; }

private:
    CS3ObjectEnum* m_objects = nullptr;
    P<CS3ListObjectsElement> m_object;
};

inline CS3ObjectEnum::CIterator CS3ObjectEnum::begin() {
    CIterator first(this);
    return ++first;
}

}  // namespace vexil
