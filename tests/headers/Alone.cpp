#include "cobalt/ZeloCobalt.h"
