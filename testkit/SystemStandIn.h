/// @file
/// A box's files, memory and shell, and a record of the library's sleeps.
#ifndef ZELO_TESTKIT_SYSTEMSTANDIN_H
#define ZELO_TESTKIT_SYSTEMSTANDIN_H

#include <functional>
#include <string>
#include <vector>

namespace libc {

/// From now on opening @p path opens @p replacement.
void redirectFile(std::string const& path, std::string const& replacement);
/// How often a redirected file was opened.
int redirections();

/// From now on sysinfo() reports so much memory.
void setTotalRam(unsigned long bytes);
int sysinfoCalls();

/// What was given to system(), which runs nothing in a program with this stand-in.
std::vector<std::string> commands();

/// How often usleep() was called for so long.
int sleepsOf(unsigned microseconds);
/// @return false after a deadline of some seconds
bool waitForSleepsOf(unsigned microseconds, int count);
/// Called by every usleep() on the thread that sleeps; empty to remove.
void onSleep(std::function<void(unsigned)> observer);

} // namespace libc

#endif
