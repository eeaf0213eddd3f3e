// How the packages introduce themselves to the bus.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/api/exported.h"
#include "tests/facts/counts.h"
#include "tests/support/facts.h"
#include "tests/support/fnv1a.h"
#include "tests/support/platform.h"

namespace vorl::test {
namespace {

using init = std::uint32_t (*)();

struct package_facts {
    std::string name;
    std::size_t count;
    std::vector<const message_fact *> facts; ///< in order of registration

    friend std::ostream &operator<<(std::ostream &out, const package_facts &package)
    {
        return out << package.name;
    }
};

std::vector<package_facts> all_packages()
{
    std::vector<package_facts> all;
    for (const auto &[name, messages] : counts::packages) {
        all.push_back({std::string(name), messages, {}});
        for (const message_fact &fact : message_facts) {
            if (counts::packages[fact.package()].name == name)
                all.back().facts.push_back(&fact);
        }
    }
    return all;
}

class registration_of : public testing::TestWithParam<package_facts> {
  protected:
    void SetUp() override { reset_platform(); }

    /// The first `count` calls are those of the package, in its order.
    void expect_registered(std::size_t count)
    {
        const auto &calls = the_platform().registrations;
        ASSERT_EQ(calls.size(), count);
        ASSERT_LE(count, GetParam().facts.size()) << "tests/facts/messages.inc lacks some";
        for (std::size_t i = 0; i < count; ++i) {
            const message_fact &fact = *GetParam().facts[i];
            const std::string name(fact.name);
            EXPECT_EQ(calls[i].msg_id, fact.msg_id) << name;
            EXPECT_EQ(calls[i].unpack, exported<unpack_hook>(name + "__unpack"));
            EXPECT_EQ(calls[i].release, exported<free_hook>(name + "_free__unpacked"));
        }
        EXPECT_TRUE(the_platform().clean_registrations.empty());
        EXPECT_TRUE(the_platform().logs.empty());
        EXPECT_TRUE(the_platform().memory.empty());
    }
};

TEST_P(registration_of, receiving_registers_every_message_in_order)
{
    const auto recv_init = exported<init>(GetParam().name + "_recv_init");
    ASSERT_NE(recv_init, nullptr);
    EXPECT_EQ(recv_init(), 0u);
    expect_registered(GetParam().count);
    // A second call registers again.
    EXPECT_EQ(recv_init(), 0u);
    EXPECT_EQ(the_platform().registrations.size(), 2 * GetParam().count);
}

TEST_P(registration_of, receiving_stops_at_the_first_refusal_wherever_it_is)
{
    const auto recv_init = exported<init>(GetParam().name + "_recv_init");
    ASSERT_NE(recv_init, nullptr);
    for (std::uint32_t refused = 1; refused <= GetParam().count; ++refused) {
        for (const std::uint32_t code : {1u, 7u, 0x80000000u, 0xFFFFFFFFu}) {
            reset_platform();
            the_platform().refuse_registration_at = refused;
            the_platform().registration_refusal = code;
            EXPECT_EQ(recv_init(), code);
            expect_registered(refused);
        }
    }
}

TEST_P(registration_of, sending_registers_the_clean_function)
{
    const auto send_init = exported<init>(GetParam().name + "_send_init");
    const auto clean = exported<resource_clean_hook>(GetParam().name + "__send_resource_clean");
    ASSERT_NE(send_init, nullptr);
    for (const std::uint32_t result : {0u, 1u, 0x80000000u, 0xFFFFFFFFu}) {
        reset_platform();
        the_platform().bus_result = result;
        EXPECT_EQ(send_init(), result);
        EXPECT_EQ(the_platform().clean_registrations, std::vector{clean});
        EXPECT_TRUE(the_platform().registrations.empty());
    }
}

TEST_P(registration_of, cleaning_does_nothing)
{
    const auto clean = exported<resource_clean_hook>(GetParam().name + "__send_resource_clean");
    ASSERT_NE(clean, nullptr);
    clean();
    EXPECT_TRUE(the_platform().registrations.empty());
    EXPECT_TRUE(the_platform().clean_registrations.empty());
    EXPECT_TRUE(the_platform().sends.empty());
    EXPECT_TRUE(the_platform().memory.empty());
    EXPECT_TRUE(the_platform().logs.empty());
}

INSTANTIATE_TEST_SUITE_P(package, registration_of, testing::ValuesIn(all_packages()),
                         [](const auto &package) { return package.param.name; });

TEST(message_identifiers, are_the_hashes_of_package_and_name)
{
    EXPECT_EQ(fnv1a("srv6.vrf_class_data"), 0xAEF44FB0u);
    EXPECT_EQ(fnv1a("srv6_cfg.query_dfx_rec"), 0x301BC2B7u);
    EXPECT_EQ(fnv1a("srv6_sync.bsid_fwd"), 0xCD35A130u);
    for (const package_facts &package : all_packages()) {
        for (const message_fact *fact : package.facts) {
            const std::string text =
                package.name + "." + std::string(fact->name.substr(package.name.size() + 1));
            EXPECT_EQ(fnv1a(text), fact->msg_id) << text;
        }
    }
}

} // namespace
} // namespace vorl::test
