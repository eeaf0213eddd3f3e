// A program that is run without a shell, and what it prints.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace idlc {

struct child_outcome {
    int error = 0;  ///< why it could not be run, as errno; 0: it was
    int status = 0; ///< its exit status; 128 and the signal where one ended it
    std::string out;
    std::string err;          ///< the first line that it wrote to standard error
    bool is_too_long = false; ///< it wrote more than was to be kept, and was not waited for
};

/// The first argument is the program, which is looked for in the path. Standard input is empty.
child_outcome run_child(const std::vector<std::string> &arguments, std::size_t longest_output);

} // namespace idlc
