// What the targets that read messages have in common: the library is brought to where the input
// wants it, and has nothing left when it is done.
#include <gtest/gtest.h>

#include "fuzz/finding.h"
#include "fuzz/message_input.h"
#include "tests/codec/support/orders.h"
#include "tests/support/platform.h"

namespace vorl::fuzz {
namespace {

/// Binds anew only where the input asks for it or the order changes: it is most of the cost of a
/// small input.
void prepare_library(const message_input &input)
{
    static std::optional<order> present;
    if (!input.is_first_call && present == input.byte_order)
        return;
    test::use_order(input.byte_order);
    present = input.byte_order;
}

} // namespace
} // namespace vorl::fuzz

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    // What the shared support of the tests expects and does not find is a finding here.
    GTEST_FLAG_SET(break_on_failure, true);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace vorl::fuzz;
    const auto input = message_input_of(data, size);
    if (!input)
        return 0;
    prepare_library(*input);
    {
        const exact_copy copy(input->content, input->misalignment);
        examine(*input, copy.content());
    }
    vorl::test::the_platform().forget_calls();
    check(vorl::test::the_platform().live_blocks == 0, "a block is not released");
    return 0;
}
