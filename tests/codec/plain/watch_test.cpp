// serial/plain/read.h: what whoever watches a reader is told, step by step, and what of a field that
// is refused. A message of the test's own, so that every number can be seen beside the bytes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "serial/plain/read.h"
#include "tests/codec/support/fixture.h"

namespace vorl::test {
namespace {

constexpr slot inner_slots[] = {{.shape = slot_shape::scalar, .width = 4, .record_at = 0}};
constexpr message inner = {.names = VORL_NAMES("inner"),
                           .name_length = 5,
                           .msg_id = 1,
                           .owner = package::srv6,
                           .record_size = 4,
                           .slots = inner_slots};
constexpr slot outer_slots[] = {
    {.shape = slot_shape::scalar, .width = 4, .record_at = 0},
    {.shape = slot_shape::array, .width = 4, .count = 2, .record_at = 4},
    {.shape = slot_shape::table_vector, .record_at = 16, .count_at = 12, .nested = &inner},
};
constexpr message outer = {.names = VORL_NAMES("outer"),
                           .name_length = 5,
                           .msg_id = 2,
                           .owner = package::srv6,
                           .record_size = 24,
                           .slots = outer_slots};

constexpr const char *whole = R"(
                    u32 table                               // 0
    vtable:         u16 10  u16 36  u16 4  u16 8  u16 12    // 4
    table:          u32 table-vtable                        // 14
                    u32 7                                   // 18: f0
                    u32 @f1                                 // 22
                    u32 @f2                                 // 26
    f1:             u32 2   u32 5   u32 6                   // 30
    f2:             u32 1                                   // 42
                    u32 @inner                              // 46
    inner_vtable:   u16 6   u16 8   u16 4                   // 50
    inner:          u32 inner-inner_vtable                  // 56
                    u32 9                                   // 60: its f0
)";

/// Writes down what it is told; gives memory unless it is to have none.
struct watcher : listener {
    bool has_memory = true;
    mutable std::vector<std::string> told;
    mutable std::vector<void *> blocks;

    watcher()
        : listener{.refused = [](const listener &, table_check, table_role, uint32_t, uint32_t,
                                 uint32_t, const message &) { FAIL() << "a table is refused"; },
                   .refused_field =
                       [](const listener &l, const reading_step &step) {
                           static_cast<const watcher &>(l).told.push_back(text_of(step));
                       },
                   .allocate = [](const listener &l, uint32_t size, table_role,
                                  const message &) -> void * {
                       const auto &me = static_cast<const watcher &>(l);
                       if (!me.has_memory)
                           return nullptr;
                       me.blocks.push_back(std::malloc(size));
                       return me.blocks.back();
                   },
                   .no_memory =
                       [](const listener &l, const reading_step &step, table_role) {
                           static_cast<const watcher &>(l).told.push_back(text_of(step));
                       },
                   .release = [](const listener &, void *, const message &) {},
                   .set_zero = [](void *, size_t) { return 1; },
                   .copy_bytes = [](void *, const void *, size_t) { return 1; },
                   .watch =
                       [](const listener &l, const reading_step &step) {
                           static_cast<const watcher &>(l).told.push_back(text_of(step));
                       }}
    {}
    ~watcher()
    {
        for (void *block : blocks)
            std::free(block);
    }
    watcher(const watcher &) = delete;
    watcher &operator=(const watcher &) = delete;

