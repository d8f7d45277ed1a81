/// @file
/// A function in each of the box's instruction sets. Their names have no decoration, so that a report can be searched
/// for them.
#ifndef ZELO_TESTS_CONTRACT_FRAME_H
#define ZELO_TESTS_CONTRACT_FRAME_H

typedef void (*Work)(void*);

/// Calls @p work with @p argument and has a frame of its own meanwhile.
extern "C" void contractThumbFrame(Work work, void* argument);
extern "C" void contractArmFrame(Work work, void* argument);

#endif
