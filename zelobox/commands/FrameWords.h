/// @file
/// Frames written on a command line.
#ifndef ZELO_ZELOBOX_FRAMEWORDS_H
#define ZELO_ZELOBOX_FRAMEWORDS_H

#include <string>
#include <vector>

#include "zelobox/protocol/Json.h"

namespace zelobox {

/// @param words  "IPC_VOLUME", "value=30", ... or one JSON object
/// @return {"frame":"IPC_VOLUME","value":30}
/// @throw InputError
Json frameOfWords(std::vector<std::string> const& words);

/// @param word  "value=30": what is no JSON is a text
/// @return {"value":30}
/// @throw InputError
Json fieldOfWord(std::string const& word);

/// @return what is wrong with the name of a message, and which may be meant; empty if there is one of that name
std::string checkMessageName(std::string const& name);

} // namespace zelobox

#endif
