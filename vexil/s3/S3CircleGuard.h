#pragma once

#include "vexil/BaseTypes.h"

#include <algorithm>
#include <string>
#include <utility>

namespace vexil {

/// Finds out that a listing goes in a circle, in constant memory, at the latest in the circle's third round.
///
/// Brent's cycle detection: each position is compared with a remembered one, which is replaced after 1, 2, 4,
/// 8... pages.
class CS3CircleGuard {
public:
    /// Notes the end of a page.
    /// \param position  where the next page begins
    /// \return true if an earlier page ended there
    [[nodiscard]] bool isRepeated(std::string position) {
        if (!position.empty() && position == m_compared) {
            return true;
        }
        if (m_pagesSinceCompared == m_pagesToCompare) {
            m_compared = std::move(position);
            m_pagesToCompare = std::max<int64>(1, 2 * m_pagesToCompare);
            m_pagesSinceCompared = 0;
        }
        ++m_pagesSinceCompared;
        return false;
    }

private:
    std::string m_compared;
    int64 m_pagesToCompare = 0;
    int64 m_pagesSinceCompared = 0;
};

}  // namespace vexil
