#include "zelobox/commands/FrameWords.h"

#include "zelobox/base/EditDistance.h"
#include "zelobox/protocol/MessageTable.h"

namespace zelobox {

Json frameOfWords(std::vector<std::string> const& words)
{
    std::string const& first = words.at(0);
    if (first[0] == '{') {
        Json frame = Json::parse(first, nullptr, false);
        if (!frame.is_object() || words.size() > 1) {
            throw InputError("expected one JSON object, or a message's name and fields like value=30");
        }
        return frame;
    }
    Json frame = {{"frame", first}};
    if (first.find_first_not_of("0123456789") == std::string::npos) {
        frame["frame"] = Json::parse(first, nullptr, false);
    } else if (std::string const problem = checkMessageName(first); !problem.empty()) {
        throw InputError(problem);
    }
    for (size_t i = 1; i < words.size(); ++i) {
        frame.update(fieldOfWord(words[i]));
    }
    return frame;
}

Json fieldOfWord(std::string const& word)
{
    size_t const equals = word.find('=');
    if (equals == std::string::npos || equals == 0) {
        throw InputError("\"" + word + "\" is no field; expected one like value=30");
    }
    std::string const name = word.substr(0, equals);
    std::string const text = word.substr(equals + 1);
    Json const value = Json::parse(text, nullptr, false);
    // Digits of a payload are no number.
    return {{name, value.is_discarded() || name == "bytes" ? Json(text) : value}};
}

std::string checkMessageName(std::string const& name)
{
    if (findMessage(name) != nullptr) {
        return "";
    }
    std::vector<std::string> names;
    for (MessageInfo const& info : messageTable()) {
        names.emplace_back(info.name);
    }
    std::string const near = mostSimilar(name, names);
    return "there is no message " + name + (near.empty() ? "" : "; did you mean " + near + "?");
}

} // namespace zelobox
