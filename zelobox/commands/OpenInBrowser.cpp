#include "zelobox/commands/OpenInBrowser.h"

#include "zelobox/base/ChildProcess.h"

namespace zelobox {

void openInBrowser(std::string const& address, Timeline& timeline)
{
    // A shell in between, so that the browser is no child of this program and outlives it.
    ChildProcess shell(
        {"/bin/sh", "-c", "command -v xdg-open >/dev/null && { xdg-open \"$1\" >/dev/null 2>&1 & }", "sh", address});
    shell.wait();
    if (shell.exitStatus() != 0) {
        timeline.line("page", "finds no browser: xdg-open is missing; open the address yourself");
    }
}

} // namespace zelobox
