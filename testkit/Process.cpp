#include "testkit/Process.h"

#include <dirent.h>
#include <malloc.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <limits>
#include <vector>

#include "testkit/Wait.h"

namespace {

using timely::eventually;

std::string const tasks = "/proc/self/task";

std::vector<std::string> entriesOf(std::string const& directory)
{
    std::vector<std::string> names;
    DIR* const entries = opendir(directory.c_str());
    while (dirent const* const entry = readdir(entries)) {
        if (entry->d_name[0] != '.') {
            names.push_back(entry->d_name);
        }
    }
    closedir(entries);
    return names;
}

/// @return "" if the thread whose file that is has gone
std::string firstLineOf(std::string const& path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

/// @return true if the thread sleeps in a system call
bool isThreadBlocked(int kernelId)
{
    std::string const line = firstLineOf(tasks + "/" + std::to_string(kernelId) + "/stat");
    size_t const end = line.rfind(") ");
    return end != std::string::npos && line[end + 2] == 'S';
}

/// @return the number behind a name in a file of the kernel
long fieldOf(std::string const& path, std::string const& name)
{
    std::ifstream file(path);
    long value = 0;
    for (std::string word; file >> word;) {
        if (word == name && file >> value) {
            break;
        }
    }
    return value;
}

} // namespace

std::multiset<std::string> threadNames()
{
    std::multiset<std::string> names;
    for (std::string const& thread : entriesOf(tasks)) {
        names.insert(firstLineOf(tasks + "/" + thread + "/comm"));
    }
    return names;
}

int threadCount()
{
    return static_cast<int>(entriesOf(tasks).size());
}

int openDescriptors()
{
    return static_cast<int>(entriesOf("/proc/self/fd").size());
}

bool libraryThreadsEnd()
{
    return eventually([] { return threadNames().count("ipc_cln") + threadNames().count("ipc_snd") == 0; });
}

unsigned long libraryWaits()
{
    unsigned long sum = 0;
    for (std::string const& thread : entriesOf(tasks)) {
        if (firstLineOf(tasks + "/" + thread + "/comm").compare(0, 4, "ipc_") == 0) {
            sum += static_cast<unsigned long>(fieldOf(tasks + "/" + thread + "/status", "voluntary_ctxt_switches:"));
        }
    }
    return sum;
}

bool isMapped(std::string const& part)
{
    std::ifstream maps("/proc/self/maps");
    return std::string(std::istreambuf_iterator<char>(maps), {}).find(part) != std::string::npos;
}

long residentKiB()
{
    malloc_trim(0);
    return fieldOf("/proc/self/smaps_rollup", "Rss:");
}

long peakKiB()
{
    return fieldOf("/proc/self/status", "VmHWM:");
}

long heapInUseKiB()
{
#if __GLIBC_PREREQ(2, 33)
    struct mallinfo2 const heap = mallinfo2();
#else
    struct mallinfo const heap = mallinfo();
#endif
    return static_cast<long>((heap.uordblks + heap.hblkhd) / 1024);
}

long memoryLimit(long limit)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    limit = std::numeric_limits<long>::max();
#endif
    return limit;
}

BlockingCall::~BlockingCall()
{
    if (thread.joinable()) {
        thread.detach(); // the test has failed; nothing is known about the call
    }
}

void BlockingCall::run(std::function<void()> call)
{
    thread = std::thread([this, call] {
        kernelId = gettid();
        call();
        returned = true;
    });
}

bool BlockingCall::waitUntilBlocked() const
{
    eventually([this] { return returned || (kernelId != 0 && isThreadBlocked(kernelId)); });
    return !returned;
}
