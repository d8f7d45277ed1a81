#include <gtest/gtest.h>
#include <stddef.h>
#include <string.h>

#include "cobalt/ZeloCobalt.h"
#include "testkit/LibcStandIn.h"

namespace {

/// On a box with so much memory. One box per process: the amount is kept.
uint32_t memoryClassWith(unsigned long bytes)
{
    libc::setTotalRam(bytes);
    Capabilities capabilities = {};
    EXPECT_TRUE(ZeloGetCapabilities(capabilities));
    EXPECT_EQ(1, libc::sysinfoCalls());
    return capabilities.memoryClass;
}

} // namespace

TEST(MemoryClass, Is0Below280Million)
{
    EXPECT_EQ(0U, memoryClassWith(279999999));
}

TEST(MemoryClass, Is0AtExactly280Million)
{
    EXPECT_EQ(0U, memoryClassWith(280000000));
}

TEST(MemoryClass, Is1Above280Million)
{
    EXPECT_EQ(1U, memoryClassWith(280000001));
}

TEST(MemoryClass, Is1Below600Million)
{
    EXPECT_EQ(1U, memoryClassWith(599999999));
}

TEST(MemoryClass, Is1AtExactly600Million)
{
    EXPECT_EQ(1U, memoryClassWith(600000000));
}

TEST(MemoryClass, Is2Above600Million)
{
    EXPECT_EQ(2U, memoryClassWith(600000001));
}

TEST(MemoryClass, IsUnsigned)
{
    EXPECT_EQ(2U, memoryClassWith(~0UL));
}

TEST(MemoryClass, IsOfTheMemoryAtTheFirstCall)
{
    EXPECT_EQ(2U, memoryClassWith(700000000));
    EXPECT_EQ(2U, memoryClassWith(1000));
}

TEST(MemoryClass, IsAskedForAgainWhileTheBoxReportsNone)
{
    EXPECT_EQ(0U, memoryClassWith(0));
    libc::setTotalRam(300000000);
    Capabilities capabilities = {};
    ZeloGetCapabilities(capabilities);
    EXPECT_EQ(1U, capabilities.memoryClass);
    EXPECT_EQ(2, libc::sysinfoCalls());
}

TEST(Capabilities, FillTwentyBytesAndLeaveTheHostsAlone)
{
    libc::setTotalRam(300000000);
    for (uint8_t const before : std::initializer_list<uint8_t>{0, 'Z', '~'}) {
        alignas(Capabilities) unsigned char bytes[20];
        memset(bytes, before, sizeof bytes);
        EXPECT_TRUE(ZeloGetCapabilities(*reinterpret_cast<Capabilities*>(bytes)));
        unsigned char const expected[20] = {1,      0,      0, 0,  // value1
                                            1,      before, 0, 1,  // flag1 to flag4
                                            1,      0,      0, 0,  // memoryClass
                                            before, 0,             // flag5, flag6
                                            before, before,        // the host's
                                            3,      0,      0, 0}; // value2
        EXPECT_EQ(0, memcmp(expected, bytes, sizeof bytes)) << "host's bytes were " << int{before};
    }
}

TEST(Capabilities, HaveTheHostsLayout)
{
    EXPECT_EQ(20U, sizeof(Capabilities));
    EXPECT_EQ(0U, offsetof(Capabilities, value1));
    EXPECT_EQ(4U, offsetof(Capabilities, flag1));
    EXPECT_EQ(5U, offsetof(Capabilities, flag2));
    EXPECT_EQ(6U, offsetof(Capabilities, flag3));
    EXPECT_EQ(7U, offsetof(Capabilities, flag4));
    EXPECT_EQ(8U, offsetof(Capabilities, memoryClass));
    EXPECT_EQ(12U, offsetof(Capabilities, flag5));
    EXPECT_EQ(13U, offsetof(Capabilities, flag6));
    EXPECT_EQ(14U, offsetof(Capabilities, reserved));
    EXPECT_EQ(16U, offsetof(Capabilities, value2));
}
