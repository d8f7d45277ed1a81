// Calls the installed library; the exit code says whether it answered.
#include <ZeloCobalt.h>

#include <string>

int main()
{
    std::string storage;
    bool const answered = ZeloGetEnv(ZeloEnvStoragePath, storage) && storage == "/var/zelo/zelo_cobalt/";
    return answered && KeyCodeToSbKey(static_cast<STBCommand>(76)) == 0xAA ? 0 : 1;
}
