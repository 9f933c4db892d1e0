#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"

#include <curl/curl.h>

#include <cstddef>
#include <unordered_map>

namespace vexil {

/// The requests of a manager, in the order in which they were added. To add, find and take off one of them
/// costs the same for any number of them.
///
/// Thread safety: one thread at a time.
class CRunningRequests {
public:
    int getCount() const noexcept { return static_cast<int>(m_count); }
    bool isEmpty() const noexcept { return m_count == 0; }
    /// Also for a request that does not exist any more.
    bool contains(const CNetRequest* request) const { return m_places.contains(request); }

    /// Adds a request that is not there, as the last one. After an exception it is not there.
    void add(const P<CNetRequest>& request);
    /// \return null if it is not there
    P<CNetRequest> find(const CURL* handle) const;
    /// Calls `work(request)` for each, in order. It must not add or take off any.
    template <class Work>
    void forEach(const Work& work) const {
        for (const P<CNetRequest>& request : m_slots) {
            if (request) {
                work(*request);
            }
        }
    }
    /// Whether the cancel token of one of them is cancelled.
    bool hasCancelledToken() const;
    /// The request at an index of the order, which must exist.
    const P<CNetRequest>& getAt(int index);
    /// The last of them; there must be one.
    const P<CNetRequest>& getLast() const noexcept { return m_slots.back(); }
    /// Takes off a request that is there, to which the caller has a reference. The others keep their order.
    void remove(const CNetRequest* request) noexcept;

private:
    void removeGaps() noexcept;

    // Null where a request was taken off; the last one is not null.
    TArray<P<CNetRequest>> m_slots;
    std::size_t m_count = 0;  // without the gaps
    // The slots of requests, and those of their handles.
    std::unordered_map<const void*, std::size_t> m_places;
};

}  // namespace vexil
