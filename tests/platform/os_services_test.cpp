// The development OS layer's ledger and log, called as the library calls them.

#include <csignal>
#include <cstring>
#include <set>

#include <sys/wait.h>

#include "platform/os/dev_os.h"
#include "platform/os/services.h"
#include "tests/platform/processes.h"

namespace vorl::test {
namespace {

class os_services : public bus_test {
  protected:
    static vorl_dev_os_counters counters()
    {
        vorl_dev_os_counters now;
        VORL_DevOsCounters(&now);
        return now;
    }
};

/// What `work` says on standard error in a process of its own that ends by exit().
std::vector<std::string> said_in_child(const std::function<void()> &work, int *status = nullptr)
{
    captured_stderr output;
    child process([&] {
        work();
        std::exit(::testing::Test::HasFailure() ? 1 : 0);
    });
    const int ended = process.wait_status();
    if (status != nullptr)
        *status = ended;
    else
        EXPECT_EQ(ended, 0);
    return output.lines();
}

constexpr std::uint32_t module_id = 0x6200;

TEST_F(os_services, blocks_that_come_back_right_are_silent)
{
    EXPECT_TRUE(said_in_child([] {
                    void *main = ZDT_OsalMemAlloc(100, module_id, "a__sendbatch");
                    void *root = ZDT_OsalMemCacheAlloc(32, 12, "a_unpack");
                    void *nested = ZDT_OsalMemCacheAlloc(0, 12, "a_unpack_non_root");
                    ASSERT_NE(main, nullptr);
                    ASSERT_NE(root, nullptr);
                    ASSERT_NE(nested, nullptr);
                    EXPECT_EQ(static_cast<unsigned char *>(main)[99], 0xA5);
                    EXPECT_EQ(counters().live_blocks, 3U);
                    EXPECT_EQ(counters().live_bytes, 132U);
                    ZDT_OsalMemFree(main, module_id, "a__sendbatch");
                    ZDT_OsalMemFree(root, 12, "a_free_unpacked");
                    ZDT_OsalMemFree(nested, 12, "a_free_unpacked");
                    EXPECT_EQ(counters().main_allocations, 1U);
                    EXPECT_EQ(counters().cache_allocations, 2U);
                    EXPECT_EQ(counters().releases, 3U);
                    EXPECT_EQ(counters().live_blocks, 0U);
                    EXPECT_EQ(counters().live_bytes, 0U);
                    EXPECT_EQ(counters().violations, 0U);
                }).empty());
}

TEST_F(os_services, leaks_are_listed_by_tag_at_exit)
{
    const auto lines = said_in_child([] {
        ZDT_OsalMemAlloc(100, module_id, "a__sendbatch");
        ZDT_OsalMemCacheAlloc(32, 12, "b_unpack");
        ZDT_OsalMemCacheAlloc(10, 12, "b_unpack");
        // A child of this process has copies, and owes nothing.
        EXPECT_TRUE(in_child([] { std::exit(0); }));
    });
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "vorl-os: leak: 100 bytes in 1 blocks of a__sendbatch");
    EXPECT_EQ(lines[1], "vorl-os: leak: 42 bytes in 2 blocks of b_unpack");
}

TEST_F(os_services, each_breach_is_one_line_and_counted)
{
    int other = 0;
    const struct {
        const char *text; ///< what the line ends with
        std::function<void()> commit;
    } breaches[] = {
        {" by a_free_unpacked",
         [] {
             void *block = ZDT_OsalMemCacheAlloc(8, 12, "a_unpack");
             ZDT_OsalMemFree(block, 12, "a_free_unpacked");
             ZDT_OsalMemFree(block, 12, "a_free_unpacked");
         }},
        {" by a_free_unpacked", [&] { ZDT_OsalMemFree(&other, 12, "a_free_unpacked"); }},
        {" by a_free_unpacked", [&] { ZDT_OsalMemFree(nullptr, 12, "a_free_unpacked"); }},
        {"block of a__sendbatch, taken with identifier 25088, released with 12 by a__sendbatch",
         [] {
             ZDT_OsalMemFree(ZDT_OsalMemAlloc(8, module_id, "a__sendbatch"), 12, "a__sendbatch");
         }},
        {"block of a__sendbatch released by a__sendsingle",
         [] {
             ZDT_OsalMemFree(ZDT_OsalMemAlloc(8, module_id, "a__sendbatch"), module_id,
                             "a__sendsingle");
         }},
        {"block of a_unpack released by b_free_unpacked",
         [] { ZDT_OsalMemFree(ZDT_OsalMemCacheAlloc(8, 12, "a_unpack"), 12, "b_free_unpacked"); }},
        {"block of a_unpack_non_root released by a_unpack_free_unpacked",
         [] {
             ZDT_OsalMemFree(ZDT_OsalMemCacheAlloc(8, 12, "a_unpack_non_root"), 12,
                             "a_unpack_free_unpacked");
         }},
        {"block of a_unpack released by a_unpack",
         [] { ZDT_OsalMemFree(ZDT_OsalMemCacheAlloc(8, 12, "a_unpack"), 12, "a_unpack"); }},
        {"cache block asked for with identifier 13, not 12, by a_unpack",
         [] { ZDT_OsalMemFree(ZDT_OsalMemCacheAlloc(8, 13, "a_unpack"), 13, "a_free_unpacked"); }},
    };
    for (const auto &breach : breaches) {
        const auto lines = said_in_child([&] {
            breach.commit();
            EXPECT_EQ(counters().violations, 1U);
            EXPECT_EQ(counters().live_blocks, 0U);
        });
        ASSERT_EQ(lines.size(), 1U) << breach.text;
        EXPECT_EQ(lines[0].find("vorl-os: "), 0U) << lines[0];
        EXPECT_TRUE(lines[0].ends_with(breach.text)) << lines[0];
    }
}

TEST_F(os_services, released_twice_and_not_ours_are_told_apart)
{
    const auto lines = said_in_child([] {
        int other = 0;
        void *block = ZDT_OsalMemAlloc(8, module_id, "a");
        ZDT_OsalMemFree(block, module_id, "a");
        ZDT_OsalMemFree(block, module_id, "a");
        ZDT_OsalMemFree(&other, module_id, "a");
    });
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].find("vorl-os: block released twice: "), 0U);
    EXPECT_EQ(lines[1].find("vorl-os: block released that is not ours: "), 0U);
}

