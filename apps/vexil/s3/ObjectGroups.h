#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3ListObjectsElement.h"

#include <functional>
#include <vector>

namespace vexil::app {

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
