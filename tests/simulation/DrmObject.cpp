// The box's DRM object, which no scene uses: its calls come from one thread at a time.
#include <STBWidevineDrm.h>

STBWidevineDrm::STBWidevineDrm() : reservedBlock() {}
STBWidevineDrm::~STBWidevineDrm() = default;
void STBWidevineDrm::init(std::map<std::string, std::string> const&, void*, void*) {}
void STBWidevineDrm::reserved() {}
void STBWidevineDrm::apply(std::map<std::string, std::string> const&) {}

STBDrmCdmBridge* STBWidevineDrm::bridge()
{
    return nullptr;
}

bool STBWidevineDrm::isL1() const
{
    return reservedBlock[0] != nullptr;
}
