#include "testkit/Process.h"

#include <dirent.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <vector>

#include "testkit/Timely.h"

namespace {

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
    std::string const line = firstLineOf("/proc/self/task/" + std::to_string(kernelId) + "/stat");
    size_t const end = line.rfind(") ");
    return end != std::string::npos && line[end + 2] == 'S';
}

using timely::eventually;

} // namespace

std::multiset<std::string> threadNames()
{
    std::multiset<std::string> names;
    for (std::string const& thread : entriesOf("/proc/self/task")) {
        names.insert(firstLineOf("/proc/self/task/" + thread + "/comm"));
    }
    return names;
}

bool libraryThreadsEnd()
{
    return eventually([] { return threadNames().count("ipc_cln") + threadNames().count("ipc_snd") == 0; });
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

int openDescriptors()
{
    return static_cast<int>(entriesOf("/proc/self/fd").size());
}

bool isMapped(std::string const& part)
{
    std::ifstream maps("/proc/self/maps");
    return std::string(std::istreambuf_iterator<char>(maps), {}).find(part) != std::string::npos;
}
