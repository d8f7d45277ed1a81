#include "cobalt/ZeloCobalt.h"

// Once more.
#include "cobalt/ZeloCobalt.h"
