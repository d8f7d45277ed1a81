#include "testkit/HostStandIn.h"

#include <stdio.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <stdexcept>

#include "testkit/Wait.h"

namespace standin {

namespace {

using Lock = std::lock_guard<std::mutex>;

/// Never destroyed: a library that the program links logs, and destroys its DRM object, when the program's own objects
/// are gone.
struct Record {
    std::mutex mutex;
    std::vector<LogLine> lines;
    std::function<void(LogLine const&)> observer;
    std::vector<std::string> drmCalls;
    std::string failingDrmCall;
};

Record& record = *new Record;

std::atomic<Logging> logging{Logging::Recorded};
std::atomic<bool> timeIsVirtual{false};
std::atomic<long long> virtualTime{0};
std::atomic<bool> l1{false};
int cdm;

bool contains(LogLine const& line, std::string const& part)
{
    return line.message.find(part) != std::string::npos;
}

} // namespace

char const deviceId[] = "stand-in-0001";

void setLogging(Logging newLogging)
{
    logging = newLogging;
}

bool isLoggingDropped()
{
    return logging == Logging::Dropped;
}

std::vector<LogLine> logLines()
{
    Lock const lock(record.mutex);
    return record.lines;
}

std::vector<LogLine> logLines(std::string const& part)
{
    std::vector<LogLine> found;
    Lock const lock(record.mutex);
    std::copy_if(record.lines.begin(), record.lines.end(), std::back_inserter(found),
                 [&](LogLine const& line) { return contains(line, part); });
    return found;
}

void clearLog()
{
    Lock const lock(record.mutex);
    record.lines.clear();
}

bool waitForLog(std::string const& part, size_t expected, Milliseconds deadline)
{
    auto const hasCome = [&] {
        Lock const lock(record.mutex);
        auto const found = std::count_if(record.lines.begin(), record.lines.end(),
                                         [&](LogLine const& line) { return contains(line, part); });
        return static_cast<size_t>(found) >= expected;
    };
    return timely::eventually(hasCome, deadline);
}

void onLog(std::function<void(LogLine const&)> observer)
{
    Lock const lock(record.mutex);
    record.observer = std::move(observer);
}

void logCalled(STBLogContext const& context, char const* text, int level, int line, char const* file,
               char const* format, va_list arguments)
{
    char message[4096];
    vsnprintf(message, sizeof message, format, arguments);
    if (logging != Logging::Recorded) {
        return;
    }
    LogLine const entry = {context, text, level, line, file, format, message};
    std::function<void(LogLine const&)> toTell;
    {
        Lock const lock(record.mutex);
        record.lines.push_back(entry);
        toTell = record.observer;
    }
    if (toTell) {
        toTell(entry);
    }
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

long long nowMicroseconds()
{
    if (timeIsVirtual) {
        return virtualTime;
    }
    auto const now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

std::vector<std::string> drmCalls()
{
    Lock const lock(record.mutex);
    return record.drmCalls;
}

void clearDrmCalls()
{
    Lock const lock(record.mutex);
    record.drmCalls.clear();
}

void failNextDrm(std::string const& operation)
{
    Lock const lock(record.mutex);
    record.failingDrmCall = operation;
}

void recordDrm(std::string const& call)
{
    Lock const lock(record.mutex);
    record.drmCalls.push_back(call);
    std::string& failing = record.failingDrmCall;
    if (!failing.empty() && call.compare(0, failing.size(), failing) == 0) {
        failing.clear();
        throw std::runtime_error(call);
    }
}

std::string textOf(std::map<std::string, std::string> const& parameters)
{
    std::string text;
    for (auto const& entry : parameters) {
        text += " " + entry.first + "=" + entry.second;
    }
    return text;
}

void setL1(bool isL1)
{
    l1 = isL1;
}

bool isL1()
{
    return l1;
}

void* cdmObject()
{
    return &cdm;
}

} // namespace standin
