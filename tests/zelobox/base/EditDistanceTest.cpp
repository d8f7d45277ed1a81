#include <gtest/gtest.h>

#include "zelobox/base/EditDistance.h"

using namespace zelobox;

TEST(EditDistance, CountsWhatMustBeChanged)
{
    EXPECT_EQ(0U, distanceOf("video", "video"));
    EXPECT_EQ(5U, distanceOf("", "video"));
    EXPECT_EQ(1U, distanceOf("vido", "video"));
    EXPECT_EQ(1U, distanceOf("viddeo", "video"));
    EXPECT_EQ(1U, distanceOf("vidro", "video"));
    EXPECT_EQ(1U, distanceOf("vidoe", "video"));
    EXPECT_EQ(3U, distanceOf("deo", "video") + distanceOf("ui", "u"));
}

TEST(EditDistance, FindsWhatSomebodyMayHaveMeant)
{
    std::vector<std::string> const words = {"start", "stop", "video", "ui", "l1"};
    EXPECT_EQ("stop", mostSimilar("stpo", words));
    EXPECT_EQ("start", mostSimilar("strt", words));
    EXPECT_EQ("video", mostSimilar("vidoe", words));
    EXPECT_EQ("ui", mostSimilar("uu", words));
    EXPECT_EQ("", mostSimilar("banana", words));
    EXPECT_EQ("", mostSimilar("x", words));
    EXPECT_EQ("", mostSimilar("", words));
}
