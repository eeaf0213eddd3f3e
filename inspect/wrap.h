// Prose in lines of a limited width.
#pragma once

#include <string>
#include <string_view>

namespace vorl::inspect {

/// The words of a text in lines of at most `width` characters, each behind `indent` but the first,
/// for which as much room is kept. A word that is longer has a line of its own.
inline std::string wrapped(std::string_view text, std::string_view indent, std::size_t width)
{
    std::string out;
    std::size_t used = indent.size();
    while (!text.empty()) {
        const std::size_t space = text.find(' ');
        const std::string_view word = text.substr(0, space);
        if (!out.empty()) {
            const bool fits = used + 1 + word.size() <= width;
            out += fits ? " " : "\n" + std::string(indent);
            used = fits ? used + 1 : indent.size();
        }
        out += word;
        used += word.size();
        text.remove_prefix(space == std::string_view::npos ? text.size() : space + 1);
    }
    return out;
}

} // namespace vorl::inspect
