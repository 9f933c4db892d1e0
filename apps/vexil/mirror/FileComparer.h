#pragma once

#include "vexil/BaseTypes.h"

#include <filesystem>
#include <vector>

namespace vexil::app {

/// Compares files byte for byte.
class CFileComparer {
public:
    CFileComparer();

    /// The first difference of two regular files, "" if they are equal.
    /// \throws CError if one of them cannot be read
    String findDifference(const std::filesystem::path& first, const std::filesystem::path& second);

private:
    std::vector<char> m_firstBlock;
    std::vector<char> m_secondBlock;
};

}  // namespace vexil::app
