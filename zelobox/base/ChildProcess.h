/// @file
/// A child process whose standard streams are ours.
#ifndef ZELO_ZELOBOX_CHILDPROCESS_H
#define ZELO_ZELOBOX_CHILDPROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "zelobox/base/Descriptor.h"

namespace zelobox {

/// A running program. The destructor kills it if it still runs.
class ChildProcess {
public:
    /// @param arguments  the program, looked for in PATH when it has no slash, and its arguments
    /// @throw std::system_error when it cannot be started
    explicit ChildProcess(std::vector<std::string> const& arguments);
    /// Kills a child that is still there.
    ~ChildProcess();
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;

    /// A socket, so that writing to a child that is gone raises no signal.
    int input() const { return inputEnd.get(); }
    int output() const { return outputEnd.get(); }
    int errors() const { return errorsEnd.get(); }
    /// Readable once the child has ended.
    int endOfProcess() const { return process.get(); }
    pid_t id() const { return pid; }

    /// @return false when the child has gone
    bool write(std::string const& text);
    void closeInput() { inputEnd.reset(); }

    /// Waits for the end, which is near once endOfProcess() is readable.
    ///
    /// @return "exit status 0", "signal 6"
    std::string wait();
    /// @return the exit status, or 128 and the signal, as a shell counts; call wait() first
    int exitStatus() const { return status; }

private:
    void spawn(std::vector<std::string> const& arguments, int childInput, int childOutput, int childErrors);

    pid_t pid = 0; // 0 once waited for
    int status = 0;
    Descriptor inputEnd;
    Descriptor outputEnd;
    Descriptor errorsEnd;
    Descriptor process;
};

/// @return the path of this program
std::string ownProgram();
/// @return what this program was called as, "zelobox" or "build/default/zelobox": the way to it from here
std::string calledAs();
/// @return the directory of this program, with a slash at the end
std::string ownDirectory();

} // namespace zelobox

#endif
