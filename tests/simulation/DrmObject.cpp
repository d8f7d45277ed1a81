// The box's DRM object. Its calls come from one thread at a time.
#include <STBWidevineDrm.h>

#include "tests/simulation/Child.h"
#include "tests/simulation/World.h"

namespace {

class Bridge : public STBDrmCdmInterface {
public:
    void reserved0() override {}
    void reserved1() override {}
    void reserved2() override {}
    void reserved3() override {}
    void reserved4() override {}
    void reserved5() override {}
    void reserved6() override {}
    void reserved7() override {}
    void* cdm() override { return nullptr; }
};

} // namespace

STBWidevineDrm::STBWidevineDrm() : reservedBlock() {}

STBWidevineDrm::~STBWidevineDrm()
{
    simulation::Outside const outside;
    simulation::forbidInChild("the DRM object is destroyed");
}

void STBWidevineDrm::init(std::map<std::string, std::string> const&, void*, void*) {}
void STBWidevineDrm::reserved() {}
void STBWidevineDrm::apply(std::map<std::string, std::string> const&) {}

STBDrmCdmBridge* STBWidevineDrm::bridge()
{
    static Bridge only;
    return &only;
}

bool STBWidevineDrm::isL1() const
{
    return reservedBlock[0] != nullptr;
}
