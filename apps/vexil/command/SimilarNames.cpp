#include "apps/vexil/command/SimilarNames.h"

#include <algorithm>
#include <cstddef>

namespace vexil::app {

namespace {

// Longer words are not compared, because the time grows with the square of the length.
constexpr std::size_t maxLength = 40;
constexpr std::size_t minPrefixLength = 2;
constexpr std::size_t lettersPerMistake = 3;

/// The number of letters to change, add, leave out or swap with a neighbour to make one word from the other.
std::size_t getDistance(const std::string& first, const std::string& second) {
    std::vector<std::vector<std::size_t>> rows(first.size() + 1, std::vector<std::size_t>(second.size() + 1));
    for (std::size_t i = 0; i <= first.size(); ++i) {
        for (std::size_t k = 0; k <= second.size(); ++k) {
            if (i == 0 || k == 0) {
                rows[i][k] = i + k;
                continue;
            }
            const bool isSame = first[i - 1] == second[k - 1];
            rows[i][k] =
                std::min({rows[i - 1][k] + 1, rows[i][k - 1] + 1, rows[i - 1][k - 1] + (isSame ? 0 : 1)});
            if (i > 1 && k > 1 && first[i - 1] == second[k - 2] && first[i - 2] == second[k - 1]) {
                rows[i][k] = std::min(rows[i][k], rows[i - 2][k - 2] + 1);
            }
        }
    }
    return rows[first.size()][second.size()];
}

std::string withoutDashes(const std::string& name) {
    return name.substr(std::min(name.find_first_not_of('-'), name.size()));
}

}  // namespace

std::vector<std::string> findSimilarNames(const std::string& word, const std::vector<std::string>& names) {
    const std::string letters = withoutDashes(word);
    std::vector<std::string> similar;
    if (letters.size() > maxLength) {
        return similar;
    }
    std::size_t best = std::max<std::size_t>(1, letters.size() / lettersPerMistake);
    for (const std::string& name : names) {
        const std::string known = withoutDashes(name);
        const bool isBeginning = letters.size() >= minPrefixLength && known.starts_with(letters);
        const std::size_t distance =
            isBeginning ? std::min<std::size_t>(1, getDistance(letters, known)) : getDistance(letters, known);
        // A name is not similar if every letter differs.
        if (distance > best || distance >= std::max(letters.size(), known.size())) {
            continue;
        }
        if (distance < best) {
            best = distance;
            similar.clear();
        }
        similar.push_back(name);
    }
    return similar;
}

}  // namespace vexil::app
