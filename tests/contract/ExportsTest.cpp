// What the library's dynamic symbol table offers and asks for.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>

#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>

#include "testkit/LoadedLibrary.h"

namespace {

using Names = std::set<std::string>;

/// A list of the contract, which depends on the string ABI.
Names listed(std::string const& what)
{
    std::ifstream file(ZELO_CONTRACT_DIR "/" + what + (_GLIBCXX_USE_CXX11_ABI ? "-cxx11.txt" : "-cxx98.txt"));
    Names names;
    for (std::string line; std::getline(file, line);) {
        names.insert(line);
    }
    EXPECT_FALSE(names.empty()) << what;
    return names;
}

/// The names in the dynamic symbol table of @p path, without versions.
Names symbolsOf(char const* path, char const* kind)
{
    std::string const command = std::string(ZELO_NM) + " -D --format=posix " + kind + " '" + path + "'";
    std::unique_ptr<FILE, int (*)(FILE*)> const output(popen(command.c_str(), "r"), &pclose);
    std::string text;
    char part[4096];
    while (fgets(part, sizeof part, output.get()) != nullptr) {
        text += part;
    }
    Names names;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        names.insert(line.substr(0, line.find_first_of(" @")));
    }
    return names;
}

/// Weak references of every shared object, to tools that are seldom there.
bool isToolchains(std::string const& name)
{
    static Names const names = {"__gmon_start__", "_ITM_deregisterTMCloneTable", "_ITM_registerTMCloneTable"};
    return names.count(name) != 0;
}

bool isSanitizers(std::string const& name)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    // The last one: type information that checked calls of virtual functions compare with.
    for (char const* const prefix : {"__asan_", "__ubsan_", "__tsan_", "__sanitizer_", "_ZTI"}) {
        if (name.find(prefix) == 0) {
            return true;
        }
    }
#endif
    return name.empty();
}

/// @return true if the C or the C++ runtime has it
bool isRuntimes(std::string const& name)
{
    for (char const* const library : {"libc.so.6", "libstdc++.so.6", "libm.so.6", "libgcc_s.so.1"}) {
        void* const handle = dlopen(library, RTLD_LAZY | RTLD_NOLOAD);
        bool const found = handle != nullptr && dlsym(handle, name.c_str()) != nullptr;
        if (handle != nullptr) {
            dlclose(handle);
        }
        if (found) {
            return true;
        }
    }
    return false;
}

/// What somebody else than the runtime must supply.
Names neededBy(char const* path)
{
    Names needed;
    for (std::string const& name : symbolsOf(path, "--undefined-only")) {
        if (!isToolchains(name) && !isSanitizers(name) && !isRuntimes(name)) {
            needed.insert(name);
        }
    }
    return needed;
}

} // namespace

TEST(Exports, AreTheThirteenEntryPoints)
{
    EXPECT_EQ(13U, listed("exports").size());
    EXPECT_EQ(1U, listed("exports").count(LoadedLibrary::getEnvName()));
    EXPECT_THAT(symbolsOf(ZELO_LIBRARY, "--defined-only"), testing::ContainerEq(listed("exports")));
}

TEST(Exports, WouldBeMoreWithoutTheVersionScript)
{
    Names const names = symbolsOf(ZELO_LIBRARY_REVERSED, "--defined-only");
    EXPECT_THAT(names, testing::IsSupersetOf(listed("exports")));
    EXPECT_THAT(names, testing::Not(testing::ContainerEq(listed("exports"))));
}

TEST(Exports, AreFoundByTheirFullSignatures)
{
    LoadedLibrary const library(ZELO_LIBRARY);
    for (std::string const& name : listed("exports")) {
        EXPECT_NO_THROW(library.function<void()>(name.c_str())) << name;
    }
    EXPECT_THROW(library.function<void()>("ZeloStartApp"), std::runtime_error);
}

TEST(Imports, AreTheRuntimesOrTheHosts)
{
    EXPECT_THAT(neededBy(ZELO_LIBRARY), testing::ContainerEq(listed("imports")));
}

TEST(Imports, AreTheRuntimesOnlyIfTheRuntimeHasThem)
{
    EXPECT_TRUE(isRuntimes("malloc"));
    EXPECT_TRUE(isRuntimes("_ZSt4cout"));
    EXPECT_TRUE(isRuntimes("_Unwind_Backtrace"));
    for (std::string const& name : listed("imports")) {
        EXPECT_FALSE(isRuntimes(name)) << name;
    }
}
