#include "zelobox/commands/TraceOptions.h"

#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>

namespace zelobox {

namespace {

/// Devices and pipes lose nothing when they are written to.
bool isRegular(std::string const& path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

void TraceOptions::addTo(CLI::App& command)
{
    CLI::Option* const trace =
        command
            .add_option("--trace", file,
                        "file for the traffic: pcapng if its name ends so, else JSON Lines; - is the standard output")
            ->type_name("FILE");
    command.add_option("--limit", limit, "the most bytes of the trace, as 16M; the oldest go first")
        ->type_name("SIZE")
        ->transform(CLI::AsSizeValue(false))
        ->needs(trace);
    command.add_flag("--force", force, "overwrite a trace that is there already")->needs(trace);
}

std::ostream& TraceOptions::talk() const
{
    return isToOutput() ? std::cerr : std::cout;
}

int TraceOptions::talkDescriptor() const
{
    return isToOutput() ? STDERR_FILENO : STDOUT_FILENO;
}

std::unique_ptr<TraceRing> TraceOptions::open() const
{
    if (file.empty()) {
        return nullptr;
    }
    if (isToOutput()) {
        return std::make_unique<TraceRing>(std::cout);
    }
    for (std::string const& path : {file, TraceRing::olderOf(file)}) {
        if (!force && isRegular(path)) {
            throw InputError(path + ": is there already; --force overwrites it");
        }
        if (limit == 0) {
            break; // the older half is none of this trace
        }
    }
    return std::make_unique<TraceRing>(file, limit);
}

} // namespace zelobox
