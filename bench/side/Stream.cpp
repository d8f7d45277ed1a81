#include "bench/side/Stream.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstring>

#include "src/ipc/IPCFrame.h"

namespace {

/// A key whatever its size: what follows the number is ignored.
std::vector<char> frameOfSize(size_t size)
{
    std::vector<char> payload = {0, 1, 0, 42};
    payload.resize(size);
    return bytesOf(zelobox::Frame{IPC_PAYLOAD_UINT32, IPC_REMOTE_KEY, payload});
}

std::vector<char> const key = frameOfSize(4);

} // namespace

void StreamPeer::start()
{
    greet(middleware);
}

void StreamPeer::write(char const* bytes, size_t size)
{
    while (size != 0) {
        ssize_t const count = send(middleware.link().descriptor(), bytes, size, MSG_NOSIGNAL);
        require(count > 0, "send");
        bytes += count;
        size -= static_cast<size_t>(count);
    }
}

/// Many frames in a call, so that the other side is what is measured.
size_t StreamPeer::sendMany(size_t size)
{
    size_t const frameSize = size + IPCFrameHeader::Size;
    size_t const count = std::max<size_t>(1, size_t{32} * 1024 / frameSize);
    if (many.size() != count * frameSize) {
        std::vector<char> const frame = frameOfSize(size);
        many.clear();
        for (size_t i = 0; i < count; ++i) {
            many.insert(many.end(), frame.begin(), frame.end());
        }
    }
    write(many.data(), many.size());
    return count;
}

void StreamPeer::sendOne(bool apart)
{
    size_t const first = apart ? size_t{IPCFrameHeader::Size} : key.size();
    write(key.data(), first);
    write(key.data() + first, key.size() - first);
}

/// Many bytes in a call, likewise.
char const* StreamPeer::take(size_t size)
{
    while (end - begin < size) {
        std::memmove(received.data(), received.data() + begin, end - begin);
        end -= begin;
        begin = 0;
        ssize_t const count = recv(middleware.link().descriptor(), received.data() + end, received.size() - end, 0);
        require(count > 0, "recv");
        end += static_cast<size_t>(count);
    }
    char const* const bytes = received.data() + begin;
    begin += size;
    return bytes;
}

void StreamPeer::receive()
{
    IPCFrameHeader header;
    require(readFrameHeader(take(IPCFrameHeader::Size), header), "a frame's header");
    take(header.length);
}
