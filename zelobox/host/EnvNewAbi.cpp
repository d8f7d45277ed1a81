#undef _GLIBCXX_USE_CXX11_ABI
#define _GLIBCXX_USE_CXX11_ABI 1
#define ZELO_ENV_CALL callEnvWithNewStrings
#include "zelobox/host/EnvCall.h"
