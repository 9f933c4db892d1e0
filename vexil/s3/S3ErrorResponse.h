#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

class wxXmlNode;

namespace vexil {

/// An S3 service's answer to a request that it refused: the `Error` document.
///
/// A plain value: built once, then only read, from any thread. Texts are as the service sent them, "" where
/// their element is missing.
class VEXIL_API CS3ErrorResponse : public virtual CBase {
public:
    /// Of texts that are known already; see the members of their names.
    CS3ErrorResponse(const String& code, const String& message, const String& resource,
                     const String& requestId);
    /// \throws CError "Error parsing Amazon S3 error result: root element is not 'Error'."
    explicit CS3ErrorResponse(wxXmlNode* root);
    /// Parses a document of so many bytes, UTF-8 unless it declares another encoding.
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
    /// What the request was about: "/bucket/key".
    String getResource() const { return m_resource; }
    /// The service's number of the request, to quote to its support.
    String getRequestID() const { return m_requestId; }

    /// What a service answers for a missing object, with the request id "#dummy#" by which it can be told
    /// from a real answer.
    static P<CS3ErrorResponse> createObjectNotFoundResponse(const String& resource);

protected:
    /// Reads the members from the `Error` element.
    void construct(wxXmlNode* root);

private:
    String m_code;
    String m_message;
    String m_resource;
    String m_requestId;
};

}  // namespace vexil
