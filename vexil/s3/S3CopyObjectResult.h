#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/s3/S3ErrorResponse.h"

class wxXmlNode;

namespace vexil {

/// An S3 service's response to a copy. It may be an error although its HTTP status is 200, because the
/// service starts to respond before it has copied.
///
/// A plain value: built once, then only read, from any thread. Parse failures are CErrors that begin with
/// "Error parsing Amazon S3 'copy object' result: ".
class VEXIL_API CS3CopyObjectResult : public virtual CBase {
public:
    /// Reads the root element.
    explicit CS3CopyObjectResult(wxXmlNode* root);
    /// Parses a document of `length` bytes, UTF-8 unless it declares another encoding.
    CS3CopyObjectResult(const char* data, int length);
    /// The same with the bytes of a buffer, such as CNetRequest::getDefaultReceiveBuffer().
    /// \param body  must not be null
    explicit CS3CopyObjectResult(const TBuffer<unsigned char>* body);
    CS3CopyObjectResult(const CS3CopyObjectResult&) = default;
    CS3CopyObjectResult(CS3CopyObjectResult&&) = default;
    CS3CopyObjectResult& operator=(const CS3CopyObjectResult&) = default;
    CS3CopyObjectResult& operator=(CS3CopyObjectResult&&) = default;
    ~CS3CopyObjectResult() override;

    /// True if the service reports that the copy failed.
    bool hadError() const { return m_errorResponse != nullptr; }
    /// Null if the copy succeeded.
    P<CS3ErrorResponse> getErrorResponse() const { return m_errorResponse; }
    /// Time of the copy as the service writes it (ISO 8601); "" after an error.
    String getLastModified() const { return m_lastModified; }
    /// ETag of the copy, quotes included; "" after an error.
    String getETag() const { return m_eTag; }

protected:
    /// Reads the members from a `CopyObjectResult` or `Error` element.
    void construct(wxXmlNode* root);
    /// Parses the document and reads the members from its root.
    void construct(const char* data, int length);

private:
    P<CS3ErrorResponse> m_errorResponse;
    String m_lastModified;
    String m_eTag;
};

}  // namespace vexil
