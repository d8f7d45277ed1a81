// The logger: one line a call on stderr, in colours when that is a terminal.
//
// ZELOSTB_LOG_LEVEL=0..5 (default 5) is the highest level that is shown.
#include <STBLogger.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

namespace {

struct Level {
    char const* name;
    char const* colour;
};

Level const levels[] = {
    {"?", ""},
    {"FAIL", "\033[1;31m"},
    {"BAD", "\033[33m"},
    {"NOTE", "\033[1;36m"},
    {"LINK", "\033[32m"},
    {"TRACE", "\033[2m"},
};

int highestLevel()
{
    char const* const text = getenv("ZELOSTB_LOG_LEVEL");
    return text != nullptr ? atoi(text) : 5;
}

/// @return whether the standard error is a terminal that wants colours
bool isColoured()
{
    char const* const none = getenv("NO_COLOR");
    char const* const terminal = getenv("TERM");
    bool const isDumb = terminal != nullptr && strcmp(terminal, "dumb") == 0;
    return isatty(STDERR_FILENO) != 0 && (none == nullptr || *none == '\0') && !isDumb;
}

/// Appends to a line; what does not fit is cut off.
class Line {
public:
    __attribute__((format(printf, 2, 0))) void add(char const* format, va_list arguments)
    {
        int const length = vsnprintf(text + used, room(), format, arguments);
        used = std::min(used + static_cast<size_t>(std::max(length, 0)), sizeof text - 2);
    }

    __attribute__((format(printf, 2, 3))) void add(char const* format, ...)
    {
        va_list arguments;
        va_start(arguments, format);
        add(format, arguments);
        va_end(arguments);
    }

    size_t length() const { return used; }

    /// Puts "?" in place of what a terminal would act on: a URL or a language comes from outside.
    void makeHarmless(size_t begin)
    {
        for (size_t at = begin; at < used; ++at) {
            auto const byte = static_cast<unsigned char>(text[at]);
            bool const isControl = byte < ' ' || byte == 0x7F;
            size_t const size = isControl ? 1 : harmfulSequence(at);
            std::fill_n(text + at, size, '?');
            at += size > 0 ? size - 1 : 0;
        }
    }

    /// In one piece, so that the lines of several threads do not mix.
    void write()
    {
        text[used++] = '\n';
        static_cast<void>(!::write(STDERR_FILENO, text, used));
    }

private:
    /// @return the length of a second control character (U+0080 to U+009F) or a mark that hides text; 0 for what is none
    size_t harmfulSequence(size_t at) const
    {
        auto const byteAt = [this](size_t place) { return static_cast<unsigned char>(place < used ? text[place] : 0); };
        unsigned char const second = byteAt(at + 1);
        unsigned char const third = byteAt(at + 2);
        if (byteAt(at) == 0xC2 && second >= 0x80 && second <= 0x9F) {
            return 2;
        }
        bool const isMark = second == 0x80 && ((third >= 0x8E && third <= 0x8F) || (third >= 0xA8 && third <= 0xAE));
        bool const isIsolate = second == 0x81 && third >= 0xA6 && third <= 0xA9;
        return byteAt(at) == 0xE2 && (isMark || isIsolate) ? 3 : 0;
    }

    size_t room() const { return sizeof text - 1 - used; }

    char text[4096];
    size_t used = 0;
};

void addTime(Line& line)
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local = {};
    localtime_r(&now.tv_sec, &local);
    line.add("%02d:%02d:%02d.%03ld ", local.tm_hour, local.tm_min, local.tm_sec, now.tv_nsec / 1000000);
}

/// Somebody may be typing on the terminal: ZELOSTB_LOG_REDRAW is an eventfd that has the line drawn again.
int redrawDescriptor()
{
    char const* const text = getenv("ZELOSTB_LOG_REDRAW");
    return text != nullptr ? atoi(text) : -1;
}

} // namespace

int STBLogger_log(STBLogContext const* context, char const*, int level, int line, char const* file, char const* format,
                  ...)
{
    static int const highest = highestLevel();
    static bool const coloured = isColoured();
    static int const redraw = isatty(STDERR_FILENO) != 0 ? redrawDescriptor() : -1;
    if (level > highest) {
        return 0;
    }
    Level const& shown = levels[level >= 1 && level <= 5 ? level : 0];
    Line text;
    text.add("%s", redraw >= 0 ? "\r\033[K" : "");
    addTime(text);
    text.add("%s%-5s%s %s %s:%d: ", coloured ? shown.colour : "", shown.name, coloured ? "\033[0m" : "", context->tag,
             file, line);
    size_t const begin = text.length();
    va_list arguments;
    va_start(arguments, format);
    text.add(format, arguments);
    va_end(arguments);
    text.makeHarmless(begin);
    text.write();
    if (redraw >= 0) {
        eventfd_write(redraw, 1);
    }
    return 0;
}
