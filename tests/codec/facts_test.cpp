// The catalogue, which the descriptions were compiled into, against the facts written by hand.
#include <gtest/gtest.h>

#include <set>

#include "srv6.h"
#include "srv6_cfg.h"
#include "srv6_sync.h"
#include "tests/codec/support/facts.h"
#include "tests/codec/support/messages.h"

namespace vorl::test {
namespace {

std::uint32_t fnv_1a(const std::string &text)
{
    std::uint32_t hash = 0x811C9DC5;
    for (const char c : text) {
        hash ^= static_cast<std::uint8_t>(c);
        hash *= 0x01000193;
    }
    return hash;
}

std::string type_of(const slot_info &slot)
{
    const std::string element = slot.element != nullptr ? slot.element->name : "";
    const std::string count = std::to_string(slot.count);
    switch (slot.type) {
    case wire_type::uint8: return "uint8";
    case wire_type::uint16: return "uint16";
    case wire_type::uint32: return "uint32";
    case wire_type::uint64: return "uint64";
    case wire_type::array_uint8: return "array<uint8," + count + ">";
    case wire_type::array_uint32: return "array<uint32," + count + ">";
    case wire_type::array_table: return "array<table:" + element + "," + count + ">";
    case wire_type::vector_uint8: return "vector<uint8>";
    case wire_type::vector_table: return "vector<table:" + element + ">";
    case wire_type::table: return "table:" + element;
    }
    return {};
}

TEST(facts, packages_and_counts)
{
    ASSERT_EQ(std::size(catalogue::packages), 3u);
    EXPECT_STREQ(catalogue::packages[0]->name, "srv6");
    EXPECT_STREQ(catalogue::packages[1]->name, "srv6_cfg");
    EXPECT_STREQ(catalogue::packages[2]->name, "srv6_sync");
    EXPECT_EQ(catalogue::packages[0]->messages.size(), 70u);
    EXPECT_EQ(catalogue::packages[1]->messages.size(), 13u);
    EXPECT_EQ(catalogue::packages[2]->messages.size(), 32u);
    EXPECT_EQ(facts().size(), 115u);
    EXPECT_EQ(all_messages().size(), 115u);
    EXPECT_EQ(fixed_messages().size(), 78u);
}

TEST(facts, every_message_in_registration_order)
{
    ASSERT_EQ(facts().size(), all_messages().size());
    for (std::size_t i = 0; i < facts().size(); ++i) {
        const fact &f = facts()[i];
        const message_info &m = *all_messages()[i];
        SCOPED_TRACE(f.message);
        EXPECT_EQ(m.name, f.message);
        EXPECT_EQ(m.msg_id, f.msg_id);
        EXPECT_EQ(m.record_size, f.record_size);
        EXPECT_EQ(m.frame_length, f.frame_length);
        EXPECT_EQ(m.table_length, f.table_length);
        ASSERT_EQ(m.slots.size(), f.slots.size());
        for (std::size_t s = 0; s < f.slots.size(); ++s) {
            EXPECT_EQ(m.slots[s].name, "f" + std::to_string(s));
            EXPECT_EQ(type_of(m.slots[s]), f.slots[s].type);
            EXPECT_EQ(m.slots[s].frame_offset, f.slots[s].frame_offset) << "slot " << s;
        }
    }
}

TEST(facts, identifiers_are_hashes_of_the_names)
{
    EXPECT_EQ(fnv_1a("srv6.vrf_class_data"), 0xAEF44FB0u);
    EXPECT_EQ(fnv_1a("srv6_cfg.query_dfx_rec"), 0x301BC2B7u);
    EXPECT_EQ(fnv_1a("srv6_sync.bsid_fwd"), 0xCD35A130u);
    std::set<std::uint32_t> distinct;
    for (const message_info *m : all_messages()) {
        const std::string package = m->package;
        const std::string name = m->name;
        ASSERT_EQ(name.substr(0, package.size() + 1), package + "_");
        EXPECT_EQ(m->msg_id, fnv_1a(package + "." + name.substr(package.size() + 1))) << name;
        distinct.insert(m->msg_id);
    }
    EXPECT_EQ(distinct.size(), 115u);
}

// Members in slot order, each at its natural alignment, a vector as its count and then its pointer.
TEST(facts, members_stand_in_slot_order_at_their_natural_alignment)
{
    const auto alignment = [](const message_info &m, auto &&self) -> std::size_t {
        std::size_t most = 1;
        for (const slot_info &slot : m.slots) {
            const bool is_vector =
                slot.type == wire_type::vector_uint8 || slot.type == wire_type::vector_table;
            most = std::max(most, is_vector                 ? 8
                                  : slot.element != nullptr ? self(*slot.element, self)
                                                            : reference::width_of(slot.type));
        }
        return most;
    };
    for (const message_info *m : all_messages()) {
        std::size_t at = 0;
        const auto place = [&at](std::size_t size, std::size_t aligned) {
            at = (at + aligned - 1) / aligned * aligned;
            const std::size_t begin = at;
            at += size;
            return begin;
        };
        for (const slot_info &slot : m->slots) {
            SCOPED_TRACE(std::string(m->name) + " " + slot.name);
            const std::size_t count = slot.count == 0 ? 1 : slot.count;
            const std::size_t width = reference::width_of(slot.type);
            if (slot.type == wire_type::vector_uint8 || slot.type == wire_type::vector_table) {
                EXPECT_EQ(slot.count_offset, place(4, 4));
                EXPECT_EQ(slot.record_offset, place(8, 8));
            } else if (slot.element != nullptr) {
                EXPECT_EQ(slot.record_offset, place(count * slot.element->record_size,
                                                    alignment(*slot.element, alignment)));
            } else {
                EXPECT_EQ(slot.record_offset, place(count * width, width));
            }
        }
        const std::size_t a = alignment(*m, alignment);
        EXPECT_EQ(m->record_size, (at + a - 1) / a * a) << m->name;
    }
}

// Places that are stated for single records.
TEST(facts, members_that_have_stated_places)
{
    EXPECT_EQ(offsetof(srv6_vrf_class_data_chg, f1), 4u);
    EXPECT_EQ(offsetof(srv6_common_fwd_update, f1_count), 4u);
    EXPECT_EQ(offsetof(srv6_common_fwd_update, f1), 8u);
    EXPECT_EQ(offsetof(srv6_cfg_query_trastat_key, f0), 0u);
    EXPECT_EQ(offsetof(srv6_cfg_query_trastat_key, f1), 24u);
    EXPECT_EQ(offsetof(srv6_cfg_query_trastat_rec, f1), 24u);
    EXPECT_EQ(offsetof(srv6_cfg_query_dfx_key, f1), 24u);
    EXPECT_EQ(offsetof(srv6_cfg_query_dfx_rec, f1_count), 24u);
    EXPECT_EQ(offsetof(srv6_cfg_query_dfx_rec, f1), 32u);
    EXPECT_EQ(offsetof(srv6_cfg_query_dfx_item, f1), 32u);
    EXPECT_EQ(offsetof(srv6_cfg_query_dfx_item, f2), 36u);
    EXPECT_EQ(offsetof(srv6_cfg_query_dfx_item, f3), 16420u);
    EXPECT_EQ(offsetof(srv6_cfg_query_dfx_item, f4), 16548u);
    EXPECT_EQ(sizeof(srv6_cfg_query_dfx_item), 16572u);
    EXPECT_EQ(sizeof(srv6_cfg_query_trastat_item), 72u);
    EXPECT_EQ(sizeof(srv6_cfg_query_trastat_rec), 9240u);
    EXPECT_EQ(sizeof(srv6_sync_sidstack_fwd), 240u);
    EXPECT_EQ(sizeof(srv6_sidstack_fwd), 208u);
}

} // namespace
} // namespace vorl::test
