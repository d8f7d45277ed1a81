#include "tests/simulation/Reconnects.h"

#include <algorithm>

#include "tests/simulation/Wire.h"
#include "tests/simulation/World.h"

namespace simulation {

namespace {

char const queueFull[] = "Out queue full. Terminate connection.";
unsigned const toleratedFruitless = 16;
int64_t const sliceUs = 200000;
int64_t const lastingUs = 200000;
int64_t const slackUs = 20000; ///< the steps of all threads
size_t const headerSize = 8;

bool isReason(LogLine const& line)
{
    static char const* const reasons[] = {"Connection closed", "Read error. Terminate connection",
                                          "Out of sync. Terminate connection.", queueFull};
    return std::any_of(std::begin(reasons), std::end(reasons),
                       [&](char const* reason) { return line.format == reason; });
}

} // namespace

void Reconnects::connecting(int thread, int64_t now, int64_t stalled)
{
    Link& link = links[thread];
    if (link.closedAt < 0) {
        return;
    }
    checkEnd(link);
    checkPause(link, now, stalled);
    link.closedAt = -1;
}

void Reconnects::checkEnd(Link const& link)
{
    if (link.reasons != 1) {
        fail("log", std::to_string(link.reasons) + " lines about the end of a connection");
    }
    if (link.isKnown != link.isLost) {
        fail("log", link.isKnown ? "the handlers do not know of a disconnect" : "a disconnect without a connection");
    }
    if (link.queueIsFull && !link.saidQueueFull) {
        fail("full queue", "the line about the end does not say so");
    }
}

void Reconnects::checkPause(Link const& link, int64_t now, int64_t stalled)
{
    if (!link.isCountKnown) {
        return;
    }
    int64_t const least = link.fruitless >= toleratedFruitless ? sliceUs : 0;
    int64_t const took = now - link.closedAt;
    if (took < least || took - (stalled - link.stalledAtClose) > least + slackUs) {
        fail("reconnect", "an attempt " + std::to_string(took) + " us after the end of a connection, the last " +
                              std::to_string(link.fruitless) + " of them fruitless");
    }
}

void Reconnects::connected(int thread, int64_t now, int64_t stalled)
{
    Link next;
    next.fruitless = links[thread].fruitless + 1;
    next.isCountKnown = links[thread].isCountKnown;
    next.connectedAt = now;
    next.stalledAtConnect = stalled;
    links[thread] = next;
}

void Reconnects::received(int thread, char const* bytes, size_t size)
{
    Link& link = links[thread];
    while (size > 0) {
        size_t const part = link.header.size() < headerSize
                                ? std::min(size, headerSize - link.header.size())
                                : static_cast<size_t>(std::min<uint64_t>(size, link.missing));
        if (link.header.size() < headerSize) {
            link.header.append(bytes, part);
            link.missing = link.header.size() == headerSize ? numberOf(link.header, 4, 4) : 1;
        } else {
            link.missing -= part;
        }
        bytes += part;
        size -= part;
        if (link.header.size() == headerSize && link.missing == 0) {
            link.header.clear();
            link.fruitless = 0;
            link.isCountKnown = true;
        }
    }
}

void Reconnects::closed(int thread, int64_t now, int64_t stalled)
{
    Link& link = links[thread];
    link.closedAt = now;
    link.stalledAtClose = stalled;
    int64_t const lasted = now - link.connectedAt;
    int64_t const doubt = slackUs + stalled - link.stalledAtConnect;
    if (lasted > lastingUs + doubt) {
        link.fruitless = 0;
        link.isCountKnown = true;
    } else if (lasted > lastingUs - doubt && link.fruitless > 0) {
        link.isCountKnown = false;
    }
}

void Reconnects::logged(int thread, LogLine const& line)
{
    Link& link = links[thread];
    if (isReason(line)) {
        ++link.reasons;
        link.saidQueueFull = link.saidQueueFull || line.format == queueFull;
    } else if (line.format == "Connected IPC!") {
        link.isKnown = true;
    } else if (line.format == "Disconnected IPC") {
        link.isLost = true;
    } else if (line.format == "Can not connect to IPC Messagenger server") {
        link.closedAt = -1; // the back-off takes over
    }
}

} // namespace simulation
