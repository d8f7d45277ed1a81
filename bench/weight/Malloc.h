/// @file
/// The program's own malloc and its relatives, which can be watched.
#ifndef ZELO_BENCH_WEIGHT_MALLOC_H
#define ZELO_BENCH_WEIGHT_MALLOC_H

#include <stddef.h>

namespace mallocs {

/// What sees every allocation of the process, on its thread; each may be null. Must not allocate.
struct Observer {
    void (*allocated)(void* block);
    void (*released)(void* block); ///< before it is released
};
/// @param observer  null to remove
void observe(Observer const* observer);

} // namespace mallocs

#endif
