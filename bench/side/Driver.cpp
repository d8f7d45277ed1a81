// One measurement of one contender, printed as a line of JSON.
//
//     side_NAME WORKLOAD [--size BYTES] [--count NUMBER] [--threads NUMBER] [--ms NUMBER] [--pin one|two|free]
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bench/side/Workloads.h"

namespace {

size_t numberOf(char const* text)
{
    return static_cast<size_t>(std::strtoull(text, nullptr, 10));
}

Options optionsOf(int argc, char** argv)
{
    Options options;
    for (int i = 2; i + 1 < argc; i += 2) {
        std::string const name = argv[i];
        char const* const value = argv[i + 1];
        if (name == "--size") {
            options.size = numberOf(value);
        } else if (name == "--count") {
            options.count = numberOf(value);
        } else if (name == "--threads") {
            options.threads = numberOf(value);
        } else if (name == "--ms") {
            options.ms = numberOf(value);
        } else if (name == "--pin") {
            options.pinning = value;
        }
    }
    if (!contender.severalPushers) {
        options.threads = 1;
    }
    return options;
}

/// Both on the first processor, or each on one of its own.
void pin(std::string const& pinning, bool isPeer)
{
    if (pinning != "free") {
        cpu_set_t processors;
        CPU_ZERO(&processors);
        CPU_SET(pinning == "two" && isPeer ? 1 : 0, &processors);
        require(sched_setaffinity(0, sizeof processors, &processors) == 0, "sched_setaffinity");
    }
}

} // namespace

int main(int argc, char** argv)
{
    Workload const* const workload = argc > 1 ? findWorkload(argv[1]) : nullptr;
    if (workload == nullptr) {
        std::fprintf(stderr,
                     "usage: %s WORKLOAD [--size BYTES] [--count NUMBER] [--threads NUMBER] [--ms NUMBER] "
                     "[--pin one|two|free]\n",
                     argv[0]);
        return 2;
    }
    Options const options = optionsOf(argc, argv);
    Shared& shared = makeShared();
    if (contender.prepare != nullptr) {
        contender.prepare();
    }
    pid_t const peer = fork();
    pin(options.pinning, peer == 0);
    if (peer == 0) {
        signal(SIGPIPE, SIG_IGN);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        std::unique_ptr<Peer> const end = contender.makePeer();
        shared.peerIsThere = true;
        end->start();
        workload->peer(*end, shared, options);
        pause();
    }
    await([&] { return shared.peerIsThere.load(); });
    std::unique_ptr<Host> const host = contender.makeHost(workload->handover);
    workload->host(*host, shared, options);
    std::fflush(stdout);
    setRunOver();
    kill(peer, SIGKILL);
    waitpid(peer, nullptr, 0);
    unlink("/tmp/zelo_messenger");
    _exit(0); // neither end is taken down: that is not what is measured
}
