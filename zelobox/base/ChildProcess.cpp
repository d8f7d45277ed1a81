#include "zelobox/base/ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <system_error>

namespace zelobox {

namespace {

[[noreturn]] void fail(int error, std::string const& what)
{
    throw std::system_error(error, std::generic_category(), what);
}

struct Pipe {
    Pipe()
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            fail(errno, "pipe");
        }
        ours.reset(ends[0]);
        childs.reset(ends[1]);
    }

    Descriptor ours;
    Descriptor childs;
};

/// Signals reach the child as they reach any program, whatever this one has blocked.
class Attributes {
public:
    Attributes()
    {
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_init(&value);
        posix_spawnattr_setsigmask(&value, &none);
        posix_spawnattr_setflags(&value, POSIX_SPAWN_SETSIGMASK);
    }
    ~Attributes() { posix_spawnattr_destroy(&value); }
    Attributes(Attributes const&) = delete;
    Attributes& operator=(Attributes const&) = delete;

    posix_spawnattr_t value;
};

class FileActions {
public:
    FileActions() { posix_spawn_file_actions_init(&value); }
    ~FileActions() { posix_spawn_file_actions_destroy(&value); }
    FileActions(FileActions const&) = delete;
    FileActions& operator=(FileActions const&) = delete;

    posix_spawn_file_actions_t value;
};

} // namespace

ChildProcess::ChildProcess(std::vector<std::string> const& arguments)
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        fail(errno, "socketpair");
    }
    inputEnd.reset(ends[0]);
    Descriptor const childInput(ends[1]);
    Pipe output;
    Pipe errors;
    spawn(arguments, childInput.get(), output.childs.get(), errors.childs.get());
    outputEnd = std::move(output.ours);
    errorsEnd = std::move(errors.ours);
    process.reset(static_cast<int>(syscall(SYS_pidfd_open, pid, 0))); // the C library declares it for C only
    if (!process) {
        fail(errno, "pidfd_open");
    }
}

ChildProcess::~ChildProcess()
{
    if (pid != 0) {
        kill(pid, SIGKILL);
        wait();
    }
}

void ChildProcess::spawn(std::vector<std::string> const& arguments, int childInput, int childOutput, int childErrors)
{
    std::vector<char*> words;
    words.reserve(arguments.size() + 1);
    for (std::string const& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    Attributes attributes;
    FileActions actions;
    posix_spawn_file_actions_adddup2(&actions.value, childInput, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions.value, childOutput, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions.value, childErrors, STDERR_FILENO);
    int const error = posix_spawnp(&pid, words[0], &actions.value, &attributes.value, words.data(), environ);
    if (error != 0) {
        pid = 0;
        fail(error, "cannot start " + arguments[0]);
    }
}

bool ChildProcess::write(std::string const& text)
{
    size_t done = 0;
    while (done < text.size()) {
        ssize_t const count = send(inputEnd.get(), text.data() + done, text.size() - done, MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
    return true;
}

std::string ChildProcess::wait()
{
    int raw = 0;
    while (waitpid(pid, &raw, 0) < 0 && errno == EINTR) {
    }
    pid = 0;
    bool const signalled = WIFSIGNALED(raw);
    status = signalled ? 128 + WTERMSIG(raw) : WEXITSTATUS(raw);
    return signalled ? "signal " + std::to_string(WTERMSIG(raw)) : "exit status " + std::to_string(status);
}

std::string ownProgram()
{
    char path[4096];
    ssize_t const length = readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0) {
        fail(errno, "/proc/self/exe");
    }
    return std::string(path, static_cast<size_t>(length));
}

std::string calledAs()
{
    std::ifstream words("/proc/self/cmdline");
    std::string first;
    std::getline(words, first, '\0');
    return first;
}

std::string ownDirectory()
{
    std::string const program = ownProgram();
    return program.substr(0, program.rfind('/') + 1);
}

} // namespace zelobox
