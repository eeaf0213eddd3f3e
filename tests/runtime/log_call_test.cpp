// The log call, argument by argument, for every site of every message.
#include "tests/runtime/blocks.h"

#include <map>

#include "tests/facts/counts.h"
#include "tests/support/faulty_buffers.h"
#include "tests/support/samples.h"

namespace vorl::test {
namespace {

class log_call_shape : public unbound_library {
  protected:
    /// Expects one line since the last call of this, and notes its site.
    void expect_line(const known_message &m, bool of_send_side, std::uint32_t kind,
                     std::uint32_t number, const std::string &function, const std::string &text)
    {
        SCOPED_TRACE(function);
        ASSERT_EQ(the_platform().logs.size(), 1u);
        const log_call line = the_platform().logs[0];
        the_platform().forget_calls();
        const serial_ctx &block =
            of_send_side ? send_block(m.fact->package()) : receive_block(m.fact->package());
        EXPECT_EQ(line.ctx, &block);
        const auto *names_of_block = static_cast<const char *const *>(line.ctx);
        EXPECT_STREQ(names_of_block[0], "ZELKO");
        EXPECT_STREQ(names_of_block[1], "ZELKO_VANTREL_SERIAL");
        EXPECT_EQ(line.level, 2u);
        EXPECT_EQ(line.kind, kind);
        EXPECT_EQ(line.empty, "");
        EXPECT_EQ(line.line, number);
        EXPECT_EQ(line.function, function);
        EXPECT_EQ(line.text, text);

        // One number a site, the same at every call of it; no two sites of a message share one.
        const std::string message = function.substr(0, message_name_length(function));
        const std::string site = function + ": " + line.format;
        const auto [known_line, is_new_site] = line_of_.emplace(site, line.line);
        EXPECT_EQ(known_line->second, line.line) << site;
        const auto [known_site, is_new_line] =
            site_of_.emplace(std::pair(message, line.line), site);
        EXPECT_EQ(known_site->second, site);
    }

    void unpack(const known_message &m, const std::vector<std::uint8_t> &bytes)
    {
        std::vector<std::uint8_t> out(m.fact->record_size, 0x5A);
        EXPECT_EQ(functions_of(*m.info).unpack(bytes.data(),
                                               static_cast<std::int32_t>(bytes.size()), out.data()),
                  m.fact->record_size);
        EXPECT_EQ(the_platform().live_blocks, 0u);
    }

    std::map<std::string, std::uint32_t> line_of_;
    std::map<std::pair<std::string, std::uint32_t>, std::string> site_of_;

  private:
    static std::size_t message_name_length(const std::string &function)
    {
        for (const char *suffix : {"_unpack_non_root", "_unpack", "_pack"}) {
            if (function.ends_with(suffix))
                return function.size() - std::string(suffix).size();
        }
        return function.size();
    }
};

TEST_F(log_call_shape, of_every_site_of_every_message)
{
    constexpr std::uint32_t usual = 22;
    constexpr std::uint32_t no_memory = 12;
    // Every site twice.
    for (int round = 0; round < 2; ++round) {
        for (const known_message &m : all_messages()) {
            SCOPED_TRACE(name_of(*m.info));
            const std::string name = name_of(*m.info);
            sample in(*m.info);
            bool is_flat = true;

            std::uint32_t length = 70000;
            functions_of(*m.info).pack(in.record(), nullptr, &length);
            expect_line(m, true, usual, 1, name + "_pack",
                        "[ZELKO]:Param invalid(null, 70000, nonNull)");
            functions_of(*m.info).unpack(&length, -7, nullptr);
            expect_line(m, false, usual, 2, name + "_unpack",
                        "[ZELKO]:Param invalid(nonNull, -7, null)");

            for (std::uint32_t i = 0; i < m.info->slots.size; ++i) {
                const vorl::slot &slot = m.info->slots[i];
                is_flat = is_flat && slot.nested == nullptr && !slot.is_vector();
                if (slot.nested == nullptr)
                    continue;
                for (const fault kind : every_fault) {
                    const faulty_buffer buffer = faulty_nested(slot, i, kind);
                    unpack(m, buffer.bytes);
                    expect_line(m, false, usual, 20 + static_cast<std::uint32_t>(kind),
                                std::string(name_of(*slot.nested)) + "_unpack_non_root",
                                buffer.text);
                }
            }
            for (const fault kind : every_fault) {
                const faulty_buffer buffer = faulty_root(kind);
                unpack(m, buffer.bytes);
                expect_line(m, false, usual, (is_flat ? 20 : 10) + static_cast<std::uint32_t>(kind),
                            name + (is_flat ? "_unpack_non_root" : "_unpack"), buffer.text);
            }

            // Each vector in turn finds no memory: the nested ones first, in slot order.
            const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
            std::uint32_t vectors = 0;
            each_vector(*m.info, in.record(), [&](const vorl::slot &slot, void *record) {
                ++vectors;
                const bool nested = &slot < m.info->slots.begin() || &slot >= m.info->slots.end();
                const message &holder = nested ? *m.info->slots[0].nested : *m.info;
                const auto index = static_cast<std::uint32_t>(&slot - holder.slots.begin());
                std::string function = name + "_unpack";
                if (nested)
                    function = std::string(name_of(holder)) + "_unpack_non_root";
                std::uint32_t size = count_of(record, slot);
                if (slot.nested != nullptr)
                    size *= fact_of(name_of(*slot.nested)).record_size;
                const std::string blanks =
                    name == "srv6_cfg_query_dfx_rec" && !nested ? std::string(16, ' ') : " ";
                the_platform().fail_allocation_at = vectors;
                unpack(m, bytes);
                expect_line(m, false, no_memory, (nested ? 2000 : 1000) + index, function,
                            "[ZELKO]:Malloc unpack data unsuccess," + blanks + "size(" +
                                std::to_string(size) + ")");
            });
            const bool has_two = name == "srv6_cfg_query_dfx_rec";
            EXPECT_EQ(vectors, m.fact->is_fixed_size() ? 0u : has_two ? 2u : 1u);
        }
    }
    // Two argument checks and three of the root each; three more where a message that checks its
    // own root is nested too (comm_param, comm_rec, trastat_rec_info); an allocation site a
    // variable-size message that holds a vector itself (the batches, comm_param, comm_rec,
    // dfx_rec), and one where comm_param and comm_rec are nested.
    constexpr std::size_t sites = counts::messages * 5 + 3 * 3 + counts::batches + 3 + 2;
    EXPECT_EQ(line_of_.size(), sites);
    EXPECT_EQ(site_of_.size(), sites);
}

TEST_F(log_call_shape, of_a_failed_allocation_binds_the_log_after_the_cache)
{
    const message *m = &catalogue::find_message("srv6_common_fwd_update")->data;
    ASSERT_NE(m, nullptr);
    sample in(*m);
    const std::vector<std::uint8_t> bytes = packed(*m, in.record());
    forget_bindings();
    reset_platform();
    the_platform().fail_allocation_at = 1;
    std::vector<std::uint8_t> out(16);
    functions_of(*m).unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()), out.data());
    names expected = binding_b;
    expected.insert(expected.end(), binding_a.begin(), binding_a.end());
    EXPECT_EQ(the_platform().lookups, expected);
    EXPECT_EQ(the_platform().logs.size(), 1u);
}

} // namespace
} // namespace vorl::test
