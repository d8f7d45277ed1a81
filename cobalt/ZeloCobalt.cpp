#include "cobalt/ZeloCobalt.h"

#include <STBFirmwareUpdater.h>
#include <stdlib.h>

#include "cobalt/CobaltManager.h"
#include "cobalt/HostQueries.h"
#include "cobalt/LifeCycle.h"
#include "src/common/Log.h"

namespace {

char const* const sourceFile = "cobalt/ZeloCobalt";

enum Line : int {
    LineConfigurationFailed = 30,
    LineStarted = 32,
};

} // namespace

void ZeloLog(int level, char const* message)
{
    logHostLine(level, message);
}

bool ZeloGetEnv(ZeloEnv key, std::string& value)
{
    // Swapped in, as in all of the library: each further operation of std::string is an import of a hundred bytes.
    switch (key) {
    case ZeloEnvStoragePath:
        std::string("/var/zelo/zelo_cobalt/").swap(value);
        return true;
    case ZeloEnvFirmwareVersion:
        firmwareVersion().swap(value);
        return true;
    case ZeloEnvDeviceId:
        STBFirmwareUpdater::getCurrentDeviceId().swap(value);
        return true;
    case ZeloEnvLanguage:
        CobaltManager::copyOfLanguage().swap(value);
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
    fillCapabilities(capabilities);
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
    if (isRefusedHere("ZeloStartApp")) {
        return;
    }
    setenv("media_arm_audio_decoder", "ape,flac,wma,wmapro,aac,vorbis,raac,cook,amr,pcm,adpcm,aac_latm,rm", 0);
    setenv("media.ffmpeg.audio.decoder", "mp3,ac3,eac3,dts", 0);
    LifeCycleCall call;
    CobaltManager* const manager = call.start(callbacks);
    if (manager == nullptr || !manager->waitForConfiguration()) {
        ZELO_LOG(LogFailure, LineConfigurationFailed, sourceFile, "Configuration failed");
    }
    ZELO_LOG(LogNotable, LineStarted, sourceFile, "Started.....");
}

void ZeloStopApp()
{
    if (!isRefusedHere("ZeloStopApp")) {
        LifeCycleCall().stop();
    }
}

// A request is made before the lock is taken. Without a manager it is lost, as it is without a connection: a callback
// may run while a stop waits for it.

bool ZeloSetVideoWindow(int x, int y, int width, int height)
{
    CobaltManager::VideoWindowRequest request(x, y, width, height);
    pthread_helper::guard lock(cobaltManagerMutex);
    if (cobaltManager) {
        cobaltManager->setVideoWindow(std::move(request));
    }
    return true;
}

bool ZeloRequestPreviousController()
{
    CobaltManager::PreviousControllerRequest request;
    pthread_helper::guard lock(cobaltManagerMutex);
    if (cobaltManager) {
        cobaltManager->requestPreviousController(std::move(request));
    }
    return true;
}
