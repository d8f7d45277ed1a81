/// @file
/// The workloads that are measured: each has a half in either process.
#ifndef ZELO_BENCH_WORKLOADS_H
#define ZELO_BENCH_WORKLOADS_H

#include <atomic>
#include <cstdint>
#include <string>

#include "bench/side/Contender.h"

size_t const maximumSamples = 1000000;

/// What both processes see.
struct Shared {
    std::atomic<bool> peerIsThere;
    std::atomic<bool> go;
    std::atomic<uint64_t> messages; ///< that the peer has received
    std::atomic<uint64_t> doneAt;   ///< when it had all
    std::atomic<uint64_t> sentAt[maximumSamples];
    uint64_t took[maximumSamples]; ///< nanoseconds; written by one process
};

/// @return a new one, all zero
Shared& makeShared();

struct Options {
    size_t size = 4;
    size_t count = 0; ///< 0: as many as the contender says
    size_t threads = 1;
    size_t ms = 150;
    std::string pinning = "free";
};

struct Workload {
    char const* name;
    Handover handover;
    void (*host)(Host&, Shared&, Options const&);
    void (*peer)(Peer&, Shared&, Options const&);
};

/// @return null if there is none
Workload const* findWorkload(std::string const& name);

/// Waits for the other process, for some minutes at most.
void await(std::function<bool()> const& condition);

#endif
