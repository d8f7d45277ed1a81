/// @file
/// Globals without a destructor.
#ifndef ZELO_COMMON_NODESTRUCTOR_H
#define ZELO_COMMON_NODESTRUCTOR_H

#include <new>
#include <type_traits>

/// Room for an object that is never destroyed. Other globals, in whatever order they go, and threads of the host may
/// still use it while the process exits. The room itself needs neither construction nor destruction.
template <typename T> struct NoDestructor {
    typename std::aligned_storage<sizeof(T), alignof(T)>::type storage;

    /// To be called once, by the initialisation of a reference.
    T& make() { return *new (&storage) T; }
};

#endif
