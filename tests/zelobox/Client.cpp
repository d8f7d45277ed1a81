#include "tests/zelobox/Client.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <stdexcept>

namespace program {

zelobox::Connection connectTo(std::string const& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    zelobox::Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connect(socket.get(), reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0) {
        throw std::runtime_error("nobody listens on " + path);
    }
    return zelobox::Connection(std::move(socket));
}

zelobox::Connection subscribe(std::string const& path, std::set<IPCMessageType> const& types)
{
    zelobox::Connection client = connectTo(path);
    client.send(zelobox::frameOf(IPCMessageAllowedMessageList(types)));
    client.send({IPC_PAYLOAD_RAW, IPC_CONFIG_REQUEST, {}});
    if (client.receive().type != IPC_BROWSER_CONFIG) {
        throw std::runtime_error("the configuration request was answered by something else");
    }
    return client;
}

} // namespace program