TEST_F(os_services, a_breach_aborts_where_the_environment_says_so)
{
    int status = 0;
    const auto lines = said_in_child(
        [] {
            setenv("VORL_OS_ABORT", "1", 1);
            ZDT_OsalMemFree(nullptr, 12, "a_free_unpacked");
        },
        &status);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
    EXPECT_GE(lines.size(), 1U);
}

TEST_F(os_services, the_allocation_that_the_environment_names_fails)
{
    EXPECT_TRUE(said_in_child([] {
                    setenv("VORL_OS_FAIL_ALLOC", "2", 1);
                    void *first = ZDT_OsalMemAlloc(8, module_id, "a");
                    EXPECT_NE(first, nullptr);
                    EXPECT_EQ(ZDT_OsalMemCacheAlloc(8, 12, "a_unpack"), nullptr);
                    void *third = ZDT_OsalMemCacheAlloc(8, 12, "a_unpack");
                    EXPECT_NE(third, nullptr);
                    EXPECT_EQ(counters().failures, 1U);
                    ZDT_OsalMemFree(first, module_id, "a");
                    ZDT_OsalMemFree(third, 12, "a_free_unpacked");
                }).empty());
}

TEST_F(os_services, the_use_flag_is_1_or_what_the_environment_says)
{
    EXPECT_EQ(ZDT_OsalMemUseFlagGet(12), 1U);
    setenv("VORL_OS_USE_FLAG", "2", 1);
    EXPECT_EQ(ZDT_OsalMemUseFlagGet(12), 2U);
    setenv("VORL_OS_USE_FLAG", "0", 1);
    EXPECT_EQ(ZDT_OsalMemUseFlagGet(12), 0U);
}

TEST_F(os_services, a_log_call_is_a_line_on_standard_error_or_in_a_file)
{
    const vorl_log_source source = {"MODULE", "SUB"};
    captured_stderr output;
    ZDT_OsalLogWrite(&source, 2, 22, "", 17, "a_unpack", "invalid(%s, %d, %u)", "null", -1, 7U);
    const std::string name = directory + "/log";
    setenv("VORL_LOG_FILE", name.c_str(), 1);
    ZDT_OsalLogWrite(&source, 2, 12, "", 18, "b_unpack", "first");
    ZDT_OsalLogWrite(&source, 2, 12, "", 19, "b_unpack", "%s", std::string(5000, 'x').c_str());
    const auto lines = output.lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0], "MODULE/SUB a_unpack:17 invalid(null, -1, 7)");
    const auto logged = lines_of(content(name));
    ASSERT_EQ(logged.size(), 2U);
    EXPECT_EQ(logged[0], "MODULE/SUB b_unpack:18 first");
    EXPECT_EQ(logged[1].find("MODULE/SUB b_unpack:19 xxx"), 0U);
}

} // namespace
} // namespace vorl::test
