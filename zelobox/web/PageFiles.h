/// @file
/// The files of zelobox/web/page, built into the program.
#ifndef ZELO_ZELOBOX_PAGEFILES_H
#define ZELO_ZELOBOX_PAGEFILES_H

#include <vector>

namespace zelobox {

struct PageFile {
    char const* path; ///< "/style.css"; "/" for the page itself
    char const* type;
    char const* text;
};

std::vector<PageFile> pageFiles();

} // namespace zelobox

#endif
