#include "testkit/HostStandIn.h"

#include <NSTime.h>
#include <STBFirmwareUpdater.h>
#include <stdarg.h>
#include <stdio.h>

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace standin {

namespace {

/// Never destroyed: a library that the program links logs when the program's own objects are gone.
struct Log {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<LogLine> recorded;
    std::function<void(LogLine const&)> observer;
};

Log& theLog = *new Log;

std::atomic<bool> timeIsVirtual{false};
std::atomic<long long> virtualTime{0};

size_t countLocked(std::string const& part)
{
    size_t count = 0;
    for (LogLine const& line : theLog.recorded) {
        count += line.message.find(part) != std::string::npos ? 1 : 0;
    }
    return count;
}

} // namespace

char const deviceId[] = "stand-in-0001";

std::vector<LogLine> logLines()
{
    std::lock_guard<std::mutex> const lock(theLog.mutex);
    return theLog.recorded;
}

std::vector<LogLine> logLines(std::string const& part)
{
    std::vector<LogLine> found;
    for (LogLine& line : logLines()) {
        if (line.message.find(part) != std::string::npos) {
            found.push_back(std::move(line));
        }
    }
    return found;
}

void clearLog()
{
    std::lock_guard<std::mutex> const lock(theLog.mutex);
    theLog.recorded.clear();
}

bool waitForLog(std::string const& part, size_t count, Milliseconds deadline)
{
    std::unique_lock<std::mutex> lock(theLog.mutex);
    return theLog.changed.wait_until(lock, std::chrono::steady_clock::now() + deadline,
                                     [&] { return countLocked(part) >= count; });
}

void onLog(std::function<void(LogLine const&)> newObserver)
{
    std::lock_guard<std::mutex> const lock(theLog.mutex);
    theLog.observer = std::move(newObserver);
}

void setVirtualTime(long long microseconds)
{
    virtualTime = microseconds;
    timeIsVirtual = true;
}

void advanceVirtualTime(long long microseconds)
{
    virtualTime += microseconds;
}

} // namespace standin

int STBLogger_log(STBLogContext const* context, char const* text, int level, int line, char const* file,
                  char const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    char message[4096];
    vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    standin::LogLine const entry = {*context, text, level, line, file, format, message};
    std::function<void(standin::LogLine const&)> toTell;
    {
        std::lock_guard<std::mutex> const lock(standin::theLog.mutex);
        standin::theLog.recorded.push_back(entry);
        toTell = standin::theLog.observer;
    }
    standin::theLog.changed.notify_all();
    if (toTell) {
        toTell(entry);
    }
    return 0;
}

NSTime::NSTime() : microseconds(0) {}

NSTime::NSTime(long long count) : microseconds(count) {}

NSTime NSTime::nowRelative()
{
    if (standin::timeIsVirtual) {
        return NSTime(standin::virtualTime);
    }
    auto const now = std::chrono::steady_clock::now().time_since_epoch();
    return NSTime(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
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
