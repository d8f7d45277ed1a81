#include "zelobox/protocol/MessageTable.h"

#include <gtest/gtest.h>

using namespace zelobox;

TEST(MessageTable, FindsEveryMessageByNameAndByNumber)
{
    for (MessageInfo const& info : messageTable()) {
        EXPECT_EQ(&info, findMessage(static_cast<uint16_t>(info.type)));
        EXPECT_EQ(&info, findMessage(std::string(info.name)));
    }
    EXPECT_EQ(20U, messageTable().size());
    EXPECT_EQ(nullptr, findMessage(uint16_t{2}));
}
