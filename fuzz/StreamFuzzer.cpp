// A whole connection of a real manager: handshake, receive loop, dispatch, answers, drop, stop.
// Input: failing allocation, chunk size and stop (bit 7: do not wait for the end of the stream), the stream.
#include <pthread.h>

#include "cobalt/CobaltManager.h"
#include "fuzz/Budget.h"
#include "fuzz/Input.h"
#include "fuzz/StreamPeer.h"

namespace {

/// A payload whose length is said to be above it cannot be buffered, like a lying length on the box.
size_t const longestPayload = 4 * 1024 * 1024;
size_t const longestStream = 64 * 1024;

void onKey(SbKey, uint8_t) {}
void onEvent() {}

ZeloCallbacks const callbacks = {onKey, onEvent, onEvent, onEvent};

} // namespace

/// Small stacks: the sanitizer clears the shadow of a whole one for every thread.
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 256 * 1024);
    pthread_setattr_default_np(&attributes);
    pthread_attr_destroy(&attributes);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    Budget::exemptThisThread();
    Input input(data, size);
    size_t const failing = input.byte();
    uint8_t const control = input.byte();
    StreamPeer const peer(input.bytes(longestStream), control & 0x7FU);
    CobaltManager::_config = CobaltManager::Config();
    // The manager with its threads; one payload, whose length may lie; what the bytes that did come are decoded into.
    Budget const budget(failing, 64 * 1024 + longestPayload + 32 * size, longestPayload);
    CobaltManager manager(callbacks);
    if ((control & 0x80) == 0) {
        StreamPeer::waitForReturn();
    }
    return 0;
}
