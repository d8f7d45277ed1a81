/// @file
/// The files of simulator/web/page, built into the program.
#ifndef ZELO_SIMULATOR_PAGEFILES_H
#define ZELO_SIMULATOR_PAGEFILES_H

#include <string>
#include <vector>

namespace zelobox {

struct PageFile {
    std::string path; ///< "/style.css"; "/" for the page itself
    std::string type;
    std::string text;
};

std::vector<PageFile> const& pageFiles();

} // namespace zelobox

#endif
