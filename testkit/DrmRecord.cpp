#include "testkit/DrmRecord.h"

#include <atomic>
#include <mutex>
#include <stdexcept>

namespace standin {

namespace {

/// Never destroyed: a library that the program links destroys its DRM object when the program's own objects are gone.
struct Record {
    std::mutex mutex;
    std::vector<std::string> calls;
    std::string failing;
};

Record& record = *new Record;
std::atomic<bool> l1{false};
int cdm;

} // namespace

std::vector<std::string> drmCalls()
{
    std::lock_guard<std::mutex> const lock(record.mutex);
    return record.calls;
}

void clearDrmCalls()
{
    std::lock_guard<std::mutex> const lock(record.mutex);
    record.calls.clear();
}

void recordDrm(std::string const& call)
{
    std::lock_guard<std::mutex> const lock(record.mutex);
    record.calls.push_back(call);
    if (!record.failing.empty() && call.compare(0, record.failing.size(), record.failing) == 0) {
        record.failing.clear();
        throw std::runtime_error(call);
    }
}

void failNextDrm(std::string const& operation)
{
    std::lock_guard<std::mutex> const lock(record.mutex);
    record.failing = operation;
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
