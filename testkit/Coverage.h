/// @file
/// Counts of executed lines in a process that ends without its exit handlers.
#ifndef ZELO_TESTKIT_COVERAGE_H
#define ZELO_TESTKIT_COVERAGE_H

#if defined(ZELO_COVERAGE)
extern "C" void __gcov_dump();
extern "C" void __gcov_reset();
#endif

namespace coverage {

/// Adds this process's counts to the files. To be called before a SIGKILL and before _exit(), which would lose them;
/// does nothing in a build that does not count.
inline void write()
{
#if defined(ZELO_COVERAGE)
    __gcov_dump();
    __gcov_reset(); // or what follows would not be written
#endif
}

} // namespace coverage

#endif
