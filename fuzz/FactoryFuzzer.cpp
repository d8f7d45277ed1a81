// The factory of received messages, for every kind and type.
// Input: failing allocation, kind, type in two bytes, payload.
#include <memory>
#include <new>
#include <stdexcept>

#include "fuzz/Budget.h"
#include "fuzz/Input.h"
#include "src/ipc/IPCMessage.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    Input input(data, size);
    size_t const failing = input.byte();
    uint8_t const kind = input.byte();
    uint16_t const type = input.word();
    // A list of empty texts is the densest there is: 5 bytes for an object of 32, in a vector that doubles.
    Budget const budget(failing, 4096 + 32 * size);
    try {
        std::unique_ptr<IPCMessage> const message(makeReceivedMessage(kind, type, input.bytes()).release());
        if (message->headerKind != kind || message->headerType != type) {
            __builtin_trap();
        }
    } catch (std::bad_alloc const&) {
    } catch (std::out_of_range const&) {
    }
    return 0;
}
