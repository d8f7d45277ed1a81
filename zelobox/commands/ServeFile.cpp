#include "zelobox/commands/ServeFile.h"

#include <unistd.h>

#include <iostream>

#include "zelobox/base/StopSignals.h"
#include "zelobox/base/Terminal.h"
#include "zelobox/capture/TraceReading.h"
#include "zelobox/commands/Commands.h"
#include "zelobox/commands/OpenInBrowser.h"
#include "zelobox/web/WebPage.h"

namespace zelobox {

int serveFile(std::string const& path, uint16_t port, bool open)
{
    EventLoop loop;
    bool interrupted = false;
    StopSignals const signals(loop, [&interrupted] { interrupted = true; });
    std::vector<TraceRecord> records = readTrace(path);
    Timeline timeline(std::cout, usesColour(STDOUT_FILENO));
    std::string const count = std::to_string(records.size());
    WebPage const page(loop, std::move(records), port, path.substr(path.rfind('/') + 1));
    timeline.line("page", "shows the " + count + " records of " + path + "; Ctrl-C ends it");
    timeline.line("page", "has its page at " + page.address());
    if (open) {
        openInBrowser(page.address(), timeline);
    }
    loop.run(EventLoop::Clock::time_point::max(), [&interrupted] { return interrupted; });
    return Succeeded;
}

} // namespace zelobox
