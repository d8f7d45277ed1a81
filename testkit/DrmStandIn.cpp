// The box's DRM object by the header that the library is built with.
#include <STBWidevineDrm.h>

#include "testkit/DrmRecord.h"

using standin::recordDrm;

namespace {

class Bridge : public STBDrmCdmInterface {
public:
    void reserved0() override { recordDrm("slot 0"); }
    void reserved1() override { recordDrm("slot 1"); }
    void reserved2() override { recordDrm("slot 2"); }
    void reserved3() override { recordDrm("slot 3"); }
    void reserved4() override { recordDrm("slot 4"); }
    void reserved5() override { recordDrm("slot 5"); }
    void reserved6() override { recordDrm("slot 6"); }
    void reserved7() override { recordDrm("slot 7"); }
    void* cdm() override
    {
        recordDrm("cdm");
        return standin::cdmObject();
    }
};

Bridge bridgeObject;

} // namespace

STBWidevineDrm::STBWidevineDrm()
{
    recordDrm("construct");
}

STBWidevineDrm::~STBWidevineDrm()
{
    recordDrm("destroy");
}

void STBWidevineDrm::init(std::map<std::string, std::string> const& parameters, void* first, void* second)
{
    recordDrm("init" + standin::textOf(parameters) + (first == nullptr && second == nullptr ? "" : " not null"));
}

void STBWidevineDrm::reserved()
{
    recordDrm("reserved");
}

void STBWidevineDrm::apply(std::map<std::string, std::string> const& parameters)
{
    recordDrm("apply" + standin::textOf(parameters));
}

STBDrmCdmBridge* STBWidevineDrm::bridge()
{
    recordDrm("bridge");
    return &bridgeObject;
}

bool STBWidevineDrm::isL1() const
{
    recordDrm("isL1");
    return standin::isL1();
}
