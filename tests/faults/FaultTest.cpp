// The n-th call of one kind fails, for every n until a run has none left to fail.
//
// The short form takes the first error of each call; with ZELO_FAULTS=full in the environment all are tried.
#include <errno.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "testkit/Malloc.h"
#include "tests/faults/Scenario.h"

using faults::Call;

namespace {

bool isFull()
{
    char const* const form = getenv("ZELO_FAULTS");
    return form != nullptr && strcmp(form, "full") == 0;
}

struct Tally {
    size_t runs = 0;
    size_t killed = 0;
};

void showProgress(char const* name, int error, size_t number)
{
    if (isatty(STDERR_FILENO) != 0) {
        fprintf(stderr, "\r%-10s %-40.40s call %-5zu", name, error != 0 ? strerror(error) : "", number);
    }
}

/// What the link must live through without a reconnect.
bool isHarmless(faults::Fault const& fault)
{
    bool const transfer = fault.call == Call::Connect || fault.call == Call::Recv || fault.call == Call::Write;
    return transfer && (fault.error == 0 || fault.error == EINTR || fault.error == EAGAIN);
}

/// @param fault  with what the sweep varies, the first call, still to be filled in
void sweep(char const* name, faults::Fault fault, Tally& tally)
{
    for (fault.first = 1;; ++fault.first) {
        showProgress(name, fault.error, fault.first);
        Outcome const outcome = runScenario(fault);
        ++tally.runs;
        tally.killed += outcome.killed ? 1 : 0;
        ASSERT_GT(outcome.calls, 0U) << name << " does not reach the program";
        EXPECT_EQ("", outcome.complaints) << name << " number " << fault.first << ": " << strerror(fault.error);
        EXPECT_TRUE(outcome.connections == 2 || !isHarmless(fault)) << name << " number " << fault.first;
        if (!outcome.struck || testing::Test::HasFailure()) {
            return;
        }
    }
}

void sweepErrors(char const* name, Call call, std::vector<int> const& errors, size_t count = 1)
{
    Tally tally;
    for (int const error : errors) {
        sweep(name, {call, 1, count, error}, tally);
        if (!isFull()) {
            break;
        }
    }
    printf("%s: %zu runs, %zu ended by the report\n", name, tally.runs, tally.killed);
    bool const mayEnd = call == Call::ThreadCreate || call == Call::Malloc;
    EXPECT_TRUE(mayEnd || tally.killed == 0);
    EXPECT_GT(tally.runs, 1U);
}

} // namespace

TEST(Faults, EveryAllocationMayFail)
{
    sweepErrors("new", Call::New, {ENOMEM});
}

TEST(Faults, EveryMallocMayFail)
{
    if (!mallocs::canBeObserved()) {
        GTEST_SKIP() << "malloc is the sanitizer's";
    }
    sweepErrors("malloc", Call::Malloc, {ENOMEM});
}

TEST(Faults, EverySocketMayFail)
{
    sweepErrors("socket", Call::Socket,
                {EMFILE, EACCES, EAFNOSUPPORT, EINVAL, ENFILE, ENOBUFS, ENOMEM, EPROTONOSUPPORT});
}

TEST(Faults, EveryFcntlMayFail)
{
    sweepErrors("fcntl", Call::Fcntl, {EBADF, EINVAL, EMFILE});
}

TEST(Faults, EverySetsockoptMayFail)
{
    sweepErrors("setsockopt", Call::Setsockopt, {EDOM, EBADF, EFAULT, EINVAL, ENOPROTOOPT, ENOTSOCK});
}

TEST(Faults, EveryConnectMayFail)
{
    sweepErrors("connect", Call::Connect,
                {ECONNREFUSED, EACCES, EPERM, EADDRINUSE, EADDRNOTAVAIL, EAFNOSUPPORT, EAGAIN, EALREADY, EBADF, EFAULT,
                 EINPROGRESS, EINTR, EISCONN, ENETUNREACH, ENOTSOCK, EPROTOTYPE, ETIMEDOUT, ENOENT});
}

TEST(Faults, EveryReceiveMayFail)
{
    sweepErrors("recv", Call::Recv,
                {ENOMEM, EAGAIN, EBADF, ECONNREFUSED, ECONNRESET, EFAULT, EINTR, EINVAL, ENOTCONN, ENOTSOCK});
}

TEST(Faults, EveryWriteMayFail)
{
    sweepErrors("write", Call::Write,
                {EPIPE, EAGAIN, EBADF, EDESTADDRREQ, EDQUOT, EFAULT, EFBIG, EINTR, EINVAL, EIO, ENOSPC, EPERM});
}

TEST(Faults, EveryCloseMayFail)
{
    sweepErrors("close", Call::Close, {EIO, EBADF, EINTR, ENOSPC, EDQUOT});
}

TEST(Faults, AFailedThreadStartIsReported)
{
    sweepErrors("pthread_create", Call::ThreadCreate, {EAGAIN});
}

TEST(Faults, EveryReceiveMayBringOneByte)
{
    sweepErrors("recv 1", Call::Recv, {0});
}

TEST(Faults, EveryWriteMayTakeOneByte)
{
    sweepErrors("write 1", Call::Write, {0});
}

TEST(Faults, AllTransfersMayBeOfOneByte)
{
    sweepErrors("recv all 1", Call::Recv, {0}, 1000000);
    sweepErrors("write all 1", Call::Write, {0}, 1000000);
}

TEST(Faults, StormsOfSignalsPass)
{
    sweepErrors("connect storm", Call::Connect, {EINTR}, 1000);
    sweepErrors("recv storm", Call::Recv, {EINTR}, 1000);
    sweepErrors("write storm", Call::Write, {EINTR}, 1000);
}
