/// @file
/// What a box's DRM object was asked for. The object is DrmStandIn.cpp's, unless a test brings its own.
#ifndef ZELO_TESTKIT_DRMRECORD_H
#define ZELO_TESTKIT_DRMRECORD_H

#include <map>
#include <string>
#include <vector>

namespace standin {

/// The calls in order, those of the stand-in as "construct", "init cel=1", "apply cel=2", "bridge", "cdm", "isL1",
/// "destroy".
std::vector<std::string> drmCalls();
void clearDrmCalls();

/// Adds a call. @throw std::runtime_error if it begins with what was given to failNextDrm()
void recordDrm(std::string const& call);
void failNextDrm(std::string const& operation);

/// @return " key=value" for each parameter
std::string textOf(std::map<std::string, std::string> const& parameters);

/// The answer of isL1().
void setL1(bool isL1);
bool isL1();

/// What the CDM accessor returns.
void* cdmObject();

} // namespace standin

#endif
