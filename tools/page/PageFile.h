// A file of a page, as it was built into the program.
#pragma once

#include <string_view>
#include <vector>

namespace vdipc::page {

struct PageFile {
    std::string_view path;  // as a browser asks for it, "/classroom.js"; "/index.html" also answers to "/"
    std::string_view type;
    std::string_view content;
};

}  // namespace vdipc::page
