/// @file
/// How a test that ends its process gets one.
#ifndef ZELO_TESTKIT_DEATHTESTS_H
#define ZELO_TESTKIT_DEATHTESTS_H

#include <gtest/gtest.h>

namespace standin {

/// Lets death tests begin in a program started anew: a sanitizer may have a thread already, which a fork would lose. An
/// emulator has none, and its programs cannot start themselves.
inline void setDeathTestStyle()
{
#if defined(ZELO_EMULATED)
    GTEST_FLAG_SET(death_test_style, "fast");
#else
    GTEST_FLAG_SET(death_test_style, "threadsafe");
#endif
}

} // namespace standin

#endif
