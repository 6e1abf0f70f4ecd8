#include "files/path_text.h"

namespace Sorvex {

SplitName splitName(std::string_view name) noexcept {
    const std::string_view::size_type drive = name.size() > 1 && name[1] == ':' ? 2 : 0;
    std::string_view::size_type start = name.size();
    while (start > drive && name[start - 1] != '\\' && name[start - 1] != '/')
        --start;
    return {name.substr(0, start), name.substr(start)};
}

std::string_view::size_type extensionStart(std::string_view file) noexcept {
    const std::string_view::size_type dot = file.rfind('.');
    return dot == std::string_view::npos ? file.size() : dot;
}

}  // namespace Sorvex
