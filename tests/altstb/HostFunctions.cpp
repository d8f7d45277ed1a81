// The host's functions by these headers.
#include <NSTime.h>
#include <STBFirmwareUpdater.h>
#include <STBLogger.h>
#include <STBWidevineDrm.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

#include "testkit/HostStandIn.h"

using standin::recordDrm;

void STBLogger_log(STBLogContext const* where, char const* extra, int severity, int lineNumber, char const* fileName,
                   char const* fmt, ...)
{
    va_list arguments;
    va_start(arguments, fmt);
    standin::logCalled(*where, extra, severity, lineNumber, fileName, fmt, arguments);
    va_end(arguments);
}

NSTime::NSTime() : NSTime(0) {}

NSTime::NSTime(long long us)
    : seconds(us / 1000000), nanoseconds(static_cast<int32_t>(us % 1000000) * 1000), zone("none"), marker{1, 2, 3, 4}
{
}

NSTime::NSTime(NSTime const& other) = default;

NSTime& NSTime::operator=(NSTime const& other) = default;

NSTime::~NSTime()
{
    memset(marker, 0, sizeof marker);
}

NSTime NSTime::nowRelative()
{
    return NSTime(standin::nowMicroseconds());
}

NSTime NSTime::operator-(NSTime const& other) const
{
    return NSTime((seconds - other.seconds) * 1000000 + (nanoseconds - other.nanoseconds) / 1000);
}

bool NSTime::operator>=(NSTime const& other) const
{
    return !(*this < other);
}

bool NSTime::operator<(NSTime const& other) const
{
    return seconds != other.seconds ? seconds < other.seconds : nanoseconds < other.nanoseconds;
}

std::string STBFirmwareUpdater::getCurrentDeviceId()
{
    return standin::deviceId;
}

namespace {

class Module : public STBDrmCdmInterface {
    int openSession() override { return wrong(); }
    int closeSession() override { return wrong(); }
    int update() override { return wrong(); }
    int load() override { return wrong(); }
    int remove() override { return wrong(); }
    int certificate() override { return wrong(); }
    int renewals() override { return wrong(); }
    int keyStatus() override { return wrong(); }
    void* contentDecryptionModule() override
    {
        recordDrm("module");
        return standin::cdmObject();
    }
    int metrics() override { return wrong(); }

    static int wrong()
    {
        recordDrm("wrong slot");
        return -1;
    }
};

Module theModule;

} // namespace

STBWidevineDrm::STBWidevineDrm() : sessions(3, "session"), level("L1")
{
    memset(certificateCache, 0x5A, sizeof certificateCache);
}

STBWidevineDrm::~STBWidevineDrm()
{
    if (certificateCache[sizeof certificateCache - 1] != 0x5A || sessions.size() != 3) {
        abort(); // overwritten
    }
}

void STBWidevineDrm::open(std::map<std::string, std::string> const& options, void* display, void* surface)
{
    recordDrm("open" + standin::textOf(options) + (display == nullptr && surface == nullptr ? "" : " not null"));
}

void STBWidevineDrm::suspend()
{
    recordDrm("suspend");
}

void STBWidevineDrm::reopen(std::map<std::string, std::string> const& options)
{
    recordDrm("reopen" + standin::textOf(options));
}

void STBWidevineDrm::resume()
{
    recordDrm("resume");
}

STBDrmCdmBridge* STBWidevineDrm::bridge()
{
    return &theModule;
}

bool STBWidevineDrm::isL1() const
{
    return level == "L1";
}
