#include "testkit/Backlog.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <string>

std::vector<zelobox::Descriptor> fillBacklog()
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::string(zelobox::defaultSocketPath).copy(address.sun_path, sizeof address.sun_path - 1);
    std::vector<zelobox::Descriptor> connections;
    int result = 0;
    while (result == 0) {
        connections.emplace_back(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        result = connect(connections.back().get(), reinterpret_cast<sockaddr const*>(&address), sizeof address);
    }
    EXPECT_EQ(EAGAIN, errno);
    connections.pop_back();
    return connections;
}
