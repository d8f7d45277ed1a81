// Compiled once for each instruction set.
#include "Frame.h"

void FRAME(Work work, void* argument)
{
    work(argument);
    __asm__ volatile(""); // what follows the call keeps the frame
}
