#include "zelobox/base/Descriptor.h"

#include <unistd.h>

namespace zelobox {

int Descriptor::release()
{
    int const number = fd;
    fd = -1;
    return number;
}

void Descriptor::reset(int number)
{
    if (fd >= 0) {
        ::close(fd);
    }
    fd = number;
}

} // namespace zelobox
