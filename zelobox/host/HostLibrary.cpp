#include "zelobox/host/HostLibrary.h"

#include <dlfcn.h>
#include <unistd.h>

#include "zelobox/base/ChildProcess.h"
#include "zelobox/host/EnvCalls.h"
#include "zelobox/protocol/Json.h"
#include "zelobox/stb/DrmRecord.h"

namespace zelobox {

namespace {

char const getEnvNewStrings[] = "_Z10ZeloGetEnv7ZeloEnvRNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE";
char const getEnvOldStrings[] = "_Z10ZeloGetEnv7ZeloEnvRSs";

} // namespace

void HostLibrary::Closer::operator()(void* handle) const
{
    dlclose(handle);
}

HostLibrary::HostLibrary(std::string const& supportPath, std::string const& libraryPath)
    : path(libraryPath), support(open(supportPath, RTLD_NOW | RTLD_GLOBAL, "--stb")),
      library(open(libraryPath, RTLD_NOW | RTLD_LOCAL, "--lib"))
{
    find(log, "ZeloLog(int, char const*)", "_Z7ZeloLogiPKc");
    find(getVolume, "ZeloGetVolume(unsigned&, bool&)", "_Z13ZeloGetVolumeRjRb");
    find(getCapabilities, "ZeloGetCapabilities(Capabilities&)", "_Z19ZeloGetCapabilitiesR12Capabilities");
    find(getDisplaySize, "ZeloGetDisplaySize(unsigned&, unsigned&)", "_Z18ZeloGetDisplaySizeRjS_");
    find(getUISize, "ZeloGetUISize(unsigned&, unsigned&)", "_Z13ZeloGetUISizeRjS_");
    find(keyCodeToSbKey, "KeyCodeToSbKey(STBCommand)", "_Z14KeyCodeToSbKey10STBCommand");
    find(cdm, "ZeloCdm(void*)", "_Z7ZeloCdmPv");
    find(cdmIsL1, "ZeloCdmIsL1()", "_Z11ZeloCdmIsL1v");
    find(startApp, "ZeloStartApp(ZeloCallbacks const&)", "_Z12ZeloStartAppRK13ZeloCallbacks");
    find(stopApp, "ZeloStopApp()", "_Z11ZeloStopAppv");
    find(setVideoWindow, "ZeloSetVideoWindow(int, int, int, int)", "_Z18ZeloSetVideoWindowiiii");
    find(requestPreviousController, "ZeloRequestPreviousController()", "_Z29ZeloRequestPreviousControllerv");
    hasNewStrings = dlsym(library.get(), getEnvOldStrings) == nullptr;
    find(getEnvEntry, "ZeloGetEnv(ZeloEnv, std::string&)", hasNewStrings ? getEnvNewStrings : getEnvOldStrings);
    // The stand-in serves texts of both kinds where a name tells them apart; its DRM object has one kind, this
    // program's.
    supportHasNewStrings = _GLIBCXX_USE_CXX11_ABI != 0;
}

HostLibrary::Handle HostLibrary::open(std::string const& path, int flags, char const* option)
{
    void* const handle = dlopen(path.c_str(), flags);
    if (handle == nullptr) {
        throw InputError(std::string("cannot load ") + dlerror() + "; build it, or say with " + option +
                         " where it is");
    }
    return Handle(handle);
}

template <typename Function> void HostLibrary::find(Function& function, char const* signature, char const* symbol)
{
    void* const address = dlsym(library.get(), symbol);
    if (address == nullptr) {
        throw InputError(path + " lacks " + signature + " (" + symbol + "); is it a libzelocobalt.so?");
    }
    function = reinterpret_cast<Function>(address);
}

bool HostLibrary::getEnv(ZeloEnv key, std::string& value) const
{
    EnvAnswer const answer = [](void* context, char const* text, size_t size) {
        static_cast<std::string*>(context)->assign(text, size);
    };
    auto const call = hasNewStrings ? callEnvWithNewStrings : callEnvWithOldStrings;
    return call(getEnvEntry, key, answer, &value);
}

std::vector<std::string> HostLibrary::drmCalls() const
{
    void* const address = dlsym(support.get(), "zelostb_drm_calls");
    if (address == nullptr) {
        return {};
    }
    auto const read = reinterpret_cast<decltype(&zelostb_drm_calls)>(address);
    std::string text(read(nullptr, 0), '\0');
    read(&text[0], text.size() + 1);
    std::vector<std::string> calls;
    for (size_t end; (end = text.find('\n')) != std::string::npos; text.erase(0, end + 1)) {
        calls.push_back(text.substr(0, end));
    }
    return calls;
}

std::string defaultLibrary(std::string const& fileName)
{
    for (std::string const& directory : {ownDirectory(), ownDirectory() + "../lib/"}) {
        if (access((directory + fileName).c_str(), R_OK) == 0) {
            return directory + fileName;
        }
    }
    return fileName;
}

} // namespace zelobox
