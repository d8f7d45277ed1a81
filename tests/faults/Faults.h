/// @file
/// Makes calls of the library fail: the program's symbols take precedence over the C library's.
#ifndef ZELO_TESTS_FAULTS_H
#define ZELO_TESTS_FAULTS_H

#include <cstddef>

namespace faults {

enum class Call { New, Malloc, Socket, Fcntl, Setsockopt, Connect, Recv, Write, Close, ThreadCreate, Count };

/// Some calls in a row, counted over all threads of the library.
struct Fault {
    Call call = Call::Count;
    size_t first = 0; ///< from 1
    size_t count = 1;
    int error = 0; ///< 0 for a transfer of a single byte
};

/// From now on the calls of watched threads are counted, and those that @p fault names fail.
void arm(Fault const& fault);
void disarm();

/// @return how many calls there were since arm()
size_t calls(Call call);

/// @return whether the fault has come up
bool hasStruck();

/// @return blocks from operator new that are in use
long blocksInUse();

/// Every thread is watched unless it has said this.
void exemptThisThread();

/// Watches an exempt thread for the length of a call into the library.
class Watched {
public:
    Watched();
    ~Watched();
};

/// Counts a call, for what takes its place. @return true if it is to fail
bool strikes(Call call);

/// @return true if malloc can be made to fail in this build
bool canFailMalloc();

} // namespace faults

#endif
