#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3ListObjectsElement.h"
#include "vexil/s3/S3ObjectEnum.h"

#include <functional>
#include <vector>

namespace vexil::app {

class CConsole;
class CS3Access;

/// The objects of a bucket whose keys begin with a prefix, for commands that delete or write by these keys:
/// each page is checked completely before it is used (CS3ObjectEnum::setVerifyKeys). Keys come unchanged if
/// the server can encode them (CS3ObjectEnum::setEncodedKeys).
class CObjectListing {
public:
    /// Sends no request yet. The access must outlive it.
    CObjectListing(CS3Access& access, const String& bucket, const String& prefix);

    /// The next object; null after the last one.
    /// \throws "Interrupted." (CInterrupt), errors of CS3ObjectEnum::next()
    P<CS3ListObjectsElement> findNext();
    /// Names, for display, of objects that were left out since the last call because their keys cannot be
    /// read. Must be called after each findNext(), also after the last one.
    TArray<String> takeUnreadableKeys() { return m_objects.takeUnreadableKeys(); }
    /// Reports the same objects as errors.
    /// \param what  the action that is not done, for example "NOT deleted"
    /// \return their number
    int64 reportUnreadableKeys(const char* what);

    static constexpr const char* unreadableReason =
        "its key cannot be read from the bucket's listing, because the server cannot encode it";

private:
    CConsole& m_console;
    CS3ObjectEnum m_objects;
};

/// An object, and the objects that would need a folder of its name: "a", and "a/b" and "a/c". Usually there
/// are no such objects.
struct CObjectGroup {
    P<CS3ListObjectsElement> object;
    std::vector<P<CS3ListObjectsElement>> below;  ///< in their order

    /// Whether an object below was changed later than this one, or at the same time.
    bool isOutdated() const;
};

/// Groups the objects of a listing. Keeps in memory only one chain of keys that begin with each other, and
/// the objects below one of them.
class CObjectGroups {
public:
    /// \param onGroup  called for each group as soon as no more objects can belong to it
    explicit CObjectGroups(const std::function<void(const CObjectGroup&)>& onGroup) : m_onGroup(onGroup) {}

    /// Takes the next object; keys must ascend.
    void add(const P<CS3ListObjectsElement>& object);
    /// Must be called after the last object.
    void finish();

private:
    void releaseLast();

    std::function<void(const CObjectGroup&)> m_onGroup;
    std::vector<CObjectGroup> m_chain;  // each key begins with the previous one
};

}  // namespace vexil::app
