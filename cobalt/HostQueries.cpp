#include "cobalt/HostQueries.h"

#include <fcntl.h>
#include <limits.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>

#include "src/common/Log.h"

namespace {

char const* const sourceFile = "cobalt/ZeloCobalt";

enum Line : int {
    LineHostInfo = 42,
    LineHostWarning = 45,
    LineHostError = 49,
};

void logLiterally(int level, int line, char const* message)
{
    ZELO_LOG(level, line, sourceFile, "%s", message);
}

/// More than any version has; a file that never ends must not fill the memory.
size_t const versionFileLimit = 4096;

/// Reads from the beginning of a regular file. Anything else is as good as no file, and a FIFO must not keep the host
/// waiting for its other end, not even in open().
///
/// @return how many bytes were read
size_t readRegularFile(char const* path, char* bytes, size_t limit)
{
    int const fd = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        return 0;
    }
    // No answer counts as a regular file: with 32-bit times there is none for a file from after 2038.
    struct stat info;
    bool const readable = fstat(fd, &info) != 0 || S_ISREG(info.st_mode);
    size_t size = 0;
    ssize_t count = readable ? 1 : 0;
    while (count > 0 && size < limit) {
        count = read(fd, bytes + size, limit - size);
        size += count > 0 ? static_cast<size_t>(count) : 0;
    }
    close(fd);
    return size;
}

/// @return the memory as sysinfo() counts it, in its own unit
unsigned long totalMemory()
{
    static std::atomic<unsigned long> cached{0};
    unsigned long total = cached.load(std::memory_order_relaxed);
    if (total == 0) {
        struct sysinfo info;
        memset(&info, 0, sizeof info);
        sysinfo(&info);
        total = info.totalram;
        cached.store(total, std::memory_order_relaxed);
    }
    return total;
}

uint32_t memoryClassOf(uint64_t total)
{
    if (total > 600000000) {
        return 2;
    }
    return total > 280000000 ? 1 : 0;
}

} // namespace

static_assert(sizeof(Capabilities) == 20 && offsetof(Capabilities, memoryClass) == 8 &&
                  offsetof(Capabilities, flag5) == 12 && offsetof(Capabilities, value2) == 16,
              "the layout is the host's");

void logHostLine(int level, char const* message)
{
    switch (level) {
    case 1:
        return logLiterally(LogConnection, LineHostInfo, message);
    case 2:
        return logLiterally(LogBadData, LineHostWarning, message);
    case 3:
    case 4:
        return logLiterally(LogFailure, LineHostError, message);
    default:
        return;
    }
}

std::string firmwareVersion()
{
    static char const blanks[] = " \t\n\v\f\r";
    char bytes[versionFileLimit + 1];
    bytes[readRegularFile("/etc/zelo_firmware.version", bytes, versionFileLimit)] = '\0';
    char* const word = bytes + strspn(bytes, blanks);
    word[strcspn(word, blanks)] = '\0';
    return std::string(*word != '\0' ? word : "unknown");
}

void fillCapabilities(Capabilities& capabilities)
{
    capabilities.value1 = 1;
    capabilities.flag1 = 1;
    capabilities.flag3 = 0;
    capabilities.flag4 = 1;
    capabilities.memoryClass = memoryClassOf(totalMemory());
    capabilities.flag6 = 0;
    capabilities.value2 = 3;
}

void readPositive(char const* variable, unsigned& number)
{
    char const* const text = getenv(variable);
    long const value = text != nullptr ? strtol(text, nullptr, 10) : 0;
    if (value > 0) {
        number = static_cast<unsigned>(std::min<long>(value, INT_MAX));
    }
}
