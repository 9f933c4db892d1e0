#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/net/NetRequest.h"
#include "vexil/s3/S3CircleGuard.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3ListingPage.h"
#include "vexil/s3/S3ListingQuery.h"

#include <cstddef>
#include <iterator>

namespace vexil {

/// An input iterator over the entries of an enumeration. It moves the enumeration, which must outlive it.
template <class Enumeration, class Entry>
class TS3ListingIterator {
public:
    /// @{

    /// The types of an input iterator.
    using value_type = Entry;
    using difference_type = std::ptrdiff_t;
    using iterator_concept = std::input_iterator_tag;
    /// @}

    /// An iterator at the end.
    TS3ListingIterator() = default;
    /// Moves the enumeration to its next entry.
    /// \param entries  not null
    explicit TS3ListingIterator(Enumeration* entries) : m_entries(entries) { ++*this; }

    /// @{

    /// The current entry; valid until the iterator is moved.
    const Entry& operator*() const noexcept { return *m_entry; }
    const Entry* operator->() const noexcept { return m_entry; }
    /// @}

    /// @{

    /// Calls next() of the enumeration, with its errors.
    TS3ListingIterator& operator++() {
        m_entry = m_entries->next() ? m_entries->getCurrent() : nullptr;
        return *this;
    }
    void operator++(int) { ++*this; }
    /// @}

    /// True at the end.
    bool operator==(std::default_sentinel_t) const noexcept { return !m_entry; }

private:
    Enumeration* m_entries = nullptr;
    const Entry* m_entry = nullptr;
};

/// Walks over all entries of a listing, page by page: CS3VersionEnum, CS3UploadEnum.
///
/// One thread at a time, which also uses the client and the request. A copy continues from the same entry on
/// its own, with the same client and request.
class VEXIL_API CS3ListingEnum : public virtual CBase {
public:
    CS3ListingEnum(const CS3ListingEnum&) = default;
    CS3ListingEnum(CS3ListingEnum&&) = default;
    CS3ListingEnum& operator=(const CS3ListingEnum&) = default;
    CS3ListingEnum& operator=(CS3ListingEnum&&) = default;
    ~CS3ListingEnum() override;

    /// Moves to the next entry; the first call moves to the first one. False at the end, and from then on.
    /// \throws the errors of the listing; a CError for a key that does not begin with the prefix, and for an
    ///         endless listing: it comes to an earlier position again, has no position to go on from, or has
    ///         more than 1,000 pages in a row without an entry. The next call requests the same page again
    bool next();
    /// The keys that were skipped since the last call because they cannot be read, as text for people. Call
    /// it after each next(), also the last.
    [[nodiscard]] TArray<String> takeUnreadableKeys();

protected:
    /// \param client   not null; a reference is kept
    /// \param request  not null; a reference is kept. Used for every page
    CS3ListingEnum(CS3Client* client, CNetRequest* request, const String& bucket,
                   const CS3ListingQuery& query);

    /// Loads the page that the query describes.
    virtual P<CS3ListingPage> loadPage(const CS3ListingQuery& query) = 0;

    /// @{

    /// For loadPage().
    CS3Client& getClient() const noexcept { return *m_client; }
    CNetRequest& getRequest() const noexcept { return *m_request; }
    const String& getBucket() const noexcept { return m_bucket; }
    /// @}

    /// The page of the current entry; null before the first next(), and at the end.
    const CS3ListingPage* getPage() const noexcept;
    /// The index of the current entry in its page.
    std::size_t getIndex() const noexcept { return m_index; }

private:
    bool loadNextPage();
    void checkPage(const CS3ListingPage& page);

    P<CS3Client> m_client;
    P<CNetRequest> m_request;
    String m_bucket;
    CS3ListingQuery m_query;
    P<CS3ListingPage> m_page;
    std::size_t m_index = 0;
    bool m_isEnded = false;
    int m_emptyPages = 0;
    CS3CircleGuard m_guard;
    TArray<String> m_unreadableKeys;
};

}  // namespace vexil
