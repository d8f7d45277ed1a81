#include "testkit/Stopping.h"

namespace testlink {

void expectTimelyEnd(std::optional<Link>& link, Milliseconds limit)
{
    standin::clearLog();
    std::vector<std::string> const events = link->handler.events();
    expectTimely(
        [&] {
            link->stop();
            EXPECT_EQ(events, link->handler.events());
            link.reset();
        },
        limit);
}

} // namespace testlink
