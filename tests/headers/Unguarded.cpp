#include "tests/headers/Unguarded.h"

// Once more.
#include "tests/headers/Unguarded.h"
