#include "zelobox/protocol/KeyNames.h"

#include <map>

#include "cobalt/ZeloCobalt.h"

namespace zelobox {

std::string keyName(uint32_t key)
{
    static std::map<uint32_t, char const*> const names = {
        {0x00, "none"},        {0x08, "Back"},      {0x0D, "Return"},      {0x1B, "Escape"},   {0x20, "Space"},
        {0x21, "Page up"},     {0x22, "Page down"}, {0x24, "Home"},        {0x25, "Left"},     {0x26, "Up"},
        {0x27, "Right"},       {0x28, "Down"},      {0x70, "F1"},          {0xAA, "Search"},   {0xAD, "Mute"},
        {0xAE, "Volume down"}, {0xAF, "Volume up"}, {0xB0, "Next"},        {0xB1, "Previous"}, {0xB2, "Stop"},
        {0xB3, "Play/pause"},  {0xE3, "Rewind"},    {0xE4, "Fast forward"}};
    auto const found = names.find(key);
    if (found != names.end()) {
        return found->second;
    }
    bool const isDigit = key >= '0' && key <= '9';
    bool const isLetter = key >= 'A' && key <= 'Z';
    return isDigit || isLetter ? std::string(1, static_cast<char>(key)) : "key " + std::to_string(key);
}

std::string keyNameOf(uint32_t command)
{
    return keyName(KeyCodeToSbKey(static_cast<STBCommand>(command)));
}

} // namespace zelobox
