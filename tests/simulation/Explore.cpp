#include "tests/simulation/Explore.h"

#include <algorithm>

namespace simulation {

namespace {

std::unique_ptr<Strategy> strategyOf(uint64_t seed)
{
    Random random(seed ^ 0x57A7E6);
    switch (random.below(5)) {
    case 0:
        return makeRandomWalk(random.next(), 2);
    case 1:
        return makeRandomWalk(random.next(), 8);
    case 2:
        return makeRandomWalk(random.next(), 40);
    default:
        return makePct(random.next(), 1 + random.below(4), random.below(2) == 0 ? 300 : 2000);
    }
}

bool breaks(Outcome const& outcome, std::string const& promise)
{
    return outcome.finding != nullptr && outcome.finding->promise == promise;
}

struct Place {
    size_t kind;
    size_t index;
};

std::vector<Place> decisionsIn(Script const& script)
{
    std::vector<Place> places;
    for (size_t kind = 0; kind < kinds; ++kind) {
        for (size_t i = 0; i < script[kind].size(); ++i) {
            if (script[kind][i].value != 0) {
                places.push_back({kind, i});
            }
        }
    }
    return places;
}

/// @return the last decision that can still be made otherwise within the bound; advances it. False if there is none.
bool nextSchedule(std::vector<Decision>& made, unsigned preemptions)
{
    unsigned used = 0;
    for (Decision const& one : made) {
        used += one.isPreemption() ? 1 : 0;
    }
    while (!made.empty()) {
        Decision& last = made.back();
        used -= last.isPreemption() ? 1 : 0;
        ++last.value;
        if (last.value < last.options && used + (last.isPreemption() ? 1 : 0) <= preemptions) {
            return true;
        }
        made.pop_back();
    }
    return false;
}

} // namespace

Outcome runSeed(uint64_t seed, Scene const* scene)
{
    Decisions decisions(seed, strategyOf(seed));
    return runScene(scene != nullptr ? *scene : sceneOf(seed), decisions);
}

Outcome runScript(Script const& script, Scene const& scene)
{
    Decisions decisions(script);
    return runScene(scene, decisions);
}

Search searchExhaustively(Scene const& scene, unsigned preemptions, bool prunes,
                          std::function<bool(uint64_t)> const& progress)
{
    States states(preemptions, prunes);
    Search search;
    Script next;
    std::vector<Decision>& schedule = next[static_cast<size_t>(Kind::Schedule)];
    do {
        states.beginRun(schedule.size());
        Decisions decisions(next);
        Outcome outcome = runScene(scene, decisions, &states);
        ++search.schedules;
        if (outcome.finding != nullptr) {
            search.finding = std::move(outcome.finding);
            search.script = std::move(outcome.script);
            return search;
        }
        if (search.schedules % 1024 == 0 && !progress(search.schedules)) {
            return search;
        }
        schedule = std::move(outcome.script[static_cast<size_t>(Kind::Schedule)]);
    } while (nextSchedule(schedule, preemptions));
    search.isComplete = true;
    search.finalStates = states.finalStates();
    search.digest = states.digest();
    return search;
}

Script shrink(Script script, Scene const& scene, std::string const& promise, unsigned maxRuns)
{
    unsigned runs = 0;
    bool changed = true;
    while (changed && runs < maxRuns) {
        changed = false;
        std::vector<Place> places = decisionsIn(script);
        for (size_t chunk = std::max<size_t>(1, places.size() / 2); chunk > 0 && runs < maxRuns; chunk /= 2) {
            for (size_t begin = 0; begin < places.size() && runs < maxRuns;) {
                Script candidate = script;
                size_t const end = std::min(places.size(), begin + chunk);
                for (size_t i = begin; i < end; ++i) {
                    candidate[places[i].kind][places[i].index].value = 0;
                }
                ++runs;
                if (breaks(runScript(candidate, scene), promise)) {
                    script = std::move(candidate);
                    places.erase(places.begin() + static_cast<ptrdiff_t>(begin),
                                 places.begin() + static_cast<ptrdiff_t>(end));
                    changed = true;
                } else {
                    begin = end;
                }
            }
        }
    }
    return script;
}

} // namespace simulation
