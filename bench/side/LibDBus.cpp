// libdbus: signals over a private connection, without a daemon.
#include <dbus/dbus.h>
#include <poll.h>
#include <unistd.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "bench/side/LinkEnds.h"

namespace {

char const address[] = "unix:path=/tmp/zelo_bench_dbus";

class Link {
public:
    void use(DBusConnection* newConnection)
    {
        connection = newConnection;
        require(dbus_connection_add_filter(connection, onMessage, this, nullptr), "dbus_connection_add_filter");
    }

    void send(std::vector<char> const& payload)
    {
        DBusMessage* const message = dbus_message_new_signal("/", "box.Keys", "Key");
        char const* const bytes = payload.data();
        require(dbus_message_append_args(message, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, &bytes,
                                         static_cast<int>(payload.size()), DBUS_TYPE_INVALID),
                "dbus_message_append_args");
        require(dbus_connection_send(connection, message, nullptr), "dbus_connection_send");
        dbus_connection_flush(connection);
        dbus_message_unref(message);
    }

    void receive()
    {
        for (uint64_t const before = messages; messages == before;) {
            require(dbus_connection_read_write_dispatch(connection, -1), "dbus dispatch");
        }
    }

private:
    static DBusHandlerResult onMessage(DBusConnection*, DBusMessage* message, void* link)
    {
        Link& self = *static_cast<Link*>(link);
        char const* bytes = nullptr;
        int size = 0;
        if (!dbus_message_get_args(message, nullptr, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, &bytes, &size,
                                   DBUS_TYPE_INVALID)) {
            return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
        }
        ++self.messages;
        return DBUS_HANDLER_RESULT_HANDLED;
    }

    DBusConnection* connection = nullptr;
    uint64_t messages = 0;
};

class LibDBusHost : public LinkHost<Link> {
public:
    void start(Received received) override
    {
        dbus_threads_init_default();
        DBusConnection* connection = nullptr;
        while ((connection = dbus_connection_open_private(address, nullptr)) == nullptr) {
            usleep(1000);
        }
        link.use(connection);
        LinkHost::start(std::move(received));
    }
};

class LibDBusPeer : public LinkPeer<Link> {
public:
    void start() override
    {
        unlink("/tmp/zelo_bench_dbus");
        DBusServer* const server = dbus_server_listen(address, nullptr);
        require(server != nullptr, "dbus_server_listen");
        dbus_server_set_new_connection_function(server, onConnection, this, nullptr);
        dbus_server_set_watch_functions(
            server, onWatch, [](DBusWatch*, void*) {}, nullptr, this, nullptr);
        while (!connected) {
            pollfd entry = {dbus_watch_get_unix_fd(watch), POLLIN, 0};
            poll(&entry, 1, -1);
            dbus_watch_handle(watch, DBUS_WATCH_READABLE);
        }
    }

private:
    static void onConnection(DBusServer*, DBusConnection* connection, void* peer)
    {
        dbus_connection_ref(connection);
        static_cast<LibDBusPeer*>(peer)->link.use(connection);
        static_cast<LibDBusPeer*>(peer)->connected = true;
    }

    static dbus_bool_t onWatch(DBusWatch* newWatch, void* peer)
    {
        static_cast<LibDBusPeer*>(peer)->watch = newWatch;
        return TRUE;
    }

    DBusWatch* watch = nullptr;
    bool connected = false;
};

} // namespace

Contender const contender = {
    "libdbus",
    30000,
    true,
    [](Handover) -> std::unique_ptr<Host> { return std::make_unique<LibDBusHost>(); },
    []() -> std::unique_ptr<Peer> { return std::make_unique<LibDBusPeer>(); },
    nullptr,
};
