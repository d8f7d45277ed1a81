// The host's functions by the headers that the library is built with.
#include <NSTime.h>
#include <STBFirmwareUpdater.h>
#include <STBLogger.h>
#include <STBWidevineDrm.h>
#include <stdarg.h>

#include "testkit/HostStandIn.h"

using standin::recordDrm;

int STBLogger_log(STBLogContext const* context, char const* text, int level, int line, char const* file,
                  char const* format, ...)
{
    if (!standin::isLoggingDropped()) {
        va_list arguments;
        va_start(arguments, format);
        standin::logCalled(*context, text, level, line, file, format, arguments);
        va_end(arguments);
    }
    return 0;
}

NSTime::NSTime() : microseconds(0) {}

NSTime::NSTime(long long count) : microseconds(count) {}

NSTime NSTime::nowRelative()
{
    return NSTime(standin::nowMicroseconds());
}

NSTime NSTime::operator-(NSTime const& other) const
{
    return NSTime(microseconds - other.microseconds);
}

bool NSTime::operator>=(NSTime const& other) const
{
    return microseconds >= other.microseconds;
}

std::string STBFirmwareUpdater::getCurrentDeviceId()
{
    return standin::deviceId;
}

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