    static std::string text_of(const reading_step &step)
    {
        constexpr const char *kinds[] = {"table", "field", "body", "element", "leave", "refused"};
        constexpr const char *checks[] = {"field",    "body",     "count",
                                          "elements", "position", "memory"};
        std::string text = kinds[static_cast<size_t>(step.what)];
        if (step.what == reading_step::kind::refused)
            text += std::string(" ") + checks[static_cast<size_t>(step.check)];
        return text + " of " + name_of(function_name::none, *step.of) + "." +
               std::to_string(step.slot) + " at " + std::to_string(step.at) + " to " +
               std::to_string(step.to) + " size " + std::to_string(step.size);
    }
};

/// Reads with one number changed, `width` bytes at `at`; `width` of 0 changes none.
template <byte_order Order>
std::vector<std::string> told_of(uint32_t at, uint32_t width, uint32_t value,
                                 bool has_memory = true)
{
    reference::bytes bytes =
        buffer_of(whole, Order == native ? reference::order::little : reference::order::big);
    EXPECT_EQ(bytes.size(), 64U);
    if (width == 2)
        store<Order>(bytes.data() + at, static_cast<uint16_t>(value));
    else if (width == 4)
        store<Order>(bytes.data() + at, value);
    watcher w;
    w.has_memory = has_memory;
    const received from = {bytes.data(), 64};
    checked_table table;
    alignas(8) uint8_t record[24] = {};
    EXPECT_TRUE(plain::find_table<Order>(14, table, table_role::root, from, w, outer));
    const bool is_read = plain::read_slots<Order>(table, record, table_role::root, from, w, outer);
    EXPECT_EQ(is_read, width == 0 && has_memory);
    return w.told;
}

template <byte_order Order>
void expect_steps()
{
    EXPECT_EQ(told_of<Order>(0, 0, 0), (std::vector<std::string>{
                                           "table of outer.0 at 14 to 4 size 10",
                                           "field of outer.0 at 18 to 18 size 4",
                                           "field of outer.1 at 22 to 22 size 4",
                                           "body of outer.1 at 30 to 34 size 2",
                                           "field of outer.2 at 26 to 26 size 4",
                                           "body of outer.2 at 42 to 46 size 1",
                                           "element of inner.0 at 46 to 56 size 0",
                                           "table of inner.0 at 56 to 50 size 6",
                                           "field of inner.0 at 60 to 60 size 4",
                                           "leave of inner.0 at 46 to 56 size 0",
                                       }));
    const struct {
        uint32_t at;
        uint32_t width;
        uint32_t value;
        size_t steps_before;
        const char *last;
    } refusals[] = {
        // f0 would end at 65; its offset is one too large.
        {8, 2, 47, 1, "refused field of outer.0 at 61 to 61 size 0"},
        // The word of f1 leads to 61, where no count fits, and past the end.
        {22, 4, 39, 3, "refused body of outer.1 at 22 to 61 size 0"},
        {22, 4, 43, 3, "refused body of outer.1 at 22 to 65 size 0"},
        // Not the count that it has; and one that passes the end.
        {30, 4, 3, 3, "refused count of outer.1 at 30 to 34 size 0"},
        {30, 4, 8, 3, "refused elements of outer.1 at 30 to 34 size 0"},
        // Words of elements that pass the end; a count that times 4 is 0 in 32 bits.
        {42, 4, 5, 5, "refused elements of outer.2 at 42 to 46 size 0"},
        {42, 4, 0x40000000, 5, "refused elements of outer.2 at 42 to 46 size 0"},
        // 46 and this are 2^32.
        {46, 4, 0xFFFFFFD2, 6, "refused position of inner.0 at 46 to 4294967296 size 0"},
    };
    for (const auto &r : refusals) {
        SCOPED_TRACE(r.last);
        const std::vector<std::string> told = told_of<Order>(r.at, r.width, r.value);
        ASSERT_EQ(told.size(), r.steps_before + 1);
        EXPECT_EQ(told.back(), r.last);
    }
    const std::vector<std::string> told = told_of<Order>(0, 0, 0, false);
    ASSERT_EQ(told.size(), 7U);
    EXPECT_EQ(told.back(), "refused memory of outer.2 at 46 to 4 size 0");
}

TEST(watch, is_told_every_step_in_the_order_of_reading) { expect_steps<native>(); }

TEST(watch, is_told_the_same_in_the_other_byte_order) { expect_steps<swapped>(); }

} // namespace
} // namespace vorl::test
