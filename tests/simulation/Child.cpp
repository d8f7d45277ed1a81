#include "tests/simulation/Child.h"

#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "tests/simulation/Findings.h"
#include "tests/simulation/Library.h"
#include "tests/simulation/Trace.h"
#include "tests/simulation/World.h"

namespace simulation {

namespace {

int toParent = -1; ///< negative: this is no child

[[noreturn]] void exitInChild(int report)
{
    toParent = report;
    ++world().process;
    world().scheduler.beAlone();
    endLibrary();
    _exit(0);
}

} // namespace

bool isChild()
{
    return toParent >= 0;
}

void forbidInChild(std::string const& what)
{
    if (isChild()) {
        fail("child", what);
    }
}

void endChild(std::string const& text)
{
    bool const isWritten = write(toParent, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    _exit(isWritten ? 0 : 1);
}

void runChildToItsExit()
{
    int report[2];
    fflush(stdout);
    pid_t const child = pipe(report) == 0 ? fork() : -1;
    if (child < 0) {
        throw std::runtime_error("cannot fork");
    }
    if (child == 0) {
        exitInChild(report[1]);
    }
    close(report[1]);
    char text[1000];
    ssize_t const length = read(report[0], text, sizeof text);
    close(report[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (length != 0 || status != 0) {
        fail("child", length > 0 ? std::string(text, static_cast<size_t>(length)) : "its exit has killed it");
    }
    TRACE("has forked a child, which has called exit");
}

} // namespace simulation
