#pragma once

#include <string>
#include <vector>

namespace vexil::app {

/// Suggestions for a mistyped name: the most similar known names, in their order. Empty if none is similar. A
/// name that begins with the whole word counts as similar.
std::vector<std::string> findSimilarNames(const std::string& word, const std::vector<std::string>& names);

}  // namespace vexil::app
