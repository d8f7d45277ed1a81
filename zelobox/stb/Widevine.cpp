// A DRM object that does nothing but keep a record of what it was asked for. ZELOSTB_L1=1 gives it the level L1.
#include <STBWidevineDrm.h>
#include <stdlib.h>

#include <algorithm>
#include <cstring>
#include <mutex>

#include "zelobox/stb/DrmRecord.h"

namespace {

std::mutex callsMutex;
std::string calls; // outlives the DRM object: this library goes after the one that made it

void record(std::string const& call)
{
    std::lock_guard<std::mutex> const lock(callsMutex);
    calls += call + "\n";
}

void record(std::string call, std::map<std::string, std::string> const& parameters)
{
    for (auto const& entry : parameters) {
        call += " " + entry.first + "=" + entry.second;
    }
    record(call);
}

int cdmObject;

class Bridge : public STBDrmCdmInterface {
public:
    void reserved0() override { record("slot 0"); }
    void reserved1() override { record("slot 1"); }
    void reserved2() override { record("slot 2"); }
    void reserved3() override { record("slot 3"); }
    void reserved4() override { record("slot 4"); }
    void reserved5() override { record("slot 5"); }
    void reserved6() override { record("slot 6"); }
    void reserved7() override { record("slot 7"); }
    void* cdm() override
    {
        record("cdm");
        return &cdmObject;
    }
};

Bridge theBridge;

} // namespace

size_t zelostb_drm_calls(char* text, size_t size)
{
    std::lock_guard<std::mutex> const lock(callsMutex);
    if (size != 0) {
        size_t const length = std::min(calls.size(), size - 1);
        memcpy(text, calls.data(), length);
        text[length] = '\0';
    }
    return calls.size();
}

STBWidevineDrm::STBWidevineDrm()
{
    record("construct");
}

STBWidevineDrm::~STBWidevineDrm()
{
    record("destroy");
}

void STBWidevineDrm::init(std::map<std::string, std::string> const& parameters, void* first, void* second)
{
    record(first == nullptr && second == nullptr ? "init" : "init with pointers", parameters);
}

void STBWidevineDrm::reserved()
{
    record("slot 1");
}

void STBWidevineDrm::apply(std::map<std::string, std::string> const& parameters)
{
    record("apply", parameters);
}

STBDrmCdmBridge* STBWidevineDrm::bridge()
{
    record("bridge");
    return &theBridge;
}

bool STBWidevineDrm::isL1() const
{
    record("isL1");
    char const* const level = getenv("ZELOSTB_L1");
    return level != nullptr && strcmp(level, "1") == 0;
}
