#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

class wxXmlNode;

namespace vexil {

class CS3XmlElement;

/// One page of a listing whose entries have a key and an ID: versions of objects, or uploads in progress.
///
/// A plain value: built once, then only read, from any thread. Names are read as by
/// CS3ListObjectsResult::fromEncoded().
class VEXIL_API CS3ListingPage : public virtual CBase {
public:
    CS3ListingPage(const CS3ListingPage&) = default;
    CS3ListingPage(CS3ListingPage&&) = default;
    CS3ListingPage& operator=(const CS3ListingPage&) = default;
    CS3ListingPage& operator=(CS3ListingPage&&) = default;
    ~CS3ListingPage() override;

    /// Number of entries with readable keys.
    [[nodiscard]] virtual std::size_t getCount() const noexcept = 0;
    /// The key of an entry.
    /// \param index  less than getCount()
    [[nodiscard]] virtual const String& getKey(std::size_t index) const = 0;

    /// True if there is another page.
    [[nodiscard]] bool isTruncated() const noexcept { return m_isTruncated; }
    /// @{

    /// Key and ID of the last entry, after which the next page begins. If the page has common prefixes, these
    /// are the markers that the service sent. "" if the page is empty.
    [[nodiscard]] const std::string& getNextKeyMarker() const noexcept { return m_nextKey; }
    [[nodiscard]] const std::string& getNextIdMarker() const noexcept { return m_nextId; }
    /// @}

    /// The "folders" of a listing with a delimiter.
    [[nodiscard]] const TArray<String>& getCommonPrefixes() const noexcept { return m_commonPrefixes; }
    /// True if the service says that it has encoded the names, so that none was changed on the way.
    [[nodiscard]] bool hasEncodedNames() const noexcept { return m_hasEncodedNames; }
    /// Keys and common prefixes that were left out, as text for people: see
    /// CS3ListObjectsResult::getUnreadableNames().
    [[nodiscard]] const TArray<String>& getUnreadableNames() const noexcept { return m_unreadableNames; }

protected:
    /// The names that differ between the listings.
    struct CNames {
        const char* operation;  ///< for messages: "list uploads"
        const char* root;       ///< name of the root element
        const char* id;         ///< name of the element with the ID of an entry
        const char* nextId;     ///< name of the element with the ID to go on from
    };
    /// Reads an entry with a readable key.
    /// @{

    using AddElement = std::function<void(const CS3XmlElement& element, const String& key)>;
    using AddEntry = std::function<void(const wxXmlNode* node, const String& key)>;
    /// @}

    CS3ListingPage() = default;
    /// Parses a document.
    /// \param entries  names of the elements that are entries
    /// \throws CS3Error with status 0 if the document is an error; CError for another document
    /// @{

    void read(std::string_view document, const CNames& names, const TArray<String>& entries,
              const AddElement& addElement);
    void read(std::string_view document, const CNames& names, const TArray<String>& entries,
              const AddEntry& addEntry);
    /// @}

private:
    class CReader;

    bool m_isTruncated = false;
    bool m_hasEncodedNames = false;
    std::string m_nextKey;
    std::string m_nextId;
    TArray<String> m_commonPrefixes;
    TArray<String> m_unreadableNames;
};

}  // namespace vexil
