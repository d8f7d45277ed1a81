// What a library for an older host looks like from outside: its texts have the string ABI from before C++11.
#undef _GLIBCXX_USE_CXX11_ABI
#define _GLIBCXX_USE_CXX11_ABI 0
#include "cobalt/ZeloCobalt.h"

void ZeloLog(int, char const*) {}

bool ZeloGetEnv(ZeloEnv key, std::string& value)
{
    value = "an old text, long enough to live on the heap";
    return key == ZeloEnvLanguage;
}

bool ZeloGetVolume(unsigned& volume, bool& muted)
{
    volume = 7;
    muted = true;
    return true;
}

bool ZeloGetCapabilities(Capabilities&)
{
    return true;
}

bool ZeloGetDisplaySize(unsigned&, unsigned&)
{
    return true;
}

bool ZeloGetUISize(unsigned&, unsigned&)
{
    return true;
}

SbKey KeyCodeToSbKey(STBCommand)
{
    return SbKeyUnknown;
}

void* ZeloCdm(void*)
{
    return nullptr;
}

bool ZeloCdmIsL1()
{
    return false;
}

void ZeloStartApp(ZeloCallbacks const&) {}

void ZeloStopApp() {}

bool ZeloSetVideoWindow(int, int, int, int)
{
    return true;
}

#ifndef WITHOUT_PREVIOUS_CONTROLLER
bool ZeloRequestPreviousController()
{
    return true;
}
#endif
