#include "testkit/Child.h"

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>
#include <stdexcept>

#include "testkit/Coverage.h"

namespace child {

namespace {

int const returnedCode = 73;
unsigned const watchdogSeconds = 60;

[[noreturn]] void runBody(int output, std::function<void()> const& body)
{
    signal(SIGALRM, SIG_DFL);
    alarm(watchdogSeconds);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    close(output);
    body();
    fflush(nullptr);
    coverage::write();
    _exit(returnedCode);
}

std::string readToEnd(int input)
{
    std::string text;
    char buffer[4096];
    ssize_t count;
    while ((count = read(input, buffer, sizeof buffer)) > 0 || (count < 0 && errno == EINTR)) {
        text.append(buffer, count > 0 ? static_cast<size_t>(count) : 0);
    }
    return text;
}

} // namespace

bool Ended::diedOf(int signal) const
{
    return WIFSIGNALED(status) && WTERMSIG(status) == signal;
}

bool Ended::returned() const
{
    return WIFEXITED(status) && WEXITSTATUS(status) == returnedCode;
}

std::vector<std::string> Ended::lines() const
{
    std::vector<std::string> found;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        found.push_back(line);
    }
    return found;
}

Ended run(std::function<void()> const& body)
{
    int ends[2];
    if (pipe(ends) != 0) {
        throw std::runtime_error("no pipe");
    }
    fflush(nullptr); // or the child would print it once more
    pid_t const process = fork();
    if (process == 0) {
        close(ends[0]);
        runBody(ends[1], body);
    }
    close(ends[1]);
    Ended ended;
    ended.output = readToEnd(ends[0]);
    close(ends[0]);
    if (process < 0 || waitpid(process, &ended.status, 0) != process) {
        throw std::runtime_error("no child");
    }
    return ended;
}

} // namespace child
