#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

class wxXmlNode;

namespace vexil {

class CS3XmlElement;

/// One object of a bucket listing. A plain value: built once, then only read, from any thread.
class VEXIL_API CS3ListObjectsElement : public virtual CBase {
public:
    /// Reads a `Contents` element.
    /// \throws CError "Invalid Amazon S3 list objects element: 'Key' field not defined." without a key
    /// \throws CError of parseInt64 for a size that is not a number
    explicit CS3ListObjectsElement(const wxXmlNode* contentsNode);
    CS3ListObjectsElement(const CS3ListObjectsElement&) = default;
    CS3ListObjectsElement(CS3ListObjectsElement&&) = default;
    CS3ListObjectsElement& operator=(const CS3ListObjectsElement&) = default;
    CS3ListObjectsElement& operator=(CS3ListObjectsElement&&) = default;
    ~CS3ListObjectsElement() override;

    /// Name of the object; never "".
    const String& getKey() const noexcept { return m_key; }
    /// Time of the last change as the service writes it (ISO 8601); "" if it sent none.
    const String& getLastModified() const noexcept { return m_lastModified; }
    /// ETag, quotes included; "" if the service sent none.
    const String& getETag() const noexcept { return m_eTag; }
    /// Size in bytes; 0 if the service sent no size.
    int64 getSize() const noexcept { return m_size; }

private:
    friend class CS3ListObjectsResult;
    CS3ListObjectsElement() = default;
    explicit CS3ListObjectsElement(const CS3XmlElement& contents);
    void construct(const wxXmlNode* contentsNode);
    /// Reads all but the key.
    void readFields(const CS3XmlElement& contents);

    String m_key;
    String m_lastModified;
    String m_eTag;
    int64 m_size = 0;
};

}  // namespace vexil
