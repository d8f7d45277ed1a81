// The floor: the system calls that the library makes for each frame, and nothing else that can be left out.
//
// A thread waits in recv() also where nothing comes in. The kernel wakes it whenever the peer has taken what was
// written, which a writer whose link can also bring something cannot help. FLOOR_READS=0 makes a floor without that
// thread.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "bench/side/Stream.h"
#include "src/ipc/IPCFrame.h"

namespace {

class FloorHost : public Host {
public:
    explicit FloorHost(Handover wanted) : handover(wanted) {}

    void start(Received whenReceived) override
    {
        received = std::move(whenReceived);
        connectToPeer();
        if (FLOOR_READS) {
            std::thread([this] { receiveFrames(); }).detach();
        }
        if (handover == Handover::Thread) {
            std::thread([this] { writeFrames(); }).detach();
        }
    }

    void push() override
    {
        if (handover == Handover::None) {
            writeFrame();
            return;
        }
        std::lock_guard<std::mutex> const lock(mutex);
        ++waiting;
        pushed.notify_one();
    }

private:
    void connectToPeer()
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, zelobox::defaultSocketPath);
        fd = socket(AF_UNIX, SOCK_STREAM, 0);
        while (connect(fd, reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0) {
            require(errno == ENOENT || errno == ECONNREFUSED, "connect");
            usleep(1000);
        }
    }

    void receiveFrames()
    {
        std::vector<char> payload;
        for (;;) {
            char bytes[IPCFrameHeader::Size];
            IPCFrameHeader header;
            receiveFully(bytes, sizeof bytes);
            require(readFrameHeader(bytes, header), "a frame's header");
            payload.resize(header.length);
            receiveFully(payload.data(), payload.size());
            received();
        }
    }

    void receiveFully(char* bytes, size_t size) const
    {
        for (size_t have = 0; have < size;) {
            ssize_t const count = recv(fd, bytes + have, size - have, 0);
            require(count > 0, "recv");
            have += static_cast<size_t>(count);
        }
    }

    void writeFrame() const
    {
        static char const header[] = {0x6D, 1, 0, 34, 0, 0, 0, 4};
        static char const payload[] = {0, 0, 0, 4};
        require(write(fd, header, sizeof header) == sizeof header, "write");
        require(write(fd, payload, sizeof payload) == sizeof payload, "write");
    }

    void writeFrames()
    {
        for (;;) {
            std::unique_lock<std::mutex> lock(mutex);
            pushed.wait(lock, [this] { return waiting != 0; });
            --waiting;
            lock.unlock();
            writeFrame();
        }
    }

    Handover const handover;
    Received received;
    int fd = -1;
    std::mutex mutex;
    std::condition_variable pushed;
    size_t waiting = 0;
};

class FloorPeer : public StreamPeer {
    void greet(Middleware& peer) override { peer.accept(zelobox::Milliseconds(30000)); }
};

} // namespace

Contender const contender = {
    "floor",
    100000,
    false,
    [](Handover handover) -> std::unique_ptr<Host> { return std::make_unique<FloorHost>(handover); },
    []() -> std::unique_ptr<Peer> { return std::make_unique<FloorPeer>(); },
    nullptr,
};
