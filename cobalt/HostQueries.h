/// @file
/// Answers to the host's questions that need no manager, and its log lines.
#ifndef ZELO_COBALT_HOSTQUERIES_H
#define ZELO_COBALT_HOSTQUERIES_H

#include <string>

#include "cobalt/ZeloCobalt.h"

/// Passes a line of the host on to the box's logger. @see ZeloLog()
void logHostLine(int level, char const* message);

/// @return the first word of the firmware version file; "unknown" if there is none
std::string firmwareVersion();

/// Sets the fields that are the library's. @see Capabilities
void fillCapabilities(Capabilities& capabilities);

/// Sets @p number from an environment variable, or leaves it if that holds no positive number.
void readPositive(char const* variable, unsigned& number);

#endif
