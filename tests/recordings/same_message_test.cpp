// What a capture says of a message, beside what is known of it.
#include <gtest/gtest.h>

#include <functional>

#include "capture/same_message.h"
#include "tests/facts/counts.h"

using namespace vorl;
using namespace vorl::capture;

namespace {

void add(std::map<std::uint32_t, description> &to, const message &m)
{
    to[m.msg_id] = describe(catalogue::info_of(m), nullptr);
    for (const slot &s : m.slots) {
        if (s.nested != nullptr)
            add(to, *s.nested);
    }
}

} // namespace

// Each message as it is; each of its slots of another width, count, shape or table; one slot more and less.
TEST(same_message, every_change_of_every_message_is_seen)
{
    std::size_t messages = 0;
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages) {
            ++messages;
            const message &m = info.data;
            SCOPED_TRACE(name_of(m));
            std::map<std::uint32_t, description> as_it_is;
            add(as_it_is, m);
            EXPECT_EQ(difference_from_catalogue(m.msg_id, as_it_is), "");
            const auto changed = [&](const std::function<void(description &)> &change) {
                std::map<std::uint32_t, description> other = as_it_is;
                change(other[m.msg_id]);
                return difference_from_catalogue(m.msg_id, other);
            };
            EXPECT_NE(changed([](description &d) { d.name += "x"; }), "");
            EXPECT_NE(changed([](description &d) { d.slots.pop_back(); }), "");
            EXPECT_NE(changed([](description &d) { d.slots.push_back(d.slots[0]); }), "");
            EXPECT_EQ(changed([](description &d) { d.slots[0].label.name = "labelled"; }), "");
            for (std::size_t i = 0; i < m.slots.size; ++i) {
                EXPECT_NE(changed([i](description &d) { d.slots[i].width ^= 3; }), "");
                EXPECT_NE(changed([i](description &d) { ++d.slots[i].count; }), "");
                EXPECT_NE(changed([i](description &d) { ++d.slots[i].nested; }), "");
                EXPECT_NE(changed([i](description &d) {
                              d.slots[i].shape = d.slots[i].shape == slot_shape::scalar
                                                     ? slot_shape::array
                                                     : slot_shape::scalar;
                          }),
                          "");
                if (m.slots[i].nested == nullptr)
                    continue;
                std::map<std::uint32_t, description> inner = as_it_is;
                inner[m.slots[i].nested->msg_id].slots.pop_back();
                EXPECT_NE(difference_from_catalogue(m.msg_id, inner), "");
            }
        }
    }
    EXPECT_EQ(messages, test::counts::messages);
}

TEST(same_message, the_difference_is_said)
{
    const message &m = catalogue::find_message("srv6_class_item")->data;
    std::map<std::uint32_t, description> described;
    add(described, m);
    described[m.msg_id].slots.pop_back();
    EXPECT_EQ(difference_from_catalogue(m.msg_id, described),
              "srv6_class_item has 3 slots here, and 2 in the capture");
    add(described, m);
    described[m.msg_id].slots[1].width = 8;
    EXPECT_EQ(
        difference_from_catalogue(m.msg_id, described),
        "srv6_class_item.f1 is of another type in the capture (shape 0, width 8, count 0; here "
        "shape 0, width 4, count 0)");
    EXPECT_EQ(difference_from_catalogue(12345, described), "");
    EXPECT_EQ(difference_from_catalogue(m.msg_id, {}), "");
}
