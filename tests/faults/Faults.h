/// @file
/// Calls of the library that fail, one after the other.
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

/// Takes the calls over for the rest of the process. Every thread is watched but the calling one.
void prepare();

/// Watches an exempt thread for the length of a call into the library.
class Watched {
public:
    Watched();
    ~Watched();
};

/// Counts a call. @return true if it is to fail
bool strikes(Call call);

} // namespace faults

#endif
