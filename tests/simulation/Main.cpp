// The program: what to explore, and what to say about it.
#include <stdio.h>

#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>

#include "tests/simulation/Campaign.h"
#include "tests/simulation/Explore.h"
#include "tests/simulation/Library.h"
#include "tests/simulation/Memory.h"
#include "tests/simulation/Trace.h"

namespace {

using namespace simulation;

struct Options {
    uint64_t seeds = 0;
    uint64_t firstSeed = 1;
    uint64_t seed = 0;
    double minutes = 0;
    unsigned jobs = 2;
    int preemptions = -1;
    unsigned shrinkRuns = 3000;
    bool trace = false;
    bool whole = false;
    bool list = false;
    bool quiet = false;
    std::string scene;
    std::string schedule;
    std::string kept;
};

size_t const shortTrace = 60;
size_t const longSchedule = 1500;

void printTrace(std::vector<std::string> const& lines, bool whole)
{
    size_t const begin = whole || lines.size() <= shortTrace ? 0 : lines.size() - shortTrace;
    if (begin != 0) {
        printf("  ... %zu lines before; --trace shows them\n", begin);
    }
    for (size_t i = begin; i < lines.size(); ++i) {
        printf("  %s\n", lines[i].c_str());
    }
}

/// Runs once more and tells how it goes.
/// @return whether the run keeps every promise
bool replay(Script const& script, Scene const& scene, bool whole)
{
    setTracing(true);
    Outcome const outcome = runScript(script, scene);
    printTrace(takeTrace(), whole);
    setTracing(false);
    if (outcome.finding != nullptr) {
        printf("BROKEN  %s: %s\n", outcome.finding->promise.c_str(), outcome.finding->text.c_str());
    }
    return outcome.finding == nullptr;
}

void explain(Outcome const& outcome, Scene const& scene, Options const& options)
{
    printf("scene %s breaks a promise: %s\n", scene.name, outcome.finding->promise.c_str());
    Script const shortest = shrink(outcome.script, scene, outcome.finding->promise, options.shrinkRuns);
    replay(shortest, scene, options.trace);
    std::string const text = toText(shortest);
    if (text.size() < longSchedule || options.trace) {
        printf("replay  ./dev simulate --scene %s --schedule %s\n", scene.name, text.c_str());
    } else {
        printf("the schedule is still long; replay the seed, or see it with --trace\n");
    }
}

int runOneSeed(Options const& options, Scene const* scene)
{
    Scene const& played = scene != nullptr ? *scene : sceneOf(options.seed);
    setTracing(options.trace);
    Outcome const outcome = runSeed(options.seed, &played);
    printTrace(takeTrace(), true);
    setTracing(false);
    printf("seed %llu, scene %s, %llu steps, %.6f virtual seconds, schedule %016llx: %s\n",
           static_cast<unsigned long long>(options.seed), played.name, static_cast<unsigned long long>(outcome.steps),
           static_cast<double>(outcome.virtualTime) / 1e6, static_cast<unsigned long long>(outcome.hash),
           outcome.finding == nullptr ? "every promise kept" : outcome.finding->promise.c_str());
    if (outcome.finding != nullptr) {
        explain(outcome, played, options);
    }
    return outcome.finding == nullptr ? 0 : 1;
}

int runExhaustively(Options const& options, Scene const& scene)
{
    unsigned const most = static_cast<unsigned>(options.preemptions);
    Search search = searchExhaustively(scene, most, !options.whole, [&](uint64_t schedules) {
        if (!options.quiet && schedules % 65536 == 0) {
            printf("%llu schedules\n", static_cast<unsigned long long>(schedules));
        }
        return true;
    });
    printf("scene %s, at most %d preemptions: %llu schedules, %zu final states (%016llx), %s\n", scene.name,
           options.preemptions, static_cast<unsigned long long>(search.schedules), search.finalStates,
           static_cast<unsigned long long>(search.digest), search.isComplete ? "all of them" : "not all");
    if (search.finding != nullptr) {
        Outcome outcome;
        outcome.finding = std::move(search.finding);
        outcome.script = std::move(search.script);
        explain(outcome, scene, options);
        return 1;
    }
    return 0;
}

/// Runs the schedules that once broke a promise: a line is a scene, a schedule and a remark.
int runKept(std::string const& path)
{
    std::ifstream file(path);
    std::string line;
    int broken = 0;
    int count = 0;
    while (std::getline(file, line)) {
        std::istringstream words(line);
        std::string name;
        std::string text;
        if (line.empty() || line[0] == '#' || !(words >> name >> text)) {
            continue;
        }
        Scene const* const scene = findScene(name);
        ++count;
        if (scene == nullptr || runScript(fromText(text), *scene).finding != nullptr) {
            printf("broken again: %s\n", line.c_str());
            ++broken;
        }
    }
    printf("%d kept schedules, %d broken\n", count, broken);
    return broken == 0 && file.eof() ? 0 : 1;
}

int runSeeds(Options const& options, Scene const* scene)
{
    CampaignOptions campaign;
    campaign.firstSeed = options.firstSeed;
    campaign.seeds = options.seeds == 0 && options.minutes <= 0 ? 10000 : options.seeds;
    campaign.seconds = options.minutes * 60;
    campaign.jobs = options.jobs;
    campaign.scene = scene;
    campaign.quiet = options.quiet;
    uint64_t const failed = runCampaign(campaign);
    if (failed == 0) {
        return 0;
    }
    printf("seed %llu breaks a promise; replay: ./dev simulate%s%s --seed %llu --trace\n",
           static_cast<unsigned long long>(failed), scene != nullptr ? " --scene " : "",
           scene != nullptr ? scene->name : "", static_cast<unsigned long long>(failed));
    Options one = options;
    one.seed = failed;
    return runOneSeed(one, scene);
}

void listScenes()
{
    for (Scene const& scene : allScenes()) {
        printf("  %-18s %s%s\n", scene.name, scene.about, scene.isSmall ? " (small)" : "");
    }
}

int run(Options const& options)
{
    Scene const* const scene = options.scene.empty() ? nullptr : findScene(options.scene);
    if (!options.scene.empty() && scene == nullptr) {
        fprintf(stderr, "simulate: there is no scene '%s'; --list shows them\n", options.scene.c_str());
        return 2;
    }
    if (options.list) {
        listScenes();
        return 0;
    }
    keepPristineGlobals();
    if (!options.kept.empty()) {
        return runKept(options.kept);
    }
    if (!options.schedule.empty() && scene != nullptr) {
        return replay(fromText(options.schedule), *scene, options.trace) ? 0 : 1;
    }
    if (options.preemptions >= 0 && scene != nullptr) {
        return runExhaustively(options, *scene);
    }
    return options.seed != 0 ? runOneSeed(options, scene) : runSeeds(options, scene);
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    CLI::App app("Runs the library in a simulated world: every schedule and every fault out of one seed.");
    app.add_option("--seeds", options.seeds, "how many seeds; 10000 unless --minutes is given");
    app.add_option("--first", options.firstSeed, "the first seed");
    app.add_option("--minutes", options.minutes, "how long");
    app.add_option("--jobs", options.jobs, "processes")->check(CLI::Range(1, 64));
    app.add_option("--seed", options.seed, "replays one seed");
    app.add_flag("--trace", options.trace, "shows every step of a replay");
    app.add_option("--scene", options.scene, "one scene only");
    app.add_option("--preemptions", options.preemptions, "every schedule of a small scene with at most so many");
    app.add_flag("--whole", options.whole, "with --preemptions: also schedules that can only repeat what was seen");
    app.add_option("--schedule", options.schedule, "replays a schedule of a scene, as a finding shows it");
    app.add_option("--kept", options.kept, "replays the schedules in this file");
    app.add_option("--shrink-runs", options.shrinkRuns, "how many runs may go into the shortest schedule");
    app.add_flag("--list", options.list, "lists the scenes");
    app.add_flag("--quiet", options.quiet, "no progress");
    CLI11_PARSE(app, argc, argv);
    try {
        return run(options);
    } catch (std::exception const& error) {
        fprintf(stderr, "simulate: %s\n", error.what());
        return 2;
    }
}
