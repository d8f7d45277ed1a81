/// @file
/// Relaxed atomic access to plain fields: for numbers in records with a fixed layout that one thread writes while
/// others read them, each on its own.
#ifndef ZELO_COMMON_RELAXED_H
#define ZELO_COMMON_RELAXED_H

template <typename T> T loadRelaxed(T const& field)
{
    return __atomic_load_n(&field, __ATOMIC_RELAXED);
}

template <typename T> void storeRelaxed(T& field, T value)
{
    __atomic_store_n(&field, value, __ATOMIC_RELAXED);
}

#endif
