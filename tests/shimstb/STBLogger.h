/// @file
/// The vendor's log record under the library's name.
#ifndef SHIM_STBLOGGER_H
#define SHIM_STBLOGGER_H

#include <Platform.hpp>

using STBLogContext = vendor::LogRecord;

#endif
