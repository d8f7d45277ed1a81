/// @file
/// What the tests ask the other box.
#ifndef ZELO_TESTS_ALTSTB_BOX_H
#define ZELO_TESTS_ALTSTB_BOX_H

#include <string>
#include <vector>

namespace box {

/// Waits until a line contains @p part: tag, level, file, text. @return false after ten seconds
bool waitForLine(std::string const& part);

std::vector<std::string> drmCalls();
void* decryptionModule();
void moveClock(long seconds);

} // namespace box

#endif
