/// @file
/// The edit distance of words, and the nearest word to a mistyped one.
#ifndef ZELO_ZELOBOX_EDITDISTANCE_H
#define ZELO_ZELOBOX_EDITDISTANCE_H

#include <string>
#include <vector>

namespace zelobox {

/// @return how many letters must be put in, taken out, replaced, or exchanged with their neighbour
size_t distanceOf(std::string const& one, std::string const& other);

/// @return the one of @p words that is nearest; empty if none is near
std::string mostSimilar(std::string const& word, std::vector<std::string> const& words);

} // namespace zelobox

#endif
