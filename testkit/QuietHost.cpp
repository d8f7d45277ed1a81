// What the host process supplies, for programs that watch memory or speed: nothing is kept and nothing allocated. Log
// lines are formatted, so that their arguments are looked at, and thrown away.
#include "testkit/QuietHost.h"

#include <NSTime.h>
#include <STBFirmwareUpdater.h>
#include <STBLogger.h>
#include <STBWidevineDrm.h>
#include <stdarg.h>
#include <stdio.h>
#include <time.h>

std::atomic<int> quietHostClockRate{1};
std::atomic<unsigned long> quietHostLogLines{0};

int STBLogger_log(STBLogContext const*, char const*, int, int, char const*, char const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    char line[256];
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    ++quietHostLogLines;
    return 0;
}

NSTime::NSTime() : microseconds(0) {}

NSTime::NSTime(long long count) : microseconds(count) {}

NSTime NSTime::nowRelative()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return NSTime((now.tv_sec * 1000000LL + now.tv_nsec / 1000) * quietHostClockRate);
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
    return "quiet-0001";
}

STBWidevineDrm::STBWidevineDrm() = default;

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
    return false;
}
