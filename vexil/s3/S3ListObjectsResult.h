#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/s3/S3ListObjectsElement.h"

#include <functional>
#include <string>
#include <string_view>

class wxXmlNode;

namespace vexil {

class CS3XmlElement;

/// One page of a bucket listing, in the order of the service (ascending keys).
///
/// A plain value: built once, then only read, from any thread. Parse failures are CErrors: a page that cannot
/// be read completely gives no objects.
class VEXIL_API CS3ListObjectsResult : public virtual CBase {
public:
    /// Reads the root element.
    explicit CS3ListObjectsResult(wxXmlNode* root);
    /// Parses a document of `length` bytes, UTF-8 unless it declares another encoding.
    CS3ListObjectsResult(const char* data, int length);
    /// The same with the bytes of a buffer, such as CNetRequest::getDefaultReceiveBuffer().
    /// \param body  must not be null
    explicit CS3ListObjectsResult(const TBuffer<unsigned char>* body);
    /// Reads the response to a listing with `encoding-type=url` (CS3Client::listEncodedObjects). If the
    /// service says that it has encoded the names, they are decoded; otherwise they are kept unchanged, white
    /// space included. A name that cannot be read is skipped: see getUnreadableNames().
    /// \param body  must not be null
    /// \return never null
    /// \throws CS3Error with status 0 if the document is an error
    static P<CS3ListObjectsResult> fromEncoded(const TBuffer<unsigned char>* body);
    CS3ListObjectsResult(const CS3ListObjectsResult&) = default;
    CS3ListObjectsResult(CS3ListObjectsResult&&) = default;
    CS3ListObjectsResult& operator=(const CS3ListObjectsResult&) = default;
    CS3ListObjectsResult& operator=(CS3ListObjectsResult&&) = default;
    ~CS3ListObjectsResult() override;

    /// True if there is another page.
    bool isTruncated() const noexcept { return m_isTruncated; }
    /// The objects of this page; none is null.
    const TArray<P<CS3ListObjectsElement>>& getObjects() const noexcept { return m_objects; }
    /// The "folders" of the listing: for keys that contain the delimiter after the prefix, the beginning of
    /// the key up to and including the delimiter.
    const TArray<String>& getCommonPrefixes() const noexcept { return m_commonPrefixes; }
    /// The marker of the next page, in listings with a delimiter. Without a delimiter services send none, and
    /// this is "": continue after the last key of the page, as CS3ObjectEnum does.
    String getDelimiteredNextMarker() const { return m_nextMarker; }

    /// True if the service has encoded the names, so that none was changed on the way. False for a page of a
    /// listing without `encoding-type=url`, and from a service that does not support that.
    bool hasEncodedNames() const noexcept { return m_hasEncodedNames; }
    /// For a page read by fromEncoded(): keys and common prefixes whose names are not certain, as text for
    /// people. They are not UTF-8, or contain characters that XML cannot represent, such as control
    /// characters, and the service has not encoded them.
    const TArray<String>& getUnreadableNames() const noexcept { return m_unreadableNames; }
    /// For a page read by fromEncoded(): the bytes of the last key, readable or not; "" for a page without
    /// objects.
    const std::string& getLastKeyBytes() const noexcept { return m_lastKeyBytes; }

    /// Checks that the page matches the request: every key and every common prefix begins with `prefix` and
    /// is greater than the one before it, and the first one is greater than `marker`. Keys are compared by
    /// their UTF-8 bytes. A page that does not match is from a service that ignores arguments, or its keys
    /// were changed on the way. Do not delete or overwrite the objects that it names.
    ///
    /// Pass the arguments of the listing.
    /// \throws CError that names the first key that breaks a rule
    void verifyKeys(const String& prefix, const String& delimiter, const String& marker) const;

protected:
    /// A page to be filled by constructEncoded().
    CS3ListObjectsResult() = default;
    /// Reads the members as fromEncoded() does, then calls a function for the root of the document.
    /// @{

    void constructEncoded(std::string_view document,
                          const std::function<void(const CS3XmlElement& root)>& readMore);
    void constructEncoded(std::string_view document,
                          const std::function<void(const wxXmlNode* root)>& readMore);
    /// @}

    /// Reads the members from a `ListBucketResult` element.
    void construct(wxXmlNode* root);
    /// Parses the document and reads the members from its root.
    void construct(const char* data, int length);
    /// Appends the prefixes of a `CommonPrefixes` element.
    void parseCommonPrefixes(wxXmlNode* node);

private:
    void construct(const CS3XmlElement& root);
    void parseCommonPrefixes(const CS3XmlElement& element);
    void constructEncoded(const CS3XmlElement& root);
    void addEncodedObject(const CS3XmlElement& element);
    void addEncodedCommonPrefixes(const CS3XmlElement& element);
    // The same for trees: exported names stay.
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
