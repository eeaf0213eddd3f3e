// The bus refuses a message: those registered before it work, the other packages know nothing of
// it, and the package can be registered again. The codes, and that nothing follows a refusal, are
// in api/registration_test.cpp.
#include "tests/faults/worlds.h"

namespace vorl::test {
namespace {

TEST(registration_faults, at_every_position_leave_what_came_before)
{
    std::uint64_t injected = 0;
    const std::vector<known_message> all = all_messages();
    for (std::size_t first = 0, package = 0; package < 3; ++package) {
        const catalogue::package_info &refused_package = *catalogue::packages[package];
        SCOPED_TRACE(refused_package.name);
        const std::size_t count = counts::packages[package].messages;
        for (std::uint32_t refused = 1; refused <= count; ++refused) {
            enter({});
            the_platform().refuse_registration_at = refused;
            EXPECT_EQ(functions_of(refused_package).recv_init(), 7u);
            ++injected;
            const std::vector<registration_call> hooks = the_platform().registrations;
            ASSERT_EQ(hooks.size(), refused);
            for (std::size_t i = 0; i + 1 < refused; ++i) {
                const known_message &m = all[first + i];
                EXPECT_EQ(hooks[i].msg_id, m.fact->msg_id);
                sample in(*m.info, 1, 1);
                const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
                std::vector<std::uint8_t> out(m.fact->record_size);
                EXPECT_EQ(hooks[i].unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()),
                                          out.data()),
                          m.fact->record_size);
                EXPECT_TRUE(same_record(*m.info, in.record(), out.data()));
                hooks[i].release(out.data());
            }
            EXPECT_EQ(live_blocks(), 0u);
            EXPECT_TRUE(the_platform().logs.empty());

            reset_platform();
            for (const catalogue::package_info *next : catalogue::packages) {
                EXPECT_EQ(functions_of(*next).recv_init(), 0u);
                EXPECT_EQ(functions_of(*next).send_init(), 0u);
            }
            ASSERT_EQ(the_platform().registrations.size(), counts::messages);
            for (std::size_t i = 0; i < counts::messages; ++i)
                EXPECT_EQ(the_platform().registrations[i].msg_id, all[i].fact->msg_id);
            EXPECT_EQ(the_platform().clean_registrations.size(), 3u);
        }
        first += count;
    }
    expect_injected(injected, counts::messages); // 70 + 13 + 32
}

TEST(registration_faults, of_a_sender_leave_its_sends_alone)
{
    std::uint64_t injected = 0;
    for (const catalogue::package_info *package : catalogue::packages) {
        enter({});
        the_platform().bus_result = 9;
        EXPECT_EQ(functions_of(*package).send_init(), 9u);
        ++injected;
        the_platform().bus_result = 0;
        for (const known_message &m : all_messages()) {
            sample in(*m.info, 1, 1);
            EXPECT_EQ(functions_of(*m.info).sendmsg(1, in.record(), 1), 0u);
        }
        EXPECT_EQ(the_platform().sends.size(), counts::messages);
        EXPECT_EQ(the_platform().clean_registrations.size(), 1u);
        EXPECT_EQ(live_blocks(), 0u);
    }
    expect_injected(injected, 3);
}

} // namespace
} // namespace vorl::test
