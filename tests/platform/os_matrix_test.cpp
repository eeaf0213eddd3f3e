// Every combination of services present and absent, each in a process that was started with just
// those.

#include <cstdlib>
#include <filesystem>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include "tests/platform/processes.h"

namespace vorl::test {
namespace {

enum service : unsigned { log = 1, alloc = 2, release = 4, cache = 8, use_flag = 16, all = 31 };

class os_matrix : public bus_test {
  protected:
    struct outcome {
        std::vector<std::string> output;
        std::vector<std::string> log;
    };

    struct variable {
        const char *name;
        const char *value;
    };

    /// Runs the probe with those services and that variable.
    outcome run(unsigned services, variable set = {})
    {
        const char *const names[] = {"log", "alloc", "free", "cache", "use_flag"};
        std::string preloaded;
        for (unsigned i = 0; i < 5; ++i) {
            if ((services >> i & 1) != 0)
                preloaded += library(names[i]) + " ";
        }
        return run_preloaded(preloaded, set);
    }

    outcome run_preloaded(const std::string &preloaded, variable set = {})
    {
        const std::string log_file = directory + "/log";
        const std::string output_file = directory + "/output";
        std::filesystem::remove(log_file);
        EXPECT_TRUE(in_child([&] {
            const int output = open(output_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(output, STDOUT_FILENO);
            dup2(output, STDERR_FILENO);
            // A sanitizer's runtime comes after what is preloaded, and minds.
            const char *before = getenv("ASAN_OPTIONS");
            const std::string options =
                std::string(before != nullptr ? before : "") + ":verify_asan_link_order=0";
            setenv("ASAN_OPTIONS", options.c_str(), 1);
            setenv("VORL_LOG_FILE", log_file.c_str(), 1);
            setenv("LD_PRELOAD", preloaded.c_str(), 1);
            if (set.name != nullptr)
                setenv(set.name, set.value, 1);
            execl(VORL_TEST_PROBE, VORL_TEST_PROBE, nullptr);
            ADD_FAILURE() << VORL_TEST_PROBE << " does not start";
        })) << preloaded;
        return {lines_of_file(output_file), lines_of_file(log_file)};
    }

    static std::string library(const std::string &name)
    {
        return std::string(VORL_TEST_LIBRARY_DIRECTORY) + "/libvorl_dev_" + name + ".so";
    }

    /// None where there is no such file.
    static std::vector<std::string> lines_of_file(const std::string &name)
    {
        return std::filesystem::exists(name) ? lines_of(content(name)) : std::vector<std::string>();
    }
};

/// Where the line number stands is a number.
bool is_parameter_line(std::string_view line)
{
    constexpr std::string_view before = "ZELKO/ZELKO_VANTREL_SERIAL srv6_sidnhp_fwd_update_unpack:";
    constexpr std::string_view after = " [ZELKO]:Param invalid(null, 0, nonNull)";
    if (!line.starts_with(before) || !line.ends_with(after) ||
        line.size() <= before.size() + after.size())
        return false;
    line.remove_prefix(before.size());
    line.remove_suffix(after.size());
    return line.find_first_not_of("0123456789") == std::string_view::npos;
}

using lines = std::vector<std::string>;

/// `main` blocks and `cache` blocks went out and came back as they must; the rest was the heap's.
lines used(int main, int cache)
{
    return {"unpack whole", "send 1 1",
            "main " + std::to_string(main) + " cache " + std::to_string(cache) + " releases " +
                std::to_string(main + cache) + " violations 0"};
}

TEST_F(os_matrix, all_32_combinations)
{
    for (unsigned services = 0; services <= all; ++services) {
        const auto has = [services](unsigned wanted) { return (services & wanted) == wanted; };
        const outcome came = run(services);
        EXPECT_EQ(came.output,
                  used(has(alloc | release) ? 2 : 0, has(cache | release | use_flag) ? 1 : 0))
            << "services " << services;
        ASSERT_EQ(came.log.size(), has(log) ? 1U : 0U) << "services " << services;
        if (has(log)) {
            EXPECT_TRUE(is_parameter_line(came.log[0])) << came.log[0];
        }
    }
}

TEST_F(os_matrix, one_object_has_all_five)
{
    const outcome came = run_preloaded(library("os"));
    EXPECT_EQ(came.output, used(2, 1));
    EXPECT_EQ(came.log.size(), 1U);
}

TEST_F(os_matrix, a_use_flag_other_than_1_leaves_the_cache_alone)
{
    for (const char *flag : {"0", "2", "4294967295"})
        EXPECT_EQ(run(all, {"VORL_OS_USE_FLAG", flag}).output, used(2, 0)) << flag;
}

TEST_F(os_matrix, an_allocation_that_fails_is_logged_and_leaves_an_empty_record)
{
    const outcome came = run(all, {"VORL_OS_FAIL_ALLOC", "1"});
    EXPECT_EQ(came.output,
              (lines{"unpack empty", "send 1 1", "main 2 cache 0 releases 2 violations 0"}));
    ASSERT_EQ(came.log.size(), 2U);
    // Two records of 16 bytes.
    EXPECT_TRUE(came.log[0].ends_with("[ZELKO]:Malloc unpack data unsuccess, size(32)"))
        << came.log[0];
}

TEST_F(os_matrix, a_send_without_memory_fails_before_the_bus)
{
    EXPECT_EQ(
        run(all, {"VORL_OS_FAIL_ALLOC", "2"}).output,
        (lines{"unpack whole", "send 4294967295 1", "main 1 cache 1 releases 2 violations 0"}));
}

} // namespace
} // namespace vorl::test
