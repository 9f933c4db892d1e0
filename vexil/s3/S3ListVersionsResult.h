#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/s3/S3ListingPage.h"

#include <cstddef>
#include <string_view>

namespace vexil {

/// A version of an object. Texts are as the service sent them, "" if it sent none.
struct CS3ObjectVersion {
    String key;                   ///< the object; never ""
    String versionId;             ///< "null" for an object that was stored without versions
    bool isLatest = false;        ///< true for the version that a get without a version returns
    bool isDeleteMarker = false;  ///< true if this version says that the object is deleted
    String lastModified;          ///< time of the change (ISO 8601)
    String eTag;                  ///< quotes included; "" for a delete marker
    int64 size = -1;              ///< in bytes; -1 for a delete marker, or if the service did not send it
    String storageClass;          ///< "STANDARD" and others; "" for a delete marker
};

/// One page of the versions of objects (CS3Client::listVersions), in the order of the service: by key, for
/// each key the latest version first.
///
/// Parse failures are CErrors that begin with "Error parsing Amazon S3 'list versions' result: ".
class VEXIL_API CS3ListVersionsResult : public CS3ListingPage {
public:
    /// Parses a document of at most 64 MiB, UTF-8 unless it declares another encoding.
    /// \throws CS3Error with status 0 if the document is an error
    explicit CS3ListVersionsResult(std::string_view document);
    /// The same with the bytes of a buffer, such as CNetRequest::getDefaultReceiveBuffer().
    /// \param body  must not be null
    explicit CS3ListVersionsResult(const TBuffer<unsigned char>* body);
    CS3ListVersionsResult(const CS3ListVersionsResult&) = default;
    CS3ListVersionsResult(CS3ListVersionsResult&&) = default;
    CS3ListVersionsResult& operator=(const CS3ListVersionsResult&) = default;
    CS3ListVersionsResult& operator=(CS3ListVersionsResult&&) = default;
    ~CS3ListVersionsResult() override;

    /// The versions and delete markers of this page.
    [[nodiscard]] const TArray<CS3ObjectVersion>& getVersions() const noexcept { return m_versions; }

    [[nodiscard]] std::size_t getCount() const noexcept override { return m_versions.size(); }
    [[nodiscard]] const String& getKey(std::size_t index) const override { return m_versions[index].key; }

private:
    void addVersion(const CS3XmlElement& element, const String& key);
    void addVersion(const wxXmlNode* node, const String& key);  // the exported name stays

    TArray<CS3ObjectVersion> m_versions;
};

}  // namespace vexil
