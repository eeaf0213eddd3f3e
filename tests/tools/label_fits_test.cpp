// Which forms fit which wire types.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "inspect/labels.h"
#include "tests/facts/counts.h"
#include "tests/support/samples.h"

using namespace vorl;
using namespace vorl::inspect;

namespace {

/// A wire type, and the forms that fit it.
struct wire_type {
    const char *type;
    vorl::slot slot;
    const char *forms;
};

vorl::slot scalar(std::uint8_t width)
{
    return {.shape = slot_shape::scalar, .width = width, .record_at = 0};
}
vorl::slot array(std::uint8_t width, std::uint32_t count)
{
    return {.shape = slot_shape::array, .width = width, .count = count, .record_at = 0};
}
vorl::slot tables(slot_shape shape, std::uint32_t count)
{
    return {.shape = shape,
            .count = count,
            .record_at = 0,
            .nested = &catalogue::find_message("srv6_common_fwd_key")->data};
}

/// docs/labels.md has the same as a table.
std::vector<wire_type> wire_types()
{
    return {
        {"uint8", scalar(1), "dec hex enum flags unit"},
        {"uint16", scalar(2), "dec hex enum flags unit"},
        {"uint32", scalar(4), "dec hex ipv4 prefix time enum flags unit"},
        {"uint64", scalar(8), "dec hex mac time enum flags unit"},
        {"array<uint32, 4>", array(4, 4), "dec hex ipv6 prefix sid"},
        {"array<uint32, 8>", array(4, 8), "dec hex"},
        {"array<uint8, 6>", array(1, 6), "hex mac"},
        {"array<uint8, 16>", array(1, 16), "hex ipv6 prefix sid"},
        {"array<uint8, 128>", array(1, 128), "hex"},
        {"vector<uint8>", {.shape = slot_shape::byte_vector, .width = 1, .record_at = 8}, "hex"},
        {"table srv6_common_fwd_key", tables(slot_shape::table, 0), ""},
        {"array<table srv6_common_fwd_key, 128>", tables(slot_shape::table_array, 128), ""},
        {"vector<table srv6_common_fwd_key>", tables(slot_shape::table_vector, 0), ""},
    };
}

} // namespace

TEST(label_fits, forms_fit_these_wire_types_and_no_others)
{
    ASSERT_EQ(all_forms().size(), 11u);
    for (const wire_type &w : wire_types()) {
        EXPECT_EQ(catalogue::type_text(w.slot), w.type);
        std::string fitting;
        for (const form_info &f : all_forms()) {
            if (fits(f.is, w.slot))
                fitting += (fitting.empty() ? "" : " ") + std::string(f.name);
        }
        EXPECT_EQ(fitting, w.forms) << w.type;
    }
}

// Every slot that there is, with every form: taken where the table above says so, refused otherwise.
TEST(label_fits, every_form_of_every_slot_of_every_message_is_taken_or_refused)
{
    std::size_t messages = 0;
    for (const auto &[info, fact] : test::all_messages()) {
        const catalogue::message_info &texts = catalogue::info_of(*info);
        ++messages;
        std::string scalar_slot;
        for (std::size_t i = 0; i < texts.slots.size(); ++i) {
            if (info->slots[i].shape == slot_shape::scalar)
                scalar_slot = texts.slots[i].name;
        }
        for (std::size_t i = 0; i < texts.slots.size(); ++i) {
            std::string forms;
            for (const wire_type &w : wire_types()) {
                if (kind_of(w.slot) == kind_of(info->slots[i]))
                    forms = " " + std::string(w.forms) + " ";
            }
            for (const form_info &f : all_forms()) {
                const std::string keys = f.is == form::sid ? ", locator = 48, function = 16"
                                         : f.is == form::prefix
                                             ? ", length = \"" + scalar_slot + "\""
                                         : f.is == form::time        ? ", unit = \"s\""
                                         : f.is == form::enumeration ? ", values = { 1 = \"one\" }"
                                         : f.is == form::flags       ? ", bits = { 0 = \"first\" }"
                                         : f.is == form::unit        ? ", unit = \"bits\""
                                                                     : "";
                const labels_file file = read_labels(
                    "version = 1\n[" + std::string(name_of(*info)) + "]\n" + texts.slots[i].name +
                    " = { form = \"" + f.name + "\"" + keys + "}");
                const bool is_taken =
                    forms.find(" " + std::string(f.name) + " ") != std::string::npos;
                EXPECT_EQ(file.problems.empty(), is_taken)
                    << name_of(*info) << " " << texts.slots[i].name << " " << f.name;
                EXPECT_EQ(file.right.label_of(*info, i) != nullptr, is_taken);
            }
        }
    }
    EXPECT_EQ(messages, test::counts::messages);
}
