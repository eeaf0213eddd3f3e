// The library's byte order and bindings as an input wants them.
#pragma once

#include <gtest/gtest.h>

#include "fuzz/message_input.h"
#include "tests/codec/support/orders.h"

namespace vorl::fuzz {

/// Binds anew only where the input asks for it or the order changes: it is most of the cost of a
/// small input.
inline void prepare_library(const message_input &input)
{
    static std::optional<order> present;
    if (!input.is_first_call && present == input.byte_order)
        return;
    test::use_order(input.byte_order);
    present = input.byte_order;
}

/// What the shared support of the tests expects and does not find is a finding here.
inline void expectations_are_findings() { GTEST_FLAG_SET(break_on_failure, true); }

} // namespace vorl::fuzz
