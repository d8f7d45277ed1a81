#include <gtest/gtest.h>
#include <stdint.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "cobalt/ZeloCobalt.h"
#include "testkit/HostStandIn.h"
#include "testkit/SystemStandIn.h"

namespace {

using Calls = std::vector<std::string>;

void* cdm(uintptr_t context)
{
    return ZeloCdm(reinterpret_cast<void*>(context));
}

/// The digits that the DRM object gets for a context.
std::string digitsOf(uintptr_t context)
{
    cdm(context);
    std::string const init = standin::drmCalls().at(2);
    return init.substr(init.find('=') + 1);
}

} // namespace

TEST(Drm, FirstCallProvisionsAndSetsUpOneObject)
{
    EXPECT_EQ(standin::cdmObject(), cdm(7));
    EXPECT_EQ((Calls{"system", "construct", "init cel=7", "bridge", "cdm"}), standin::drmCalls());
    EXPECT_EQ(Calls{"/usr/bin/wvprov"}, libc::commands());
}

TEST(Drm, LaterCallsApplyTheNewContextToTheSameObject)
{
    cdm(7);
    standin::clearDrmCalls();
    EXPECT_EQ(standin::cdmObject(), cdm(8));
    EXPECT_EQ(standin::cdmObject(), cdm(9));
    EXPECT_EQ((Calls{"apply cel=8", "bridge", "cdm", "apply cel=9", "bridge", "cdm"}), standin::drmCalls());
    EXPECT_EQ(1U, libc::commands().size());
}

struct Context {
    char const* name;
    uint64_t context; // of which a pointer's size counts
    char const* digits;
};

class DrmContext : public testing::TestWithParam<Context> {};

TEST_P(DrmContext, IsPassedOnAsASigned32BitNumberExtendedTo64)
{
    EXPECT_EQ(GetParam().digits, digitsOf(static_cast<uintptr_t>(GetParam().context)));
}

INSTANTIATE_TEST_SUITE_P(Of, DrmContext,
                         testing::Values(Context{"None", 0, "0"}, Context{"APositiveNumber", 0x12345678, "305419896"},
                                         Context{"TheLargestPositive", 0x7FFFFFFF, "2147483647"},
                                         Context{"TheSmallestNegative", 0x80000000, "18446744071562067968"},
                                         Context{"AllOnes", 0xFFFFFFFF, "18446744073709551615"},
                                         Context{"MoreThan32Bits", 0xABCDEF0112345678, "305419896"},
                                         Context{"TheSignOfTheLow32Bits", 0x0000000180000000, "18446744071562067968"}),
                         [](testing::TestParamInfo<Context> const& instance) { return instance.param.name; });

TEST(Drm, IsNotL1AndCreatesNothingBeforeTheFirstContext)
{
    standin::setL1(true);
    EXPECT_FALSE(ZeloCdmIsL1());
    EXPECT_TRUE(standin::drmCalls().empty());
    EXPECT_TRUE(libc::commands().empty());
}

TEST(Drm, LevelIsTheObjectsAtThatMoment)
{
    cdm(1);
    EXPECT_FALSE(ZeloCdmIsL1());
    standin::setL1(true);
    EXPECT_TRUE(ZeloCdmIsL1());
}

TEST(Drm, FailedConstructionLeavesNoObjectAndTheNextCallTriesAgain)
{
    standin::failNextDrm("construct");
    EXPECT_THROW(cdm(1), std::runtime_error);
    standin::setL1(true);
    EXPECT_FALSE(ZeloCdmIsL1());
    EXPECT_EQ(standin::cdmObject(), cdm(2));
    EXPECT_EQ((Calls{"system", "construct", "system", "construct", "init cel=2", "bridge", "cdm"}),
              Calls(standin::drmCalls()));
}

TEST(Drm, FailedInitReachesTheHostAndKeepsTheObject)
{
    standin::failNextDrm("init");
    EXPECT_THROW(cdm(1), std::runtime_error);
    EXPECT_EQ(standin::cdmObject(), cdm(2));
    EXPECT_EQ((Calls{"system", "construct", "init cel=1", "apply cel=2", "bridge", "cdm"}), standin::drmCalls());
}

TEST(Drm, FailedApplyReachesTheHostAndKeepsTheObject)
{
    cdm(1);
    standin::failNextDrm("apply");
    EXPECT_THROW(cdm(2), std::runtime_error);
    standin::clearDrmCalls();
    cdm(3);
    EXPECT_EQ((Calls{"apply cel=3", "bridge", "cdm"}), standin::drmCalls());
}

TEST(Drm, FailedBridgeOrAccessorReachesTheHost)
{
    for (char const* const operation : {"bridge", "cdm"}) {
        standin::failNextDrm(operation);
        EXPECT_THROW(cdm(1), std::runtime_error) << operation;
    }
    EXPECT_EQ(standin::cdmObject(), cdm(2));
}

TEST(Drm, LogsNothing)
{
    cdm(1);
    cdm(2);
    ZeloCdmIsL1();
    standin::failNextDrm("apply");
    EXPECT_THROW(cdm(3), std::runtime_error);
    EXPECT_TRUE(standin::logLines().empty());
}
