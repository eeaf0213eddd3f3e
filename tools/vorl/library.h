// The shared library, loaded by the commands that send or receive; the others need neither it nor
// the bus, which it brings.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "catalogue/functions.h"

namespace vorl {

class library {
  public:
    /// Throws std::runtime_error, "USER: what, where it was looked for, what to do".
    explicit library(const std::string &user);

    /// Both throw std::runtime_error, which names the function, when one is missing.
    const catalogue::message_functions &functions_of(const message &m);
    catalogue::package_functions functions_of(const catalogue::package_info &p) const;

    /// A function of the library's or the bus's, as `to` has its type; null: there is none.
    template <class Function>
    void find(Function *&to, const char *name) const
    {
        to = reinterpret_cast<Function *>(find(name));
    }

  private:
    static void *find(const char *name);

    void *handle_; ///< open until the process ends: the bus calls the library's hooks at exit
    std::map<std::uint32_t, catalogue::message_functions> functions_;
};

} // namespace vorl
