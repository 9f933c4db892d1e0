#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/s3/S3ListingPage.h"

#include <cstddef>
#include <string_view>

namespace vexil {

/// An upload in several parts that is neither complete nor aborted. Texts are as the service sent them, "" if
/// it sent none.
struct CS3PendingUpload {
    String key;           ///< the object; never ""
    String uploadId;      ///< for CS3Client::abortMultipartUpload() and others; never ""
    String initiated;     ///< time of its begin (ISO 8601)
    String storageClass;  ///< "STANDARD" and others
};

/// One page of the uploads in progress (CS3Client::listUploads), in the order of the service: by key, for
/// each key by the time of the begin.
///
/// Parse failures are CErrors that begin with "Error parsing Amazon S3 'list uploads' result: ".
class VEXIL_API CS3UploadList : public CS3ListingPage {
public:
    /// Parses a document of at most 64 MiB, UTF-8 unless it declares another encoding.
    /// \throws CS3Error with status 0 if the document is an error
    /// \throws CError also for an upload without an ID
    explicit CS3UploadList(std::string_view document);
    /// The same with the bytes of a buffer, such as CNetRequest::getDefaultReceiveBuffer().
    /// \param body  must not be null
    explicit CS3UploadList(const TBuffer<unsigned char>* body);
    CS3UploadList(const CS3UploadList&) = default;
    CS3UploadList(CS3UploadList&&) = default;
    CS3UploadList& operator=(const CS3UploadList&) = default;
    CS3UploadList& operator=(CS3UploadList&&) = default;
    ~CS3UploadList() override;

    /// The uploads of this page.
    [[nodiscard]] const TArray<CS3PendingUpload>& getUploads() const noexcept { return m_uploads; }

    [[nodiscard]] std::size_t getCount() const noexcept override { return m_uploads.size(); }
    [[nodiscard]] const String& getKey(std::size_t index) const override { return m_uploads[index].key; }

private:
    void addUpload(const CS3XmlElement& element, const String& key);
    void addUpload(const wxXmlNode* node, const String& key);  // the exported name stays

    TArray<CS3PendingUpload> m_uploads;
};

}  // namespace vexil
