#include <gtest/gtest.h>
#include <limits.h>

#include <map>

#include "cobalt/ZeloCobalt.h"

namespace {

/// The keys that the box's remote control has, by command. Letters and digits are their own key codes.
std::map<int, unsigned> const& keys()
{
    static std::map<int, unsigned> const table = [] {
        std::map<int, unsigned> made = {
            {2, 0x24},  // home
            {13, ' '},  // space
            {40, 0x26}, // up
            {41, 0x28}, // down
            {42, 0x25}, // left
            {43, 0x27}, // right
            {44, 0x0D}, // return
            {46, 0x08}, // back
            {47, 0xAF}, // volume up
            {48, 0xAE}, // volume down
            {49, 0xAD}, // mute
            {50, 0x1B}, // escape
            {53, 0x21}, // page up
            {54, 0x22}, // page down
            {55, 0x70}, // F1
            {57, 0xB3}, // play or pause
            {58, 0xB2}, // stop
            {59, 0xE3}, // rewind
            {60, 0xE4}, // fast forward
            {61, 0xB1}, // previous track
            {62, 0xB0}, // next track
            {76, 0xAA}, // browser search
        };
        for (int digit = 0; digit <= 9; ++digit) {
            made[3 + digit] = static_cast<unsigned>('0' + digit);
        }
        for (int letter = 0; letter < 26; ++letter) {
            made[14 + letter] = static_cast<unsigned>('A' + letter);
        }
        return made;
    }();
    return table;
}

unsigned expectedKey(int command)
{
    auto const found = keys().find(command);
    return found != keys().end() ? found->second : 0;
}

unsigned keyOf(int command)
{
    return KeyCodeToSbKey(static_cast<STBCommand>(command));
}

} // namespace

TEST(KeyTable, TranslatesEveryCommandOfTheRemoteControl)
{
    EXPECT_EQ(58U, keys().size());
    for (int command = 0; command <= 80; ++command) {
        EXPECT_EQ(expectedKey(command), keyOf(command)) << command;
    }
}

TEST(KeyTable, HasNoKeyOutsideTheTable)
{
    for (int command = -70000; command <= 70000; ++command) {
        ASSERT_EQ(expectedKey(command), keyOf(command)) << command;
    }
    for (int const command : {INT_MIN, INT_MIN + 1, INT_MIN + 2, INT_MIN + 3, INT_MIN + 76, INT_MAX - 1, INT_MAX}) {
        EXPECT_EQ(0U, keyOf(command)) << command;
    }
}
