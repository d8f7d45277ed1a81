// Where there is no library for it.
#include "zelobox/host/LineEditor.h"

namespace zelobox {

bool LineEditor::isPossible()
{
    return false;
}

LineEditor::LineEditor(EventLoop& eventLoop, LineHandler) : loop(eventLoop) {}

LineEditor::~LineEditor()
{
    static_cast<void>(loop);
}

} // namespace zelobox
