#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/s3/S3ListObjectsElement.h"

#include <string>

class wxXmlNode;

namespace vexil {

/// One page of a bucket listing, in the order of the service (ascending keys).
///
/// A plain value: built once, then only read, from any thread. Failures to parse are CErrors: nothing is kept
/// of a page that cannot be read whole.
class VEXIL_API CS3ListObjectsResult : public virtual CBase {
public:
    /// Reads the root element.
    explicit CS3ListObjectsResult(wxXmlNode* root);
    /// Parses a document of so many bytes, UTF-8 unless it declares another encoding.
    CS3ListObjectsResult(const char* data, int length);
    /// The same with the bytes of a buffer, such as CNetRequest::getDefaultReceiveBuffer().
    /// \param body  must not be null
    explicit CS3ListObjectsResult(const TBuffer<unsigned char>* body);
    /// Reads the response to a listing with `encoding-type=url` (CS3Client::listEncodedObjects). Where the service says
    /// that it has encoded the names, they are decoded; otherwise they are taken as they stand, white space included. A
    /// name that cannot be read does not hinder the others: see getUnreadableNames().
    /// \param body  must not be null
    /// \return never null
    static P<CS3ListObjectsResult> fromEncoded(const TBuffer<unsigned char>* body);
    CS3ListObjectsResult(const CS3ListObjectsResult&) = default;
    CS3ListObjectsResult(CS3ListObjectsResult&&) = default;
    CS3ListObjectsResult& operator=(const CS3ListObjectsResult&) = default;
    CS3ListObjectsResult& operator=(CS3ListObjectsResult&&) = default;
    ~CS3ListObjectsResult() override;

    /// Whether more follows on another page.
    bool isTruncated() const noexcept { return m_isTruncated; }
    /// The objects of this page; none is null.
    const TArray<P<CS3ListObjectsElement>>& getObjects() const noexcept { return m_objects; }
    /// What the keys that hold the delimiter behind the prefix begin with, up to and with the delimiter: the
    /// "folders" of the listing.
    const TArray<String>& getCommonPrefixes() const noexcept { return m_commonPrefixes; }
    /// Where the next page begins, in listings made with a delimiter. Without a delimiter services send no
    /// marker, which gives "": go on behind the last key of the page then, as CS3ObjectEnum does.
    String getDelimiteredNextMarker() const { return m_nextMarker; }

    /// Whether the service has encoded the names, so that each one comes as it is. False for a page of a listing without
    /// `encoding-type=url`, and from a service that does not know that.
    bool hasEncodedNames() const noexcept { return m_hasEncodedNames; }
    /// Of a page that fromEncoded() has read: keys and common prefixes whose names are not certain, for people. They are
    /// no UTF-8, or hold characters that XML cannot hold, such as control characters, and the service has not encoded
    /// them.
    const TArray<String>& getUnreadableNames() const noexcept { return m_unreadableNames; }
    /// Of a page that fromEncoded() has read: the bytes of the last key, readable or not; "" for a page without objects.
    const std::string& getLastKeyBytes() const noexcept { return m_lastKeyBytes; }

    /// Checks that the page holds what was asked for: every key and every common prefix begins with `prefix` and is
    /// greater than the one before it, the first one than `marker`. Keys are compared by their UTF-8 bytes. Another
    /// page than that is from a service that ignores arguments, or its keys were changed on the way: what it names
    /// must not be deleted or overwritten.
    ///
    /// The arguments are those of the listing.
    /// \throws CError that names the first key that breaks a rule
    void verifyKeys(const String& prefix, const String& delimiter, const String& marker) const;

protected:
    /// Reads the members from a `ListBucketResult` element.
    void construct(wxXmlNode* root);
    /// Parses the document and reads the members from its root.
    void construct(const char* data, int length);
    /// Appends the prefixes of a `CommonPrefixes` element.
    void parseCommonPrefixes(wxXmlNode* node);

private:
    CS3ListObjectsResult() = default;
    void constructEncoded(wxXmlNode* root);
    void addEncodedObject(wxXmlNode* node);
    void addEncodedCommonPrefixes(wxXmlNode* node);

    bool m_isTruncated = false;
    bool m_hasEncodedNames = false;
    TArray<String> m_unreadableNames;
    std::string m_lastKeyBytes;
    String m_nextMarker;
    TArray<P<CS3ListObjectsElement>> m_objects;
    TArray<String> m_commonPrefixes;
};

}  // namespace vexil
