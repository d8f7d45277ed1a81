#include "tests/simulation/LogLines.h"

#include <math.h>
#include <stdio.h>

#include <algorithm>

#include "tests/simulation/World.h"

namespace simulation {

namespace {

struct Description {
    int level;
    int line;
    char const* file;
    char const* format;
};

char const entry[] = "cobalt/ZeloCobalt";
char const manager[] = "cobalt/CobaltManager";
char const client[] = "src/ipc/IPCMessengerClient";
char const retrier[] = "src/common/AutoRetrier";
char const thread[] = "src/common/STBThread";
char const failedFormat[] = "%s - failed (total %d times), wait %0.2f sec before next retry";
char const succeededFormat[] = "%s - ok";

Description const descriptions[] = {
    {4, 42, entry, "%s"},
    {2, 45, entry, "%s"},
    {1, 49, entry, "%s"},
    {1, 61, entry, "%s ignored: called %s"},
    {1, 30, entry, "Configuration failed"},
    {3, 32, entry, "Started....."},
    {4, 155, manager, "Connected IPC!"},
    {4, 184, manager, "Disconnected IPC"},
    {2, 123, manager, "Browser config data failed"},
    {3, 92, manager, "New API mode: %s"},
    {3, 119, manager, "New portal url: %s"},
    {1, 120, client, "Can't set cloexec"},
    {1, 134, client, "Can not connect to IPC Messagenger server"},
    {3, 145, client, "Connected to IPC server"},
    {3, 201, client, "Connection closed"},
    {1, 206, client, "Read error. Terminate connection"},
    {1, 215, client, "Out of sync. Terminate connection."},
    {5, 222, client, "New message received: %u length %u"},
    {2, 240, client, "Message dropped: type %u length %u"},
    {4, 410, client, "Closing connection"},
    {1, 325, client, "Out connection error"},
    {1, 310, client, "Out queue full. Terminate connection."},
    {2, 24, retrier, failedFormat},
    {4, 33, retrier, succeededFormat},
    {1, 60, thread, "Thread %p already running"},
    {1, 82, thread, "Thread %p already stopped"},
};

int64_t const sliceUs = 200000;
int64_t const roundingUs = 6000; ///< the log has hundredths of a second

double expectedWaitSeconds(int failures)
{
    if (failures == 1) {
        return 1;
    }
    double const ramp = std::min(1.0, (failures - 1) / 49.0);
    return 1 + 99 * (sin(M_PI * (ramp - 0.5)) + 1) / 2;
}

} // namespace

void checkKnown(LogLine const& line)
{
    bool const known = std::any_of(std::begin(descriptions), std::end(descriptions), [&](Description const& described) {
        return described.level == line.level && described.line == line.line && described.file == line.file &&
               described.format == line.format;
    });
    if (!known) {
        fail("log", "a line that is not described: level " + std::to_string(line.level) + ", " + line.file + ":" +
                        std::to_string(line.line) + ": " + line.text);
    }
    // Both lines are for a programming error of the thread's user.
    if (line.file == thread) {
        fail("log", line.text);
    }
}

void BackOff::logged(int threadIdentity, LogLine const& line, int64_t now)
{
    Attempt& attempt = attempts[threadIdentity];
    if (line.format == succeededFormat) {
        attempt = Attempt();
    }
    if (line.format != failedFormat) {
        return;
    }
    int failures = 0;
    double seconds = 0;
    if (sscanf(line.text.c_str(), "ipc_connection - failed (total %d times), wait %lf sec", &failures, &seconds) != 2 ||
        failures != attempt.failures + 1) {
        fail("back-off", "not the next failure: " + line.text);
    }
    if (fabs(seconds - expectedWaitSeconds(failures)) > 0.011) {
        fail("back-off", "not the wait that is due: " + line.text);
    }
    attempt = {failures, now, static_cast<int64_t>(seconds * 1000000), world().scheduler.stalled()};
}

void BackOff::connecting(int threadIdentity, int64_t now, int64_t stalled)
{
    Attempt const& attempt = attempts[threadIdentity];
    if (attempt.failures == 0) {
        return;
    }
    int64_t const waited = now - attempt.failedAt;
    int64_t const slack = sliceUs + roundingUs + stalled - attempt.stalled;
    if (waited + roundingUs < attempt.wait || waited > attempt.wait + slack) {
        fail("back-off",
             "an attempt after " + std::to_string(waited) + " us instead of " + std::to_string(attempt.wait) + " us");
    }
}

} // namespace simulation
