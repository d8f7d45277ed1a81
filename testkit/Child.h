/// @file
/// A child process that may die, and what it has printed by then.
#ifndef ZELO_TESTKIT_CHILD_H
#define ZELO_TESTKIT_CHILD_H

#include <functional>
#include <string>
#include <vector>

namespace child {

struct Ended {
    std::string output; ///< both standard streams, in the order of arrival
    int status;         ///< of waitpid()

    bool diedOf(int signal) const;
    bool returned() const; ///< the body came to its end
    std::vector<std::string> lines() const;
};

/// Runs @p body in a child with both standard streams on one pipe, and waits for its end. The body starts no threads.
Ended run(std::function<void()> const& body);

} // namespace child

#endif
