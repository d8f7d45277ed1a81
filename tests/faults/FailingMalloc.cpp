// malloc and its relatives, which a sanitizer has for itself.
#include <errno.h>
#include <stddef.h>

#include "tests/faults/Faults.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZELO_OWN_MALLOC 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ZELO_OWN_MALLOC 0
#endif
#endif
#ifndef ZELO_OWN_MALLOC
#define ZELO_OWN_MALLOC 1
#endif

bool faults::canFailMalloc()
{
    return ZELO_OWN_MALLOC != 0;
}

#if ZELO_OWN_MALLOC

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);

void* malloc(size_t size) noexcept
{
    if (faults::strikes(faults::Call::Malloc)) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) noexcept
{
    if (faults::strikes(faults::Call::Malloc)) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_calloc(count, size);
}
}

#endif
