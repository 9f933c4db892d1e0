#pragma once

#include <string>
#include <vector>

namespace vexil::app {

/// What somebody may have meant who has mistyped a name: the known names that are nearest to it, all that are equally
/// near, in their order. Empty if none is near. One that begins with the whole word counts as near.
std::vector<std::string> findSimilarNames(const std::string& word, const std::vector<std::string>& names);

}  // namespace vexil::app
