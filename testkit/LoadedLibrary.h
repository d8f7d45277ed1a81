/// @file
/// The library as a host has it: loaded while the process runs, its functions found by their full signatures.
#ifndef ZELO_TESTKIT_LOADEDLIBRARY_H
#define ZELO_TESTKIT_LOADEDLIBRARY_H

#include <dlfcn.h>
#include <stdint.h>

#include <stdexcept>
#include <string>

#include "cobalt/ZeloCobalt.h"

class LoadedLibrary {
public:
    LoadedLibrary() = default;
    explicit LoadedLibrary(char const* path) { load(path); }
    ~LoadedLibrary() { unload(); }
    LoadedLibrary(LoadedLibrary const&) = delete;
    LoadedLibrary& operator=(LoadedLibrary const&) = delete;

    void load(char const* path)
    {
        handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }

    void unload()
    {
        if (handle != nullptr) {
            dlclose(handle);
        }
        handle = nullptr;
    }

    void start(ZeloCallbacks const& callbacks) const
    {
        function<void(ZeloCallbacks const&)>("_Z12ZeloStartAppRK13ZeloCallbacks")(callbacks);
    }
    void stop() const { function<void()>("_Z11ZeloStopAppv")(); }
    bool setVideoWindow() const { return function<bool(int, int, int, int)>("_Z18ZeloSetVideoWindowiiii")(1, 2, 3, 4); }
    /// A pointer, because the dynamic loader must not be asked in a callback: an unload has its lock.
    bool (*getEnv() const)(ZeloEnv, std::string&) { return function<bool(ZeloEnv, std::string&)>(getEnvName()); }
    void* cdm(uintptr_t context) const
    {
        return function<void*(void*)>("_Z7ZeloCdmPv")(reinterpret_cast<void*>(context));
    }

    /// The one name that depends on the string ABI.
    static char const* getEnvName()
    {
        return _GLIBCXX_USE_CXX11_ABI ? "_Z10ZeloGetEnv7ZeloEnvRNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
                                      : "_Z10ZeloGetEnv7ZeloEnvRSs";
    }

    template <typename Function> Function* function(char const* name) const
    {
        void* const address = dlsym(handle, name);
        if (address == nullptr) {
            throw std::runtime_error(name);
        }
        return reinterpret_cast<Function*>(address);
    }

private:
    void* handle = nullptr;
};

#endif
