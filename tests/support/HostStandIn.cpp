#include "tests/support/HostStandIn.h"

#include <NSTime.h>
#include <STBFirmwareUpdater.h>
#include <STBWidevineDrm.h>
#include <stdarg.h>
#include <stdio.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <stdexcept>

namespace standin {

namespace {

std::mutex logMutex;
std::condition_variable logChanged;
std::vector<LogLine> recorded;
std::function<void(LogLine const&)> observer;

std::atomic<bool> timeIsVirtual{false};
std::atomic<long long> virtualTime{0};

std::mutex drmMutex;
std::vector<std::string> calls;
std::string failing;
std::atomic<bool> l1{false};
int cdm;

size_t countLocked(std::string const& part)
{
    size_t count = 0;
    for (LogLine const& line : recorded) {
        count += line.message.find(part) != std::string::npos ? 1 : 0;
    }
    return count;
}

void recordDrm(std::string const& call)
{
    std::lock_guard<std::mutex> const lock(drmMutex);
    calls.push_back(call);
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

} // namespace

char const deviceId[] = "stand-in-0001";

std::vector<LogLine> logLines()
{
    std::lock_guard<std::mutex> const lock(logMutex);
    return recorded;
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
    std::lock_guard<std::mutex> const lock(logMutex);
    recorded.clear();
}

bool waitForLog(std::string const& part, size_t count, Milliseconds deadline)
{
    std::unique_lock<std::mutex> lock(logMutex);
    return logChanged.wait_until(lock, std::chrono::steady_clock::now() + deadline,
                                 [&] { return countLocked(part) >= count; });
}

void onLog(std::function<void(LogLine const&)> newObserver)
{
    std::lock_guard<std::mutex> const lock(logMutex);
    observer = std::move(newObserver);
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

std::vector<std::string> drmCalls()
{
    std::lock_guard<std::mutex> const lock(drmMutex);
    return calls;
}

void clearDrmCalls()
{
    std::lock_guard<std::mutex> const lock(drmMutex);
    calls.clear();
}

void setL1(bool isL1)
{
    l1 = isL1;
}

void failNextDrm(std::string const& operation)
{
    std::lock_guard<std::mutex> const lock(drmMutex);
    failing = operation;
}

void* cdmObject()
{
    return &cdm;
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
        return cdmObject();
    }
};

Bridge bridgeObject;

} // namespace

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
        std::lock_guard<std::mutex> const lock(standin::logMutex);
        standin::recorded.push_back(entry);
        toTell = standin::observer;
    }
    standin::logChanged.notify_all();
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

STBWidevineDrm::STBWidevineDrm()
{
    standin::recordDrm("construct");
}

STBWidevineDrm::~STBWidevineDrm()
{
    standin::recordDrm("destroy");
}

void STBWidevineDrm::init(std::map<std::string, std::string> const& parameters, void* first, void* second)
{
    standin::recordDrm("init" + standin::textOf(parameters) +
                       (first == nullptr && second == nullptr ? "" : " not null"));
}

void STBWidevineDrm::reserved()
{
    standin::recordDrm("reserved");
}

void STBWidevineDrm::apply(std::map<std::string, std::string> const& parameters)
{
    standin::recordDrm("apply" + standin::textOf(parameters));
}

STBDrmCdmBridge* STBWidevineDrm::bridge()
{
    standin::recordDrm("bridge");
    return &standin::bridgeObject;
}

bool STBWidevineDrm::isL1() const
{
    standin::recordDrm("isL1");
    return standin::l1;
}
