// Calls ZeloGetEnv() of a library with this string ABI. Included with ZELO_ENV_CALL as the name of the function.
#include <cstdint>
#include <string>

#include "zelobox/host/EnvCalls.h"

namespace zelobox {

bool ZELO_ENV_CALL(void* entryPoint, uint32_t key, EnvAnswer answer, void* context)
{
    using GetEnv = bool (*)(uint32_t, std::string&);
    std::string value;
    bool const known = reinterpret_cast<GetEnv>(entryPoint)(key, value);
    answer(context, value.data(), value.size());
    return known;
}

} // namespace zelobox
