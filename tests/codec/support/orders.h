// The byte order of all six sides, for programs with the library's objects linked in.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "tests/codec/support/messages.h"
#include "tests/support/bindings.h"
#include "tests/support/platform.h"

namespace vorl::test {

inline void use_order(order o)
{
    forget_bindings();
    if (o == order::big)
        swap_bytes();
}

/// Runs `work(order)` in each byte order.
template <class Work>
void in_both_orders(Work &&work)
{
    for (const order o : both_orders) {
        SCOPED_TRACE(std::string("byte order: ") + name_of(o));
        use_order(o);
        work(o);
    }
    forget_bindings();
}

/// Runs `work(message, order)` for all messages in each byte order.
template <class Work>
void for_all_messages(Work &&work)
{
    in_both_orders([&work](order o) {
        for (const message *m : all_messages()) {
            SCOPED_TRACE(name_of(*m));
            work(*m, o);
            if (::testing::Test::HasFailure())
                return; // one message is enough to read
        }
    });
    EXPECT_EQ(the_platform().live_blocks, 0u);
}

} // namespace vorl::test
