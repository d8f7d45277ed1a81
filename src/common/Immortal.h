/// @file
/// Globals that are never destroyed.
#ifndef ZELO_COMMON_IMMORTAL_H
#define ZELO_COMMON_IMMORTAL_H

#include <new>
#include <type_traits>

/// Room for an object that is never destroyed: other globals, in whatever order they go, and threads of the host may
/// still use it while the process exits. Itself it needs neither construction nor destruction.
template <typename T> struct Immortal {
    typename std::aligned_storage<sizeof(T), alignof(T)>::type storage;

    /// To be called once, by the initialisation of a reference.
    T& make() { return *new (&storage) T; }
};

#endif
