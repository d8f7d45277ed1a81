#include "zelobox/host/LineEditor.h"

#include <editline/readline.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "zelobox/host/HostHelp.h"

namespace zelobox {

namespace {

LineEditor::LineHandler theHandler;
bool lineIsDone = false;

void onLine(char* line)
{
    lineIsDone = line != nullptr;
    if (line == nullptr) {
        return theHandler(nullptr);
    }
    std::string const text = line;
    free(line);
    if (!text.empty()) {
        add_history(text.c_str());
    }
    theHandler(&text);
}

/// Installed again after a line: the library would keep the old line until the next key, and draw it.
void readKey()
{
    rl_callback_read_char();
    if (lineIsDone) {
        lineIsDone = false;
        rl_callback_handler_remove();
        rl_callback_handler_install(promptText, onLine);
    }
}

size_t beginOfWord = 0; // that is completed

/// @return one after the other what may stand where @p start is typed; null when there is no more
char* nextCandidate(char const* start, int again)
{
    static std::vector<std::string> candidates;
    static size_t next = 0;
    if (again == 0) {
        candidates = completions(std::string(rl_line_buffer, beginOfWord), start);
        next = 0;
    }
    return next < candidates.size() ? strdup(candidates[next++].c_str()) : nullptr;
}

char** complete(char const* start, int begin, int)
{
    beginOfWord = static_cast<size_t>(begin);
    rl_attempted_completion_over = 1; // and no names of files
    return rl_completion_matches(start, nextCandidate);
}

} // namespace

bool LineEditor::isPossible()
{
    return isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
}

LineEditor::LineEditor(EventLoop& eventLoop, LineHandler handler)
    : loop(eventLoop), redraw(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!redraw) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    theHandler = std::move(handler);
    rl_catch_signals = 0; // they are the loop's
    rl_attempted_completion_function = complete;
    using_history();
    rl_callback_handler_install(promptText, onLine);
    loop.watch(STDIN_FILENO, readKey);
    loop.watch(redraw.get(), [this] {
        uint64_t count = 0;
        if (read(redraw.get(), &count, sizeof count) == sizeof count) {
            // It may have been drawn already, and knows nothing of where the cursor is.
            fputs(promptEraser, stdout);
            rl_forced_update_display();
        }
    });
}

LineEditor::~LineEditor()
{
    loop.forget(STDIN_FILENO);
    loop.forget(redraw.get());
    rl_callback_handler_remove();
    static_cast<void>(!write(STDOUT_FILENO, "\n", 1)); // what comes next begins a line
}

} // namespace zelobox
