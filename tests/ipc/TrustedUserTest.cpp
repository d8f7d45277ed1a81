// A library that was built for the middleware of one user, here of number 65534.
#include <errno.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "src/ipc/MessengerSocket.h"

namespace {

/// The user of the process for a scope; only root may choose one.
class AsUser {
public:
    explicit AsUser(uid_t user) { EXPECT_EQ(0, seteuid(user)); }
    ~AsUser() { EXPECT_EQ(0, seteuid(getuid())); }
    AsUser(AsUser const&) = delete;
    AsUser& operator=(AsUser const&) = delete;
};

/// @return a socket that listens in the middleware's place, for whoever the process is now
int listenHere()
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::string("/tmp/zelo_messenger").copy(address.sun_path, sizeof address.sun_path);
    unlink(address.sun_path);
    int const fd = socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(0, bind(fd, reinterpret_cast<sockaddr const*>(&address), sizeof address));
    EXPECT_EQ(0, listen(fd, 1));
    return fd;
}

int errorOfConnect()
{
    int const fd = openMessengerSocket();
    int const error = connectMessengerSocket(fd);
    closeMessengerSocket(fd);
    return error;
}

} // namespace

TEST(TrustedUser, IsConnectedTo)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can listen as another user";
    }
    int fd = -1;
    {
        AsUser const middleware(65534);
        fd = listenHere();
    }
    EXPECT_EQ(0, errorOfConnect());
    close(fd);
    unlink("/tmp/zelo_messenger");
}

TEST(TrustedUser, AnotherIsRefused)
{
    ASSERT_NE(65534U, geteuid());
    int const fd = listenHere();
    EXPECT_EQ(EACCES, errorOfConnect());
    close(fd);
    unlink("/tmp/zelo_messenger");
}
