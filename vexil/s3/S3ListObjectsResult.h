#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/s3/S3ListObjectsElement.h"

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
    bool m_isTruncated = false;
    String m_nextMarker;
    TArray<P<CS3ListObjectsElement>> m_objects;
    TArray<String> m_commonPrefixes;
};

}  // namespace vexil
