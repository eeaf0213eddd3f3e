// Integers and texts at the end of bytes, least significant byte first.
#pragma once

#include <string_view>

#include "capture/frame.h"
#include "inspect/integers.h"

namespace vorl::capture {

inline void append(bytes &to, std::uint64_t value, std::size_t width)
{
    to.resize(to.size() + width);
    store_integer(to.data() + to.size() - width, value, width);
}

inline void append(bytes &to, std::string_view text)
{
    to.insert(to.end(), text.begin(), text.end());
}

} // namespace vorl::capture
