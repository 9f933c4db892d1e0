#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/NetRequest.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3ListObjectsElement.h"
#include "vexil/s3/S3ListObjectsResult.h"

#include <string>

namespace vexil {

/// Walks over all objects of a bucket whose keys begin with a prefix, in ascending order, and fetches the
/// listing page by page.
///
/// One thread at a time, which drives client and request. Copies go on from the same place, each for itself,
/// over the same client and request.
///
/// \code
/// CS3ObjectEnum objects(client, request, "bucket", "photos/", "", -1);
/// while (objects.next()) {
///     std::wcout << objects.getCurrObject()->getKey().c_str() << L'\n';
/// }
/// \endcode
class VEXIL_API CS3ObjectEnum : public virtual CBase {
public:
    /// Asks the service for nothing yet.
    /// \param client    not null; a reference is kept
    /// \param request   not null; a reference is kept. Used for every page: its state is the enumeration's
    /// \param prefix    "" for all objects
    /// \param marker    begin behind this key; "" for the first one
    /// \param pageSize  objects a page, at most what the service allows (usually 1000); -1 for its default
    CS3ObjectEnum(CS3Client* client, CNetRequest* request, const String& bucket, const String& prefix,
                  const String& marker, int pageSize);
    CS3ObjectEnum(const CS3ObjectEnum&) = default;
    CS3ObjectEnum(CS3ObjectEnum&&) = default;
    CS3ObjectEnum& operator=(const CS3ObjectEnum&) = default;
    CS3ObjectEnum& operator=(CS3ObjectEnum&&) = default;
    ~CS3ObjectEnum() override;

    /// Whether each page is checked with CS3ListObjectsResult::verifyKeys() before any of its objects is current, so
    /// that a service that ignores the prefix, lists in a circle or changes keys cannot lead to the wrong objects. An
    /// empty page that claims that more follows, which otherwise ends the enumeration, is an error then, too. Default
    /// false. Switch it on before keys are used to delete or to write.
    void setVerifyKeys(bool verify) { m_verifiesKeys = verify; }

    /// Whether pages are asked for with `encoding-type=url` and read with CS3ListObjectsResult::fromEncoded(), so that every
    /// key comes as it is, and one that cannot be read does not end the enumeration: it is left out and named by
    /// takeUnreadableKeys(). A service that refuses the argument is asked without it. Default false. Set it before the
    /// first next().
    void setEncodedKeys(bool areEncoded) { m_hasEncodedKeys = areEncoded; }

    /// Moves to the next object, the first one at first; false when there is none, and from then on.
    /// \throws what CS3Client::listObjects throws; a CError for a listing that comes to the last key of an earlier page again,
    ///         which would have no end; calling again then asks for the same page again. The same for a
    ///         page that setVerifyKeys() does not let pass: a CError that names the key
    bool next();
    /// The current object; null before the first next(), at the end, and after a next() that has thrown.
    P<CS3ListObjectsElement> getCurrObject() const;

    /// The keys that were left out since the last call, for people. Ask after each next(), also the last one.
    TArray<String> takeUnreadableKeys();

protected:
    /// Loads the page behind the current one. False when there is none.
    bool nextPage();

private:
    bool canGoOn() const;
    void noticeCircle(const CS3ListObjectsResult& page);
    P<CS3ListObjectsResult> loadPage();
    P<CS3ListObjectsResult> listEncoded();
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
    std::string m_markerBytes;  // of the last key, readable or not, where keys are encoded
    TArray<String> m_unreadableKeys;
    std::string m_comparedKey;
    int64 m_pagesToCompare = 0;
    int64 m_pagesSinceCompared = 0;
};

}  // namespace vexil
