// A box's support library with declarations of its own: what it shares with the library are symbols and positions.
#include "Host.h"

#include <stdint.h>
#include <string.h>
#include <time.h>

namespace {

size_t const logRecordSize = 3 * sizeof(void*) + 20;

thread_local unsigned char lastRecord[logRecordSize];

} // namespace

extern "C" int STBLogger_log(void const* context, char const*, int, int, char const*, char const*, ...)
{
    memcpy(lastRecord, context, sizeof lastRecord);
    return 0;
}

host::LogRecord host::lastLog()
{
    char const* texts[3];
    memcpy(texts, lastRecord, sizeof texts);
    std::vector<int> const rest(lastRecord + sizeof texts, lastRecord + sizeof lastRecord);
    return {texts[0], texts[1], texts[2], rest};
}

class NSTime {
public:
    NSTime();
    explicit NSTime(long long count);
    static NSTime nowRelative();
    NSTime operator-(NSTime const& other) const;
    bool operator>=(NSTime const& other) const;

private:
    long long us;
};

NSTime::NSTime() : us(0) {}

NSTime::NSTime(long long count) : us(count) {}

NSTime NSTime::nowRelative()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return NSTime(int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000);
}

NSTime NSTime::operator-(NSTime const& other) const
{
    return NSTime(us - other.us);
}

bool NSTime::operator>=(NSTime const& other) const
{
    return us >= other.us;
}

class STBFirmwareUpdater {
public:
    static std::string getCurrentDeviceId();
};

std::string STBFirmwareUpdater::getCurrentDeviceId()
{
    return "contract-0001";
}
