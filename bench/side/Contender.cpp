#include "bench/side/Contender.h"

#include <errno.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>

namespace {

std::atomic<bool> isRunOver{false};

} // namespace

void setRunOver()
{
    isRunOver = true;
}

void require(bool good, char const* what)
{
    if (!good && isRunOver) {
        pause(); // the other process has ended
    }
    if (!good) {
        std::fprintf(stderr, "%s: %s: %s\n", contender.name, what, std::strerror(errno));
        _exit(2);
    }
}
