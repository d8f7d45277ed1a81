#undef _GLIBCXX_USE_CXX11_ABI
#define _GLIBCXX_USE_CXX11_ABI 1
#define ZELO_ENV_CALL callEnvWithNewStrings
#include "simulator/host/EnvCall.h"
