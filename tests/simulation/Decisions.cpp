#include "tests/simulation/Decisions.h"

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>

namespace simulation {

uint64_t Random::next()
{
    state += 0x9E3779B97F4A7C15U;
    uint64_t mixed = state;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31);
}

namespace {

char const letters[kinds + 1] = "sfc";

class RandomWalk : public Strategy {
public:
    RandomWalk(uint64_t seed, uint32_t oneIn) : random(seed), preemptions(oneIn) {}

    uint32_t pick(std::vector<int> const& candidates, bool preemptive) override
    {
        bool const goesOn = preemptive && random.below(preemptions) != 0;
        return goesOn ? 0 : random.below(static_cast<uint32_t>(candidates.size()));
    }

private:
    Random random;
    uint32_t const preemptions;
};

class Pct : public Strategy {
public:
    Pct(uint64_t seed, uint32_t depth, uint32_t expectedSteps) : random(seed)
    {
        for (uint32_t i = 1; i < depth; ++i) {
            changes.insert(random.below(expectedSteps));
        }
        lowest = static_cast<int64_t>(depth);
    }

    uint32_t pick(std::vector<int> const& candidates, bool preemptive) override
    {
        bool const change = changes.count(step++) != 0;
        if (change && preemptive) {
            priorities[candidates.front()] = --lowest;
        }
        auto const higher = [&](int left, int right) { return priority(left) < priority(right); };
        return static_cast<uint32_t>(std::max_element(candidates.begin(), candidates.end(), higher) -
                                     candidates.begin());
    }

private:
    int64_t priority(int thread)
    {
        auto const found = priorities.find(thread);
        if (found != priorities.end()) {
            return found->second;
        }
        return priorities[thread] = 1000 + random.below(1000000);
    }

    Random random;
    std::set<uint32_t> changes;
    std::map<int, int64_t> priorities;
    uint32_t step = 0;
    int64_t lowest;
};

} // namespace

std::unique_ptr<Strategy> makeRandomWalk(uint64_t seed, uint32_t oneIn)
{
    return std::unique_ptr<Strategy>(new RandomWalk(seed, oneIn));
}

std::unique_ptr<Strategy> makePct(uint64_t seed, uint32_t depth, uint32_t expectedSteps)
{
    return std::unique_ptr<Strategy>(new Pct(seed, depth, expectedSteps));
}

Decisions::Decisions(uint64_t seed, std::unique_ptr<Strategy> threadStrategy)
    : random(seed), strategy(std::move(threadStrategy))
{
}

Decisions::Decisions(Script given) : forced(std::move(given)), random(0) {}

uint32_t Decisions::choose(Kind kind, uint32_t options)
{
    return record(kind, options, strategy ? random.below(options) : 0, options);
}

uint32_t Decisions::chooseThread(std::vector<int> const& candidates, bool preemptive, size_t free)
{
    uint32_t const value = strategy ? strategy->pick(candidates, preemptive) : 0;
    return record(Kind::Schedule, static_cast<uint32_t>(candidates.size()), value, static_cast<uint32_t>(free));
}

uint32_t Decisions::record(Kind kind, uint32_t options, uint32_t value, uint32_t free)
{
    size_t const sequence = static_cast<size_t>(kind);
    std::vector<Decision>& made = script[sequence];
    std::vector<Decision> const& wanted = forced[sequence];
    if (!strategy && made.size() < wanted.size()) {
        value = wanted[made.size()].value % options;
    }
    preemptionCount += value >= free ? 1 : 0;
    made.push_back({static_cast<uint16_t>(options), static_cast<uint16_t>(value), static_cast<uint16_t>(free)});
    return value;
}

std::string toText(Script const& script)
{
    std::string text;
    for (size_t kind = 0; kind < kinds; ++kind) {
        for (size_t i = 0; i < script[kind].size(); ++i) {
            if (script[kind][i].value != 0) {
                text += text.empty() ? "" : ",";
                text += letters[kind] + std::to_string(i) + "=" + std::to_string(script[kind][i].value);
            }
        }
    }
    return text.empty() ? "-" : text;
}

Script fromText(std::string const& text)
{
    Script script;
    std::istringstream parts(text == "-" ? "" : text);
    std::string part;
    while (std::getline(parts, part, ',')) {
        size_t const kind = std::string(letters).find(part.empty() ? '?' : part[0]);
        size_t const equals = part.find('=');
        if (kind >= kinds || equals == std::string::npos) {
            throw std::invalid_argument("not a decision: " + part);
        }
        size_t const index = std::stoul(part.substr(1, equals - 1));
        unsigned long const value = std::stoul(part.substr(equals + 1));
        if (index >= 10000000) {
            throw std::invalid_argument("no decision has such a number: " + part);
        }
        if (script[kind].size() <= index) {
            script[kind].resize(index + 1, Decision{1, 0, 1});
        }
        script[kind][index].value = static_cast<uint16_t>(value);
    }
    return script;
}

} // namespace simulation
