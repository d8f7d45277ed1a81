#include "tests/simulation/Conduct.h"

#include <algorithm>

#include "tests/simulation/Child.h"
#include "tests/simulation/Memory.h"
#include "tests/simulation/Promises.h"
#include "tests/simulation/Trace.h"
#include "tests/simulation/World.h"

namespace simulation {

namespace {

int64_t const stopBoundUs = 500000;
int64_t const slackUs = 10000; ///< the steps themselves
int64_t const promptUs = 60000;
uint64_t const queueLimit = 131072;
uint64_t const queueMargin = 8;                    ///< what is on its way out of it
size_t const queueBlocks = 3 * queueLimit + 10000; ///< a message is two blocks, and the queue has some of its own
int64_t const fullBoundUs = 1000000;
char const* const callNames[] = {"ZeloStartApp()", "ZeloStopApp()", "the unload"};

} // namespace

Conduct::Call::Call(Conduct& runConduct, LifeCycle callKind)
    : conduct(runConduct), kind(callKind), thread(self().identity), begin(world().scheduler.now()),
      stalledBefore(world().scheduler.stalled()), busyBefore(runConduct.callbackTime())
{
    world().scheduler.touchOutside();
    for (Call* other = conduct.calls; other != nullptr; other = other->next) {
        ++other->overlaps;
        ++overlaps;
        isBesideUnload = isBesideUnload || other->kind == LifeCycle::Unload;
        other->isBesideUnload = other->isBesideUnload || kind == LifeCycle::Unload;
        // A start that only waits has its manager in place.
        if (kind != LifeCycle::Start && other->kind == LifeCycle::Start && other->hasSlept) {
            ending |= 1U << other->set;
        }
    }
    ending |= overlaps == 0 ? conduct.started : conduct.alive;
    if (kind == LifeCycle::Start) {
        set = conduct.nextSet++ % callbackSets;
        conduct.started |= 1U << set;
        conduct.dead &= ~(1U << set);
    }
    Conversation const* const only = overlaps == 0 ? conduct.onlySettled() : nullptr;
    isIdle = kind == LifeCycle::Stop && only != nullptr && !only->hasOutstanding();
    conduct.ending = conduct.ending || kind == LifeCycle::Unload;
    next = conduct.calls;
    conduct.calls = this;
    ++conduct.callCount;
    TRACE("calls %s", callNames[static_cast<size_t>(kind)]);
}

Conduct::Call::~Call()
{
    world().scheduler.touchOutside();
    Call** link = &conduct.calls;
    while (*link != this) {
        link = &(*link)->next;
    }
    *link = next;
    bool const isExcused = isBesideUnload && kind == LifeCycle::Stop && !promises::stopBesideExit;
    if (isExcused || hasFailed) {
        ending = 0;
    }
    conduct.alive &= ~ending;
    conduct.dead |= ending;
    conduct.started &= ~ending;
    if (kind == LifeCycle::Start && overlaps == 0 && !hasFailed) {
        // With a stop beside it, whether its manager is still there is not known.
        conduct.alive |= 1U << set;
    }
    TRACE("returns from %s after %lld us", callNames[static_cast<size_t>(kind)],
          static_cast<long long>(world().scheduler.now() - begin));
    if (kind != LifeCycle::Start) {
        conduct.checkStopBound(*this);
    }
}

void Conduct::checkStopBound(Call const& call) const
{
    int64_t const elapsed = world().scheduler.now() - call.begin;
    int64_t const excused =
        world().scheduler.stalled() - call.stalledBefore + callbackTime() - call.busyBefore + slackUs;
    if (promises::promptStop && call.isIdle && call.overlaps == 0 && elapsed - excused > promptUs) {
        fail("prompt stop", "a stop of a connection at rest took " + std::to_string(elapsed) + " us");
    }
    int64_t const bound = stopBoundUs * (1 + call.overlaps);
    if (elapsed - excused > bound) {
        fail("stop bound", "a stop took " + std::to_string(elapsed) + " us");
    }
}

void Conduct::sleptInCall(Fiber const& fiber)
{
    world().scheduler.touchOutside();
    for (Call* call = calls; call != nullptr; call = call->next) {
        if (call->thread == fiber.identity && call->kind == LifeCycle::Start) {
            call->hasSlept = true;
        }
    }
}

/// What is lost from now on may have been lost to a fault.
void Conduct::excuse()
{
    isExcused = true;
    for (auto& one : conversations) {
        one.second.isGood = false;
    }
}

Conversation& Conduct::conversation(Endpoint const& end)
{
    return conversations[end.connection];
}

/// @return the connection that a request goes to, null unless that is plain
Conversation* Conduct::onlySettled()
{
    Conversation* only = nullptr;
    for (auto& one : conversations) {
        Conversation& candidate = one.second;
        if (candidate.isClosed) {
            continue;
        }
        if (only != nullptr || !candidate.isGood || !candidate.isServed || candidate.libraryEnded ||
            !candidate.isSettled()) {
            return nullptr;
        }
        only = &candidate;
    }
    return only;
}

/// @return the one connection that there is, if it can take requests; whether its peer reads does not matter
Conversation* Conduct::onlyOpen()
{
    Conversation* only = nullptr;
    for (auto& one : conversations) {
        Conversation& candidate = one.second;
        if (candidate.isClosed) {
            continue;
        }
        if (only != nullptr || candidate.libraryEnded || candidate.peerEnded || !candidate.isSettled()) {
            return nullptr;
        }
        only = &candidate;
    }
    return only;
}

uint32_t Conduct::beginRequest()
{
    world().scheduler.touchOutside();
    uint32_t const request = nextRequest++;
    Conversation const* const target = calls == nullptr ? onlySettled() : nullptr;
    if (target != nullptr) {
        for (auto const& one : conversations) {
            if (&one.second == target) {
                expectedOn[request] = one.first;
                callsBefore[request] = callCount;
            }
        }
    }
    Conversation const* const open = calls == nullptr && !isExcused ? onlyOpen() : nullptr;
    if (open != nullptr) {
        queuedOn[request] = open->number();
        callsBefore[request] = callCount;
    }
    return request;
}

void Conduct::endRequest(uint32_t request)
{
    world().scheduler.touchOutside();
    ++endedRequests;
    auto const queued = queuedOn.find(request);
    if (queued != queuedOn.end()) {
        Conversation& filled = conversations[queued->second];
        if (callsBefore[request] == callCount && !isExcused && !filled.libraryEnded) {
            filled.queued += 2;
        }
        queuedOn.erase(queued);
    }
    checkQueue();
    auto const expected = expectedOn.find(request);
    if (expected == expectedOn.end()) {
        return;
    }
    Conversation& target = conversations[expected->second];
    bool const alreadyThere = writtenRequests.count(request) != 0;
    if (callsBefore[request] == callCount && target.isGood && !target.libraryEnded && !alreadyThere) {
        target.expect(request, world().scheduler.now(), world().scheduler.stalled());
    }
    expectedOn.erase(expected);
}

/// Whether what waits for a peer that does not read has a bound.
void Conduct::checkQueue()
{
    Scheduler const& scheduler = world().scheduler;
    if (memory().liveBlocks() > queueBlocks) {
        fail("full queue", "there are " + std::to_string(memory().liveBlocks()) + " blocks of memory");
    }
    for (auto& one : conversations) {
        Conversation& talk = one.second;
        if (talk.isClosed) {
            continue;
        }
        if (talk.fullSince < 0 && talk.queued > talk.frames + queueLimit + queueMargin) {
            talk.fullSince = scheduler.now();
            talk.stalledWhenFull = scheduler.stalled();
            reconnects.queueIsFull(talk.connectedBy);
        }
        int64_t const elapsed = scheduler.now() - talk.fullSince - (scheduler.stalled() - talk.stalledWhenFull);
        if (talk.fullSince >= 0 && elapsed > fullBoundUs) {
            fail("full queue", "a connection lives on for " + std::to_string(elapsed) + " us");
        }
    }
}

void Conduct::queueFullLogged()
{
    for (auto& one : conversations) {
        Conversation& talk = one.second;
        if (talk.connectedBy != self().identity || talk.isClosed) {
            continue;
        }
        uint64_t const requested = 2 * (requests() - talk.endedBefore) + otherRequests;
        if (++talk.fullLines != 1) {
            fail("full queue", "a second line about one connection");
        }
        if (talk.messagesThatMayBe(requested) < queueLimit) {
            fail("full queue", "there cannot be so many messages");
        }
    }
}

void Conduct::libraryRead(char const* bytes, size_t size)
{
    reconnects.received(self().identity, bytes, size);
}

void Conduct::connecting()
{
    checkQueue();
    reconnects.connecting(self().identity, world().scheduler.now(), world().scheduler.stalled());
    backOff.connecting(self().identity, world().scheduler.now(), world().scheduler.stalled());
}

void Conduct::connected(Endpoint const& end)
{
    bool const isFirst = conversations.empty();
    Conversation& fresh = conversations[end.connection];
    fresh = Conversation(end.connection, isFirst);
    fresh.isGood = !isExcused;
    fresh.endedBefore = endedRequests;
    fresh.openedAt = world().scheduler.now();
    fresh.connectedBy = self().identity;
    reconnects.connected(self().identity, world().scheduler.now(), world().scheduler.stalled());
}

void Conduct::libraryWrote(Endpoint const& end, char const* bytes, size_t size)
{
    Conversation& talk = conversation(end);
    if (talk.frames == 0) {
        talk.strays = requests() - talk.endedBefore;
    }
    talk.written(bytes, size, writtenRequests);
}

void Conduct::peerEnds(Endpoint const& end, bool isGood)
{
    Conversation& ended = conversation(end);
    ended.peerEnded = true;
    ended.isGood = ended.isGood && isGood;
}

void Conduct::peerLies(Endpoint const& end)
{
    conversation(end).configurationSent(1000000);
    peerEnds(end, false);
}

void Conduct::libraryEnds(Endpoint const& end)
{
    Conversation& ended = conversation(end);
    if (ended.libraryEnded) {
        return;
    }
    ended.libraryEnded = true;
    if (!ended.isGood || ended.peerEnded) {
        return;
    }
    if (calls == nullptr) {
        fail("connection", "the library ends a connection without a reason");
    }
    bool const wasStalled = world().scheduler.stalled() - calls->stalledBefore > 50000;
    if (promises::requestsBeforeStop && !wasStalled && ended.hasOutstanding()) {
        fail("request lost",
             "request " + std::to_string(ended.oldestOutstanding()) + " was made before the stop and never written");
    }
}

void Conduct::libraryClosed(Endpoint const& end)
{
    checkQueue();
    conversation(end).isClosed = true;
    reconnects.closed(self().identity, world().scheduler.now(), world().scheduler.stalled());
}

void Conduct::logged(LogLine const& line)
{
    TRACE("logs %d %s", line.level, line.text.c_str());
    forbidInChild("a line in the log: " + line.text);
    world().scheduler.touchOutside();
    checkKnown(line);
    backOff.logged(self().identity, line, world().scheduler.now());
    reconnects.logged(self().identity, line);
    if (line.format == "Out queue full. Terminate connection.") {
        queueFullLogged();
    }
    if (self().role == Role::Library && hasExited) {
        fail("after exit", "a line in the log of " + self().name + ": " + line.text);
    }
    if (self().role == Role::Library && calls == nullptr && started == 0) {
        fail("after stop", "a line in the log after the last stop: " + line.text);
    }
}

void Conduct::printed(std::string const& text)
{
    if (text.find("ASSERT") != std::string::npos) {
        report = text.substr(0, text.find(", this:"));
    }
}

int64_t Conduct::callbackTime() const
{
    return callbackTotal + (callbacksRunning > 0 ? world().scheduler.now() - callbackBegan : 0);
}

void Conduct::beginCallback(int set)
{
    TRACE("calls back, callbacks of start %d", set);
    if (hasExited) {
        fail("after exit", "a callback");
    }
    world().scheduler.touchOutside();
    if (callbacksRunning++ == 0) {
        callbackBegan = world().scheduler.now();
    }
    if ((dead & 1U << set) != 0) {
        fail("after stop", "a callback after the stop");
    }
}

void Conduct::endCallback()
{
    world().scheduler.touchOutside();
    if (--callbacksRunning == 0) {
        callbackTotal += world().scheduler.now() - callbackBegan;
    }
}

} // namespace simulation
