// The box that these headers belong to.
#include "Box.h"

#include <NSTime.h>
#include <STBFirmwareUpdater.h>
#include <STBLogger.h>
#include <STBWidevineDrm.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <condition_variable>
#include <mutex>

namespace {

std::mutex mutex;
std::condition_variable changed;
std::vector<std::string> lines;
int64_t movedSeconds = 0;
char module;

/// Never destroyed: the DRM object goes at the very end.
std::vector<std::string>& calls()
{
    static std::vector<std::string>& list = *new std::vector<std::string>;
    return list;
}

void called(std::string const& what)
{
    calls().push_back(what);
    if (what == "overwritten") {
        abort();
    }
}

bool hasLine(std::string const& part)
{
    for (std::string const& line : lines) {
        if (line.find(part) != std::string::npos) {
            return true;
        }
    }
    return false;
}

} // namespace

bool box::waitForLine(std::string const& part)
{
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(10), [&part] { return hasLine(part); });
}

std::vector<std::string> box::drmCalls()
{
    return calls();
}

void* box::decryptionModule()
{
    return &module;
}

void box::moveClock(long seconds)
{
    movedSeconds += seconds;
}

void STBLogger_log(STBLogContext const* where, char const*, int severity, int, char const* fileName, char const* fmt,
                   ...)
{
    char text[512];
    va_list arguments;
    va_start(arguments, fmt);
    vsnprintf(text, sizeof text, fmt, arguments);
    va_end(arguments);
    std::lock_guard<std::mutex> const lock(mutex);
    lines.push_back(std::string(where->component) + " " + std::to_string(severity) + " " + fileName + ": " + text);
    changed.notify_all();
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
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return NSTime((int64_t{now.tv_sec} + movedSeconds) * 1000000 + now.tv_nsec / 1000);
}

NSTime NSTime::nowAbsolute()
{
    return NSTime(int64_t{time(nullptr)} * 1000000);
}

NSTime NSTime::operator-(NSTime const& other) const
{
    return NSTime((seconds - other.seconds) * 1000000 + (nanoseconds - other.nanoseconds) / 1000);
}

NSTime NSTime::operator+(NSTime const& other) const
{
    return NSTime((seconds + other.seconds) * 1000000 + (nanoseconds + other.nanoseconds) / 1000);
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
    return "another-box";
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
        called("module");
        return &module;
    }
    int metrics() override { return wrong(); }

    static int wrong()
    {
        called("wrong slot");
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
    called(certificateCache[sizeof certificateCache - 1] == 0x5A && sessions.size() == 3 ? "whole" : "overwritten");
}

void STBWidevineDrm::open(std::map<std::string, std::string> const& options, void* display, void* surface)
{
    called("open " + options.at("cel") + (display == nullptr && surface == nullptr ? "" : " not null"));
}

void STBWidevineDrm::suspend()
{
    called("suspend");
}

void STBWidevineDrm::reopen(std::map<std::string, std::string> const& options)
{
    called("reopen " + options.at("cel"));
}

void STBWidevineDrm::resume()
{
    called("resume");
}

STBDrmCdmBridge* STBWidevineDrm::bridge()
{
    return &theModule;
}

bool STBWidevineDrm::isL1() const
{
    return level == "L1";
}
