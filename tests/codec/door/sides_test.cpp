// Six sides, a byte order each: the flag of one moves no byte of another.
#include <gtest/gtest.h>

#include "tests/codec/support/library.h"
#include "tests/codec/support/orders.h"

namespace vorl::test {
namespace {

/// Binds all sides, and has `side` alone swap bytes: 0 to 5, receiving and sending of each package.
void swap_one_side(std::size_t side)
{
    use_order(order::big); // binds them
    for (std::size_t i = 0; i < serial_ctx_count; ++i)
        side_states[i].byte_swap_flag = i == side ? 1 : 0;
}

TEST(sides, each_has_a_byte_order_of_its_own)
{
    random_source random(8);
    for (std::size_t side = 0; side < 6; ++side) {
        swap_one_side(side);
        for (const message *m : all_messages()) {
            SCOPED_TRACE(name_of(*m) + std::string(", side ") + std::to_string(side));
            const std::string name = catalogue::package_of(*m).name;
            const std::size_t package = name == "srv6" ? 0 : name == "srv6_cfg" ? 1 : 2;
            const order received = side == 2 * package ? order::big : order::little;
            const order sent = side == 2 * package + 1 ? order::big : order::little;
            const sample s = sample::random(*m, random);
            ASSERT_EQ(hex(library_pack(s)), hex(reference::pack(*m, s.data(), sent)));
            EXPECT_EQ(hex(sent_single(*m, s.data())),
                      hex(is_fixed_size(*m) ? reference::frame(*m, s.data(), sent)
                                            : reference::pack(*m, s.data(), sent)));
            // A table somewhere else than writers put it, so that no short cut reads it.
            bytes moved = reference::pack(*m, s.data(), received);
            const std::uint64_t root = reference::load(moved.data(), 4, received);
            moved.insert(moved.begin() + 4, 3, 0);
            reference::store(moved.data(), root + 3, 4, received);
            for (const bytes &buffer : {reference::pack(*m, s.data(), received), moved}) {
                const unpacked back(*m, buffer.data(), length_of(buffer));
                EXPECT_EQ(meaning(*m, back.record()), meaning(*m, s.data()));
                EXPECT_TRUE(back.what().logs.empty());
            }
            if (HasFailure())
                return; // one message is enough to read
        }
    }
    forget_bindings();
}

} // namespace
} // namespace vorl::test
