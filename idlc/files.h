// Files as the compiler reads and writes them.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "faults.h"

namespace idlc {

/// "FILE: error: what is wrong; what to do": of a file as a whole.
class file_error : public std::runtime_error {
  public:
    file_error(const std::string &file, const std::string &text)
        : std::runtime_error(file + ": error: " + text)
    {}
};

/// Longer descriptions are refused: hundreds of times what the largest has.
inline constexpr std::size_t longest_description = std::size_t{8} << 20;

/// The whole file. Throws file_error where it cannot be read or is longer than `longest`.
std::string read_file(const std::string &path, std::size_t longest);
source read_description(const std::string &path);

/// False: the path has another text, or none.
bool has_text(const std::string &path, const std::string &text);
bool write_file(const std::string &path, const std::string &text);

/// The path, or the descriptions below it at any depth where it is a directory, in the order of their
/// names. Throws file_error where there are none.
std::vector<std::string> descriptions_in(const std::string &path);

} // namespace idlc
