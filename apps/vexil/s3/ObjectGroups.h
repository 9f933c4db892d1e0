#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3ListObjectsElement.h"

#include <functional>
#include <vector>

namespace vexil::app {

/// An object, and the objects that only a folder of its name could hold: "a", and "a/b" and "a/c". Usually there are no
/// such ones.
struct CObjectGroup {
    P<CS3ListObjectsElement> object;
    std::vector<P<CS3ListObjectsElement>> below;  ///< in their order

    /// Whether an object below was changed after this one, or at the same time.
    bool isOutdated() const;
};

/// Brings the objects of a listing into groups. Keeps no more of them than one chain of names that begin with each other,
/// and what stands below an object.
class CObjectGroups {
public:
    /// \param onGroup  called for each group, when no further object of the listing can belong to it
    explicit CObjectGroups(const std::function<void(const CObjectGroup&)>& onGroup) : m_onGroup(onGroup) {}

    /// Takes the next object; keys must ascend.
    void add(const P<CS3ListObjectsElement>& object);
    /// To be called after the last object.
    void finish();

private:
    void releaseLast();

    std::function<void(const CObjectGroup&)> m_onGroup;
    std::vector<CObjectGroup> m_chain;  // each key begins with the one before it
};

}  // namespace vexil::app
