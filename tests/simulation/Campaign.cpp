#include "tests/simulation/Campaign.h"

#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <new>
#include <stdexcept>
#include <vector>

#include "tests/simulation/Explore.h"

namespace simulation {

namespace {

size_t const scheduleBits = size_t{1} << 28;
unsigned const maxJobs = 64;

struct Totals {
    std::atomic<uint64_t> seeds{0};
    std::atomic<uint64_t> steps{0};
    std::atomic<uint64_t> virtualTime{0}; ///< microseconds
    std::array<std::atomic<uint64_t>, faultKinds> faults{};
};

/// What the workers share.
struct Board {
    Totals totals;
    std::atomic<uint64_t> failedSeed{0};
    std::array<std::atomic<uint64_t>, maxJobs> busyWith{}; ///< a worker's seed
    uint8_t coverage[Scheduler::coverageBits / 8];
    uint8_t schedules[scheduleBits / 8]; ///< one bit per schedule, by hash
};

uint64_t countBits(uint8_t const* bytes, size_t size)
{
    uint64_t count = 0;
    for (size_t i = 0; i < size; ++i) {
        count += static_cast<uint64_t>(__builtin_popcount(bytes[i]));
    }
    return count;
}

/// @return how many different ones have set so many of the bits, hashes that fell together allowed for
double distinct(uint64_t set, size_t bits)
{
    double const all = static_cast<double>(bits);
    return -all * std::log1p(-static_cast<double>(set) / all);
}

double now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void add(Board& board, Outcome const& outcome)
{
    ++board.totals.seeds;
    board.totals.steps += outcome.steps;
    board.totals.virtualTime += static_cast<uint64_t>(outcome.virtualTime);
    for (size_t i = 0; i < faultKinds; ++i) {
        board.totals.faults[i] += outcome.faults[i];
    }
    size_t const bit = outcome.hash % scheduleBits;
    board.schedules[bit / 8] |= static_cast<uint8_t>(1U << bit % 8);
}

void work(Board& board, CampaignOptions const& options, unsigned worker, double end)
{
    Scheduler::coverage = board.coverage;
    for (uint64_t i = worker; options.seeds == 0 || i < options.seeds; i += options.jobs) {
        if (board.failedSeed != 0 || (end != 0 && now() > end)) {
            return;
        }
        uint64_t const seed = options.firstSeed + i;
        board.busyWith[worker] = seed;
        Outcome const outcome = runSeed(seed, options.scene);
        add(board, outcome);
        if (outcome.finding != nullptr) {
            uint64_t none = 0;
            board.failedSeed.compare_exchange_strong(none, seed);
            return;
        }
    }
}

void printProgress(Board const& board, double seconds)
{
    Totals const& totals = board.totals;
    double const hours = static_cast<double>(totals.virtualTime) / 3.6e9;
    printf("%7.0f s  %10llu seeds  %7.0f seeds/s  %10.1f virtual hours  %5llu switch pairs\n", seconds,
           static_cast<unsigned long long>(totals.seeds), static_cast<double>(totals.seeds) / std::max(seconds, 0.001),
           hours, static_cast<unsigned long long>(countBits(board.coverage, sizeof board.coverage)));
    fflush(stdout);
}

void printTotals(Board const& board)
{
    printf("%.0f different schedules, %llu steps; faults:",
           distinct(countBits(board.schedules, sizeof board.schedules), scheduleBits),
           static_cast<unsigned long long>(board.totals.steps));
    for (size_t i = 0; i < faultKinds; ++i) {
        printf("%s %llu %s", i == 0 ? "" : ",", static_cast<unsigned long long>(board.totals.faults[i]), faultNames[i]);
    }
    printf("\n");
}

Board& makeBoard()
{
    void* const room =
        mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (room == MAP_FAILED) {
        throw std::runtime_error("no memory for the totals");
    }
    Board& board = *static_cast<Board*>(room);
    new (&board.totals) Totals;
    return board;
}

/// @return false if the worker has died
bool hasEndedWell(int status)
{
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace

uint64_t runCampaign(CampaignOptions const& options)
{
    Board& board = makeBoard();
    double const begin = now();
    double const end = options.seconds == 0 ? 0 : begin + options.seconds;
    std::vector<pid_t> workers;
    for (unsigned i = 0; i < std::min(options.jobs, maxJobs); ++i) {
        fflush(stdout);
        pid_t const child = fork();
        if (child == 0) {
            work(board, options, i, end);
            _exit(0);
        }
        workers.push_back(child);
    }
    double shown = begin;
    for (size_t left = workers.size(); left > 0;) {
        int status = 0;
        pid_t const ended = waitpid(-1, &status, WNOHANG);
        for (size_t i = 0; ended > 0 && i < workers.size(); ++i) {
            if (workers[i] == ended) {
                --left;
                if (!hasEndedWell(status)) {
                    board.failedSeed = board.busyWith[i].load();
                }
            }
        }
        if (!options.quiet && now() - shown > 5) {
            shown = now();
            printProgress(board, shown - begin);
        }
        if (ended <= 0) {
            usleep(10000);
        }
    }
    printProgress(board, now() - begin);
    if (!options.quiet) {
        printTotals(board);
    }
    uint64_t const failed = board.failedSeed;
    munmap(&board, sizeof board);
    return failed;
}

} // namespace simulation
