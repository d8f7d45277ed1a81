/// @file
/// Frames as the middleware reads and writes them.
#ifndef ZELO_SIMULATION_WIRE_H
#define ZELO_SIMULATION_WIRE_H

#include <stdint.h>

#include <string>

namespace simulation {

struct Frame {
    uint8_t kind;
    uint16_t type;
    std::string payload;
};

/// Takes the first frame off @p bytes.
/// @return false if it is not all there
/// @throw std::runtime_error when it does not begin as a frame does
bool takeFrame(std::string& bytes, Frame& frame);

std::string encode(Frame const& frame);
std::string bigEndian(uint64_t value, size_t width);
uint64_t numberOf(std::string const& bytes, size_t offset, size_t width);
/// A browser configuration with these texts.
std::string configuration(std::string const& language, std::string const& portal);

} // namespace simulation

#endif
