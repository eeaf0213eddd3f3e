// What tests of the reader's memory share.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "tests/codec/support/library.h"

namespace vorl::test {

using reference::memory_event;

inline constexpr const char *usual_text = "[ZELKO]:Malloc unpack data unsuccess, size(%u)";
inline constexpr const char *text_with_blanks =
    "[ZELKO]:Malloc unpack data unsuccess,                size(%u)";

inline memory_event allocation(const std::string &tag, std::uint64_t size, std::size_t block)
{
    return {memory_event::allocate, static_cast<std::uint32_t>(size), tag, block};
}
inline memory_event release(const std::string &tag, std::size_t block)
{
    return {memory_event::release, 0, tag, block};
}

/// An element table without fields, called `name`.
inline std::string empty_element(const std::string &name)
{
    return name + "_vtable: u16 4  u16 4  " + name + ": u32 " + name + "-" + name + "_vtable ";
}

inline void expect_no_memory_log(const reference::outcome &what, const std::string &function,
                                 const std::string &format, std::uint32_t size)
{
    ASSERT_EQ(what.logs.size(), 1u);
    std::string text = format;
    text.replace(text.find("%u"), 2, std::to_string(size));
    EXPECT_EQ(what.logs[0], (reference::log_event{12, what.logs[0].line, function, format, text}));
}

} // namespace vorl::test
