/// @file
/// A line being typed on a terminal: with completion, history, and output above it.
#ifndef ZELO_ZELOBOX_LINEEDITOR_H
#define ZELO_ZELOBOX_LINEEDITOR_H

#include <functional>
#include <string>

#include "zelobox/base/Descriptor.h"
#include "zelobox/base/EventLoop.h"

namespace zelobox {

extern char const promptText[]; // "zelobox> "
/// Takes away the line that is being typed; what is printed next stands in its place.
extern char const promptEraser[];

/// One for the process. Lines come in turns of the loop.
class LineEditor {
public:
    /// @param line  null at the end of the input
    using LineHandler = std::function<void(std::string const* line)>;

    /// @return whether this program can edit lines, and standard input and output are terminals
    static bool isPossible();

    LineEditor(EventLoop& eventLoop, LineHandler handler);
    ~LineEditor();
    LineEditor(LineEditor const&) = delete;
    LineEditor& operator=(LineEditor const&) = delete;

    /// Adding to this eventfd, from any thread, has the line drawn again below what has been printed.
    int redrawDescriptor() const { return redraw.get(); }

private:
    EventLoop& loop;
    Descriptor redraw;
};

} // namespace zelobox

#endif
