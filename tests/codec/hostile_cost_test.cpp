// What hostile bytes cost in memory: the figure for every message is what the worst buffer brings
// __unpack to allocate, and what the header says. That damaged buffers never bring it to more, the
// differential test sees.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "tests/codec/support/hostile.h"
#include "tests/codec/support/library.h"
#include "tests/codec/support/orders.h"
#include "tests/facts/counts.h"

namespace vorl::test {
namespace {

std::uint64_t allocated_for(const message &m, const bytes &buffer)
{
    const unpacked u(m, buffer.data(), length_of(buffer));
    EXPECT_TRUE(u.what().logs.empty());
    std::uint64_t sum = 0;
    for (const bytes &block : u.what().blocks)
        sum += block.size();
    return sum;
}

TEST(hostile_cost, messages_with_a_figure)
{
    std::size_t with_a_figure = 0;
    for (const message *m : all_messages())
        with_a_figure += hostile_bytes_per_word(*m) != 0;
    EXPECT_EQ(with_a_figure, counts::variable_size);
    const auto figure_of = [](const char *name) {
        return hostile_bytes_per_word(catalogue::find_message(name)->data);
    };
    EXPECT_EQ(figure_of("srv6_common_fwd_update"), 56u);
    EXPECT_EQ(figure_of("srv6_common_fwd_delete"), 4u);
    EXPECT_EQ(figure_of("srv6_sidstack_fwd_update"), 208u);
    EXPECT_EQ(figure_of("srv6_cfg_query_comm_param"), 4u);
    EXPECT_EQ(figure_of("srv6_cfg_query_trastat_rec"), 4u);
    EXPECT_EQ(figure_of("srv6_cfg_query_dfx_rec"), 16576u); // 16572 and 4
    EXPECT_EQ(figure_of("srv6_common_fwd"), 0u);
}

TEST(hostile_cost, of_the_worst_buffer)
{
    for_all_messages([](const message &m, order o) {
        // 4,000 bytes more of buffer are 1,000 times the figure more of memory.
        const bytes some = hostile_buffer(m, 1000, o);
        const bytes more = hostile_buffer(m, 2000, o);
        const std::uint64_t figure = hostile_bytes_per_word(m);
        EXPECT_EQ(allocated_for(m, more) - allocated_for(m, some), 1000 * figure);
        EXPECT_EQ(more.size() - some.size(), figure != 0 ? 4000u : 0u);
        EXPECT_LE(allocated_for(m, some), some.size() / 4 * figure);
    });
}

TEST(hostile_cost, in_the_headers)
{
    for (const catalogue::package_info *package : catalogue::packages) {
        const std::string name = package->name;
        std::ifstream file(std::string(VORL_DESCRIPTIONS) + "/" + name + "/" + name + ".h");
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        for (const catalogue::message_info &info : package->messages) {
            const message &m = info.data;
            SCOPED_TRACE(name_of(m));
            const std::size_t begin = text.find("\n/*\n * " + std::string(name_of(m)) + "\n");
            ASSERT_NE(begin, std::string::npos);
            const std::string own = text.substr(begin, text.find("*/", begin) - begin);
            const std::uint64_t figure = hostile_bytes_per_word(m);
            const std::string sentence = " * __unpack allocates at most " + std::to_string(figure) +
                                         " bytes for every 4 bytes of buf, whatever they hold.\n";
            if (figure == 0)
                EXPECT_EQ(own.find("allocates"), std::string::npos);
            else
                EXPECT_NE(own.find(sentence), std::string::npos) << own;
        }
    }
}

} // namespace
} // namespace vorl::test
