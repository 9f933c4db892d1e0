#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

class wxXmlNode;

namespace vexil {

/// An S3 service's response to a request that it refused: the `Error` document.
///
/// A plain value: built once, then only read, from any thread. Texts are as the service sent them, "" if
/// their element is missing.
class VEXIL_API CS3ErrorResponse : public virtual CBase {
public:
    /// Makes a response from given texts; see the getters of the same names.
    CS3ErrorResponse(const String& code, const String& message, const String& resource,
                     const String& requestId);
    /// \throws CError "Error parsing Amazon S3 error result: root element is not 'Error'."
    explicit CS3ErrorResponse(wxXmlNode* root);
    /// Parses a document of `length` bytes, UTF-8 unless it declares another encoding.
    /// \throws CError also "Error parsing Amazon S3 error response: invalid XML."
    CS3ErrorResponse(const char* data, int length);
    CS3ErrorResponse(const CS3ErrorResponse&) = default;
    CS3ErrorResponse(CS3ErrorResponse&&) = default;
    CS3ErrorResponse& operator=(const CS3ErrorResponse&) = default;
    CS3ErrorResponse& operator=(CS3ErrorResponse&&) = default;
    ~CS3ErrorResponse() override;

    /// The service's name for the failure, for programs: "NoSuchKey".
    String getCode() const { return m_code; }
    /// The service's explanation, for people.
    String getMessage() const { return m_message; }
    /// The object or bucket of the request: "/bucket/key".
    String getResource() const { return m_resource; }
    /// The service's ID of the request; its support asks for it.
    String getRequestID() const { return m_requestId; }

    /// The region that the service names if a request was sent to, or signed for, another one; usually "".
    const String& getRegion() const noexcept { return m_region; }

    /// The response of a service for a missing object, with the request ID "#dummy#", which distinguishes it
    /// from a real response.
    static P<CS3ErrorResponse> createObjectNotFoundResponse(const String& resource);

protected:
    /// Reads the members from the `Error` element.
    void construct(wxXmlNode* root);

private:
    String m_code;
    String m_message;
    String m_resource;
    String m_requestId;
    String m_region;
};

}  // namespace vexil
