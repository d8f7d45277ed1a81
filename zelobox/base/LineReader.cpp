#include "zelobox/base/LineReader.h"

#include <unistd.h>

#include <cerrno>

namespace zelobox {

bool LineReader::read(int fd, std::function<void(std::string const&)> const& onLine)
{
    char bytes[4096];
    ssize_t const count = ::read(fd, bytes, sizeof bytes);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        return true;
    }
    if (count > 0) {
        rest.append(bytes, static_cast<size_t>(count));
    } else if (!rest.empty()) {
        rest += '\n';
    }
    size_t begin = 0;
    for (size_t end = rest.find('\n'); end != std::string::npos; end = rest.find('\n', begin)) {
        onLine(rest.substr(begin, end - begin));
        begin = end + 1;
    }
    rest.erase(0, begin);
    return count > 0;
}

} // namespace zelobox
