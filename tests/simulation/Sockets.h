/// @file
/// UNIX stream sockets and descriptors of the simulated process.
#ifndef ZELO_SIMULATION_SOCKETS_H
#define ZELO_SIMULATION_SOCKETS_H

#include <stddef.h>
#include <stdint.h>

#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace simulation {

/// Bytes on their way.
class Pipe {
public:
    size_t size() const { return bytes.size() - begin; }
    void put(char const* data, size_t count) { bytes.append(data, count); }
    /// @param to  null: the bytes are thrown away
    void take(char* to, size_t count);

private:
    std::string bytes;
    size_t begin = 0;
};

/// One end of a connection. Whoever waits for one waits for the object.
struct Endpoint {
    std::shared_ptr<Endpoint> peer; ///< null until connected
    Pipe in;
    size_t capacity = 212992; ///< of in
    bool readEnded = false;   ///< shut down for reading by its owner
    bool writeEnded = false;
    bool closed = false;
    int error = 0;              ///< of the next call
    int64_t receiveTimeout = 0; ///< microseconds; 0: none
    int64_t sendTimeout = 0;
    bool nonBlocking = false;
    int copies = 0;     ///< in forked children
    int connection = 0; ///< its number in the run, the same on both ends
    bool isMiddlewares = false;

    bool isConnected() const { return peer != nullptr; }
    bool atEnd() const { return readEnded || peer->closed || peer->writeEnded; }
    size_t room() const { return peer->in.size() < peer->capacity ? peer->capacity - peer->in.size() : 0; }
};

/// Where the middleware listens.
struct Listener {
    enum class File : uint8_t { Missing, Stale, Listening };

    File file = File::Missing;
    size_t backlog = 8;
    size_t capacity = 212992; ///< of the connections to come
    std::deque<std::shared_ptr<Endpoint>> pending;
};

struct Descriptor {
    enum class Kind : uint8_t { Closed, Host, Socket };

    Kind kind = Kind::Closed;
    std::shared_ptr<Endpoint> socket;
    bool closeOnExec = false;
    int users = 0; ///< calls that are blocked in it
};

class Sockets {
public:
    Sockets();
    ~Sockets();
    Sockets(Sockets const&) = delete;
    Sockets& operator=(Sockets const&) = delete;

    std::shared_ptr<Endpoint> makeEndpoint();
    /// @return the lowest free number from @p lowest on
    int open(Descriptor descriptor, int lowest = 0);
    Descriptor* find(int number);
    void close(int number);
    /// @return how many sockets of the library are open
    size_t librarySockets() const;

    /// Ends one side: what is on its way to it is lost, and its peer learns of that.
    static void closeEnd(Endpoint& end);
    /// Shuts down both directions.
    static void shutDown(Endpoint& end, bool reading, bool writing);
    /// A child has copies of all sockets until endChild().
    std::vector<std::shared_ptr<Endpoint>> forkChild();
    static void endChild(std::vector<std::shared_ptr<Endpoint>> const& copies);

    Listener listener;
    int nextConnection = 1;
    std::vector<Descriptor> descriptors;

private:
    std::vector<std::shared_ptr<Endpoint>> endpoints; ///< all of the run
};

} // namespace simulation

#endif
