#include <STBWidevineDrm.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

#include <map>
#include <string>

#include "cobalt/ZeloCobalt.h"

namespace {

STBWidevineDrm* wvDrm = nullptr;
pid_t drmProcess = 0; ///< the process that #wvDrm was made in

/// Destroys the object, but not in a forked child's exit: what its destructor ends may be the parent's protected stream.
struct DrmEnd {
    ~DrmEnd()
    {
        if (drmProcess == getpid()) {
            delete wvDrm;
            wvDrm = nullptr;
        }
    }
} const drmEnd;

using DrmParameters = std::map<std::string, std::string>;

/// Calls a virtual operation by its position, which is the only thing that the boxes' headers have in common: a slot of
/// the table that the object begins with holds a function that takes the object first.
template <typename Result, typename... Arguments> Result callSlot(void* object, size_t slot, Arguments... arguments)
{
    using Operation = Result (*)(void*, Arguments...);
    Operation const* table;
    memcpy(&table, object, sizeof table);
    return table[slot](object, arguments...);
}

size_t const initSlot = 0;  // of STBWidevineDrm
size_t const applySlot = 2; // of STBWidevineDrm
size_t const cdmSlot = 8;   // of STBDrmCdmInterface

void setUpDrm(DrmParameters const& parameters)
{
    // Provisions the device; whether it succeeds is the DRM object's affair.
    int const status = system("/usr/bin/wvprov");
    static_cast<void>(status);
    wvDrm = new STBWidevineDrm;
    drmProcess = getpid();
    callSlot<void, DrmParameters const&, void*, void*>(wvDrm, initSlot, parameters, nullptr, nullptr);
}

} // namespace

void* ZeloCdm(void* context)
{
    // The box parses exactly these digits: the context as a signed 32-bit number, on 64-bit hosts too, with its sign
    // extended to 64 bits.
    int32_t const number = static_cast<int32_t>(reinterpret_cast<intptr_t>(context));
    char digits[sizeof "18446744073709551615"];
    snprintf(digits, sizeof digits, "%llu", static_cast<unsigned long long>(number));
    DrmParameters parameters;
    parameters.emplace("cel", digits);
    if (wvDrm == nullptr) {
        setUpDrm(parameters);
    } else {
        callSlot<void, DrmParameters const&>(wvDrm, applySlot, parameters);
    }
    return callSlot<void*>(dynamic_cast<STBDrmCdmInterface*>(wvDrm->bridge()), cdmSlot);
}

bool ZeloCdmIsL1()
{
    return wvDrm != nullptr && wvDrm->isL1();
}
