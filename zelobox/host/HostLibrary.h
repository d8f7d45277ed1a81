/// @file
/// libzelocobalt.so and libzelostb.so as a host loads them.
#ifndef ZELO_ZELOBOX_HOSTLIBRARY_H
#define ZELO_ZELOBOX_HOSTLIBRARY_H

#include <memory>
#include <string>
#include <vector>

#include "cobalt/ZeloCobalt.h"

namespace zelobox {

/// The entry points of a loaded library, found by their full signatures.
class HostLibrary {
public:
    /// @param supportPath  libzelostb.so, loaded first and for everyone
    /// @param libraryPath  libzelocobalt.so
    /// @throw InputError when one cannot be loaded or lacks an entry point
    HostLibrary(std::string const& supportPath, std::string const& libraryPath);
    HostLibrary(HostLibrary const&) = delete;
    HostLibrary& operator=(HostLibrary const&) = delete;

    decltype(&ZeloLog) log;
    decltype(&ZeloGetVolume) getVolume;
    decltype(&ZeloGetCapabilities) getCapabilities;
    decltype(&ZeloGetDisplaySize) getDisplaySize;
    decltype(&ZeloGetUISize) getUISize;
    decltype(&KeyCodeToSbKey) keyCodeToSbKey;
    decltype(&ZeloCdm) cdm;
    decltype(&ZeloCdmIsL1) cdmIsL1;
    decltype(&ZeloStartApp) startApp;
    decltype(&ZeloStopApp) stopApp;
    decltype(&ZeloSetVideoWindow) setVideoWindow;
    decltype(&ZeloRequestPreviousController) requestPreviousController;

    bool getEnv(ZeloEnv key, std::string& value) const;

    /// @return whether both libraries agree about texts; if not, the DRM entry points must not be called
    bool canCallDrm() const { return hasNewStrings == supportHasNewStrings; }
    /// @return what the stand-in's DRM object was asked to do; empty without the stand-in
    std::vector<std::string> drmCalls() const;

private:
    struct Closer {
        void operator()(void* handle) const;
    };
    using Handle = std::unique_ptr<void, Closer>;

    static Handle open(std::string const& path, int flags, char const* option);
    template <typename Function> void find(Function& function, char const* signature, char const* symbol);

    std::string const path;
    Handle support;
    Handle library;
    void* getEnvEntry = nullptr;
    bool hasNewStrings = true;
    bool supportHasNewStrings = true;
};

/// @return where @p fileName is: beside this program, in ../lib, or wherever the loader looks
std::string defaultLibrary(std::string const& fileName);

} // namespace zelobox

#endif
