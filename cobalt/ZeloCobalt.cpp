#include "cobalt/ZeloCobalt.h"

#include <STBFirmwareUpdater.h>
#include <limits.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <sys/sysinfo.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <string>

#include "cobalt/CobaltManager.h"
#include "cobalt/LifeCycle.h"
#include "src/common/Log.h"

namespace {

char const sourceFile[] = "cobalt/ZeloCobalt";

void logForHost(int level, int line, char const* message)
{
    ZELO_LOG(level, line, sourceFile, "%s", message);
}

std::string firmwareVersion()
{
    std::string version = "unknown";
    std::ifstream file("/etc/zelo_firmware.version");
    std::string word;
    if (file >> word) {
        version.swap(word);
    }
    return version;
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

void readPositive(char const* variable, unsigned& number)
{
    char const* const text = getenv(variable);
    long const value = text != nullptr ? strtol(text, nullptr, 10) : 0;
    if (value > 0) {
        number = static_cast<unsigned>(std::min<long>(value, INT_MAX));
    }
}

/// A start or a stop inside a callback would wait for the callback that asks for it.
bool refusedInCallback(char const* function)
{
    bool const refused = isInsideLibrary();
    if (refused) {
        ZELO_LOG(LogFailure, __LINE__, sourceFile, "%s ignored: called from a callback", function);
    }
    return refused;
}

} // namespace

static_assert(sizeof(Capabilities) == 20 && offsetof(Capabilities, memoryClass) == 8 &&
                  offsetof(Capabilities, flag5) == 12 && offsetof(Capabilities, value2) == 16,
              "the layout is the host's");

void ZeloLog(int level, char const* message)
{
    switch (level) {
    case 1:
        return logForHost(LogConnection, 42, message);
    case 2:
        return logForHost(LogBadData, 45, message);
    case 3:
    case 4:
        return logForHost(LogFailure, 49, message);
    default:
        return;
    }
}

bool ZeloGetEnv(ZeloEnv key, std::string& value)
{
    switch (key) {
    case ZeloEnvStoragePath:
        value = "/var/zelo/zelo_cobalt/";
        return true;
    case ZeloEnvFirmwareVersion:
        value = firmwareVersion();
        return true;
    case ZeloEnvDeviceId:
        value = STBFirmwareUpdater::getCurrentDeviceId();
        return true;
    case ZeloEnvLanguage:
        value = CobaltManager::copyOfLanguage();
        return true;
    case ZeloEnvReserved:
    default:
        return false;
    }
}

bool ZeloGetVolume(unsigned& volume, bool& muted)
{
    return CobaltManager::volumes(volume, muted);
}

bool ZeloGetCapabilities(Capabilities& capabilities)
{
    capabilities.value1 = 1;
    capabilities.flag1 = 1;
    capabilities.flag3 = 0;
    capabilities.flag4 = 1;
    capabilities.memoryClass = memoryClassOf(totalMemory());
    capabilities.flag6 = 0;
    capabilities.value2 = 3;
    return true;
}

bool ZeloGetDisplaySize(unsigned& width, unsigned& height)
{
    return CobaltManager::displaySize(width, height);
}

bool ZeloGetUISize(unsigned& width, unsigned& height)
{
    readPositive("VIRTUAL_SCREEN_WIDTH", width);
    readPositive("VIRTUAL_SCREEN_HEIGHT", height);
    return true;
}

void ZeloStartApp(ZeloCallbacks const& callbacks)
{
    if (refusedInCallback("ZeloStartApp")) {
        return;
    }
    setenv("media_arm_audio_decoder", "ape,flac,wma,wmapro,aac,vorbis,raac,cook,amr,pcm,adpcm,aac_latm,rm", 0);
    setenv("media.ffmpeg.audio.decoder", "mp3,ac3,eac3,dts", 0);
    LifeCycleCall call;
    CobaltManager& manager = call.start(callbacks);
    if (!manager.waitForConfiguration()) {
        ZELO_LOG(LogFailure, 30, sourceFile, "Configuration failed");
    }
    ZELO_LOG(LogNotable, 32, sourceFile, "Started.....");
}

void ZeloStopApp()
{
    if (refusedInCallback("ZeloStopApp")) {
        return;
    }
    LifeCycleCall().stop();
}

bool ZeloSetVideoWindow(int x, int y, int width, int height)
{
    // Without a manager the request is lost, as it is without a connection: a callback may run while a stop waits for
    // it.
    pthread_helper::guard lock(cobaltManagerMutex);
    if (cobaltManager) {
        cobaltManager->setVideoWindow(x, y, width, height);
    }
    return true;
}

bool ZeloRequestPreviousController()
{
    pthread_helper::guard lock(cobaltManagerMutex);
    if (cobaltManager) {
        cobaltManager->requestPreviousController();
    }
    return true;
}
