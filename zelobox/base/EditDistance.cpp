#include "zelobox/base/EditDistance.h"

#include <algorithm>

namespace zelobox {

size_t distanceOf(std::string const& one, std::string const& other)
{
    std::vector<std::vector<size_t>> table(one.size() + 1, std::vector<size_t>(other.size() + 1));
    for (size_t i = 0; i <= one.size(); ++i) {
        for (size_t j = 0; j <= other.size(); ++j) {
            if (i == 0 || j == 0) {
                table[i][j] = i + j;
                continue;
            }
            size_t const replaced = table[i - 1][j - 1] + (one[i - 1] != other[j - 1] ? 1 : 0);
            table[i][j] = std::min({replaced, table[i - 1][j] + 1, table[i][j - 1] + 1});
            if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1]) {
                table[i][j] = std::min(table[i][j], table[i - 2][j - 2] + 1);
            }
        }
    }
    return table[one.size()][other.size()];
}

std::string mostSimilar(std::string const& word, std::vector<std::string> const& words)
{
    std::string nearest;
    size_t least = std::min<size_t>(word.size() / 2, 2) + 1;
    for (std::string const& candidate : words) {
        size_t const distance = distanceOf(word, candidate);
        if (distance < least) {
            least = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

} // namespace zelobox
