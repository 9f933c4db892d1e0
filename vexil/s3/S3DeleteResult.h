#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

class wxXmlNode;

namespace vexil {

/// What the response to a deletion of many objects reports.
enum class S3DeleteMode {
    Quiet,   ///< errors only
    Verbose  ///< deleted objects, too
};

/// A version of an object that is to be deleted.
struct CS3VersionId {
    String key = {};        ///< the object
    String versionId = {};  ///< "" for no version: a bucket with versions then gets a delete marker
};

/// An object that a service did not delete. Texts are as the service sent them, "" if it sent none.
struct CS3DeleteError {
    String key;        ///< the object; never ""
    String versionId;  ///< the version of the object
    String code;       ///< the service's name for the failure, for programs: "AccessDenied"
    String message;    ///< the service's explanation, for people
};

/// An S3 service's response to CS3Client::deleteObjects().
///
/// A plain value: built once, then only read, from any thread. Parse failures are CErrors that begin with
/// "Error parsing Amazon S3 'delete objects' result: ".
class VEXIL_API CS3DeleteResult : public virtual CBase {
public:
    /// Reads the root element.
    /// \throws CS3Error with status 0 if it is an error of the whole request
    explicit CS3DeleteResult(wxXmlNode* root);
    /// Parses a document of `length` bytes, UTF-8 unless it declares another encoding.
    CS3DeleteResult(const char* data, int length);
    /// The same with the bytes of a buffer, such as CNetRequest::getDefaultReceiveBuffer().
    /// \param body  must not be null
    explicit CS3DeleteResult(const TBuffer<unsigned char>* body);
    CS3DeleteResult(const CS3DeleteResult&) = default;
    CS3DeleteResult(CS3DeleteResult&&) = default;
    CS3DeleteResult& operator=(const CS3DeleteResult&) = default;
    CS3DeleteResult& operator=(CS3DeleteResult&&) = default;
    ~CS3DeleteResult() override;

    /// The objects that were not deleted, and why.
    [[nodiscard]] const TArray<CS3DeleteError>& getErrors() const noexcept { return m_errors; }
    /// The objects that were deleted or did not exist; empty with S3DeleteMode::Quiet.
    [[nodiscard]] const TArray<String>& getDeletedKeys() const noexcept { return m_deletedKeys; }

private:
    void construct(wxXmlNode* root);
    void addError(wxXmlNode* node);
    void addDeleted(wxXmlNode* node);

    TArray<CS3DeleteError> m_errors;
    TArray<String> m_deletedKeys;
};

}  // namespace vexil
