#undef _GLIBCXX_USE_CXX11_ABI
#define _GLIBCXX_USE_CXX11_ABI 0
#define ZELO_ENV_CALL callEnvWithOldStrings
#include "zelobox/host/EnvCall.h"
