// How a command ends early, where more than "something was refused" is to be told by its exit status.
#pragma once

#include <stdexcept>

namespace vorl {

/// Of what a command throws, each a line for standard error; main has the statuses.
class wrong_usage : public std::runtime_error {
    using std::runtime_error::runtime_error;
};
class unreadable : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Does something with arguments alone: what it refuses is wrong usage.
template <class Work>
auto of_arguments(Work work)
{
    try {
        return work();
    } catch (const std::runtime_error &error) {
        throw wrong_usage(error.what());
    }
}

/// Opens or reads an input: what it refuses cannot be read.
template <class Work>
auto of_input(Work work)
{
    try {
        return work();
    } catch (const std::runtime_error &error) {
        throw unreadable(error.what());
    }
}

} // namespace vorl
