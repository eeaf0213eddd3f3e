// The catalogue, which the descriptions were compiled into, against the facts.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "srv6.h"
#include "srv6_cfg.h"
#include "srv6_sync.h"
#include "tests/codec/support/facts.h"
#include "tests/codec/support/messages.h"
#include "tests/facts/counts.h"
#include "tests/support/fnv1a.h"

namespace vorl::test {
namespace {

std::string type_of(const vorl::slot &slot)
{
    const std::string element = slot.nested != nullptr ? name_of(*slot.nested) : "";
    const std::string integer = "uint" + std::to_string(8 * slot.width);
    const std::string count = std::to_string(slot.count);
    switch (slot.shape) {
    case slot_shape::scalar: return integer;
    case slot_shape::array: return "array<" + integer + "," + count + ">";
    case slot_shape::table_array: return "array<table:" + element + "," + count + ">";
    case slot_shape::byte_vector: return "vector<" + integer + ">";
    case slot_shape::table_vector: return "vector<table:" + element + ">";
    case slot_shape::table: return "table:" + element;
    }
    return {};
}

TEST(facts, are_of_the_messages_that_are_described)
{
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages) {
            if (find_fact(name_of(info.data)) == nullptr)
                ADD_FAILURE() << name_of(info.data)
                              << " is in the descriptions but not in tests/facts/messages.inc; "
                                 "run ./dev regen";
        }
    }
    std::set<std::string> seen;
    for (const fact &f : facts()) {
        if (catalogue::find_message(f.message) == nullptr)
            ADD_FAILURE() << f.message
                          << " is in tests/facts/messages.inc but not in the descriptions; "
                             "describe it in idl, or remove its facts";
        if (!seen.insert(f.message).second)
            ADD_FAILURE() << f.message
                          << " is twice in tests/facts/messages.inc; remove one of the two";
    }
}

void expect_count(std::size_t stated, std::size_t found, const std::string &what)
{
    if (stated != found)
        ADD_FAILURE() << "tests/facts/messages.inc has " << stated << " messages " << what
                      << ", the catalogue has " << found;
}

TEST(facts, counts)
{
    ASSERT_EQ(std::size(catalogue::packages), counts::packages.size());
    std::size_t fixed_size = 0;
    std::size_t fixed_size_with_tables = 0;
    std::size_t variable_size_but_no_batch = 0;
    for (std::size_t i = 0; i < counts::packages.size(); ++i) {
        const catalogue::package_info &package = *catalogue::packages[i];
        EXPECT_EQ(package.name, counts::packages[i].name);
        expect_count(counts::packages[i].messages, package.messages.size(),
                     std::string("in ") + package.name);
        for (const catalogue::message_info &info : package.messages) {
            const message &m = info.data;
            const slot_list &slots = m.slots;
            const bool has_table =
                std::any_of(slots.begin(), slots.end(),
                            [](const vorl::slot &slot) { return slot.nested != nullptr; });
            const bool is_batch = slots.size == 2 && slots[0].width == 4 &&
                                  slots[1].shape == slot_shape::table_vector;
            fixed_size += is_fixed_size(m);
            fixed_size_with_tables += is_fixed_size(m) && has_table;
            variable_size_but_no_batch += !is_fixed_size(m) && !is_batch;
        }
    }
    expect_count(counts::fixed_size, fixed_size, "of fixed size");
    expect_count(counts::fixed_size_with_tables, fixed_size_with_tables,
                 "of fixed size that hold a table");
    expect_count(counts::variable_size_but_no_batch, variable_size_but_no_batch,
                 "of variable size that are no batch");
}

// Of the messages that are in both.
TEST(facts, every_message_in_registration_order)
{
    std::size_t i = 0;
    for (const fact &f : facts()) {
        if (catalogue::find_message(f.message) == nullptr)
            continue;
        ASSERT_LT(i, all_messages().size());
        const message &m = *all_messages()[i++];
        ASSERT_EQ(name_of(m), f.message) << "tests/facts/messages.inc has another order than the "
                                            "descriptions; they have the first of these here";
        SCOPED_TRACE(f.message);
        EXPECT_EQ(m.msg_id, f.msg_id);
        EXPECT_EQ(m.record_size, f.record_size);
        EXPECT_EQ(catalogue::frame_length(m), f.frame_length);
        EXPECT_EQ(catalogue::frame_table_length(m), f.table_length);
        ASSERT_EQ(m.slots.size, f.slots.size());
        for (std::size_t s = 0; s < f.slots.size(); ++s) {
            EXPECT_EQ(catalogue::info_of(m).slots[s].name, "f" + std::to_string(s));
            EXPECT_EQ(type_of(m.slots[s]), f.slots[s].type);
            EXPECT_EQ(catalogue::frame_offset(m, s), f.slots[s].frame_offset) << "slot " << s;
        }
    }
    EXPECT_EQ(i, all_messages().size());
}

TEST(facts, identifiers_are_hashes_of_the_names)
{
    EXPECT_EQ(fnv1a("srv6.vrf_class_data"), 0xAEF44FB0u);
    EXPECT_EQ(fnv1a("srv6_cfg.query_dfx_rec"), 0x301BC2B7u);
    EXPECT_EQ(fnv1a("srv6_sync.bsid_fwd"), 0xCD35A130u);
    std::set<std::uint32_t> distinct;
    for (const message *m : all_messages()) {
        const std::string package = catalogue::package_of(*m).name;
        const std::string name = name_of(*m);
        ASSERT_EQ(name.substr(0, package.size() + 1), package + "_");
        EXPECT_EQ(m->msg_id, fnv1a(package + "." + name.substr(package.size() + 1))) << name;
        distinct.insert(m->msg_id);
    }
    EXPECT_EQ(distinct.size(), all_messages().size());
}

// Members in slot order, each at its natural alignment, a vector as its count and then its pointer.
TEST(facts, members_stand_in_slot_order_at_their_natural_alignment)
{
    const auto alignment = [](const message &m, auto &&self) -> std::size_t {
        std::size_t most = 1;
        for (const vorl::slot &slot : m.slots) {
            const std::size_t own = slot.is_vector()         ? 8
                                    : slot.nested != nullptr ? self(*slot.nested, self)
                                                             : slot.width;
            most = std::max(most, own);
        }
        return most;
    };
    for (const message *m : all_messages()) {
        std::size_t at = 0;
        const auto place = [&at](std::size_t size, std::size_t aligned) {
            at = (at + aligned - 1) / aligned * aligned;
            const std::size_t begin = at;
            at += size;
            return begin;
        };
        for (const vorl::slot &slot : m->slots) {
            SCOPED_TRACE(name_of(*m));
            const std::size_t count = slot.count == 0 ? 1 : slot.count;
            const std::size_t width = slot.width;
            if (slot.is_vector()) {
                EXPECT_EQ(slot.count_at, place(4, 4));
                EXPECT_EQ(slot.record_at, place(8, 8));
            } else if (slot.nested != nullptr) {
                EXPECT_EQ(slot.record_at, place(count * slot.nested->record_size,
                                                alignment(*slot.nested, alignment)));
            } else {
                EXPECT_EQ(slot.record_at, place(count * width, width));
            }
        }
        const std::size_t a = alignment(*m, alignment);
        EXPECT_EQ(m->record_size, (at + a - 1) / a * a) << name_of(*m);
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
