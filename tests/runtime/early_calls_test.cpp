// The calls that a process makes before it starts threads, opens plugins or forks: after them nothing
// is left to bind, so no later call can meet a lock of the library that another thread holds, while
// it waits for the dynamic linker itself or has been left behind by a fork.
//
//   receive   __unpack of four zero bytes into a record of scalars; it is refused, with one line
//   send      __pack into a buffer, and the __pack that measures, with one line
#include "tests/runtime/blocks.h"

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <semaphore>
#include <thread>

#include "srv6.h"
#include "srv6_cfg.h"
#include "srv6_sync.h"
#include "tests/facts/counts.h"
#include "tests/support/samples.h"

namespace vorl::test {
namespace {

template <class Record, std::uint32_t Unpack(const void *, std::int32_t, void *)>
void unpack_four_zero_bytes()
{
    const unsigned char zeros[4] = {0};
    Record record;
    Unpack(zeros, 4, &record);
}

template <class Record, std::uint32_t Unpack(const void *, std::int32_t, void *)>
void unpack_nothing()
{
    Record record;
    Unpack(nullptr, 0, &record);
}

template <class Record, std::uint32_t Pack(const Record *, void *, std::uint32_t *)>
void pack_into_a_buffer()
{
    const Record record = {};
    unsigned char bytes[64];
    std::uint32_t length = sizeof bytes;
    Pack(&record, bytes, &length);
}

template <class Record, std::uint32_t Pack(const Record *, void *, std::uint32_t *)>
void measure()
{
    const Record record = {};
    std::uint32_t length = 64;
    Pack(&record, nullptr, &length);
}

/// A side of a package, by the message that the documents name for it.
struct side {
    std::size_t block;
    const char *name;
    names lookups; ///< of what binds it
    std::vector<void (*)()> binds;
    const char *function; ///< of the one line that they write
    const char *text;
    void (*uses_log)();    ///< a call that needs the log's binding
    void (*uses_memory)(); ///< a call that needs that of memory
};

template <class Record, auto Unpack>
side receive_side(std::size_t package, const char *name, const char *function)
{
    return {2 * package,
            name,
            {"ZDT_OsalMemUseFlagGet", "ZDT_OsalMemCacheAlloc", "ZDT_OsalMemFree",
             "ZDT_OsalLogWrite", "ZDT_OsalMemAlloc", "ZDT_OsalMemFree"},
            {unpack_four_zero_bytes<Record, Unpack>},
            function,
            "[ZELKO]:Table offset(0) is out of range(4 - 4)",
            unpack_nothing<Record, Unpack>,
            unpack_four_zero_bytes<Record, Unpack>};
}

template <class Record, auto Pack>
side send_side(std::size_t package, const char *name, const char *function)
{
    return {2 * package + 1,
            name,
            {"ZDT_OsalMemUseFlagGet", "ZDT_OsalMemCacheAlloc", "ZDT_OsalMemFree",
             "ZDT_OsalLogWrite", "ZDT_OsalMemAlloc", "ZDT_OsalMemFree"},
            {pack_into_a_buffer<Record, Pack>, measure<Record, Pack>},
            function,
            "[ZELKO]:Param invalid(null, 64, nonNull)",
            measure<Record, Pack>,
            pack_into_a_buffer<Record, Pack>};
}

const std::vector<side> sides = {
    receive_side<srv6_common_fwd_key, srv6_common_fwd_key__unpack>(
        0, "srv6_receive", "srv6_common_fwd_key_unpack_non_root"),
    send_side<srv6_common_fwd_key, srv6_common_fwd_key__pack>(0, "srv6_send",
                                                              "srv6_common_fwd_key_pack"),
    receive_side<srv6_cfg_trastat_rst_rec, srv6_cfg_trastat_rst_rec__unpack>(
        1, "srv6_cfg_receive", "srv6_cfg_trastat_rst_rec_unpack_non_root"),
    send_side<srv6_cfg_trastat_rst_rec, srv6_cfg_trastat_rst_rec__pack>(
        1, "srv6_cfg_send", "srv6_cfg_trastat_rst_rec_pack"),
    receive_side<srv6_sync_common_fwd_key, srv6_sync_common_fwd_key__unpack>(
        2, "srv6_sync_receive", "srv6_sync_common_fwd_key_unpack_non_root"),
    send_side<srv6_sync_common_fwd_key, srv6_sync_common_fwd_key__pack>(
        2, "srv6_sync_send", "srv6_sync_common_fwd_key_pack"),
};

void bind(const side &s)
{
    for (void (*call)() : s.binds)
        call();
}

class early_calls : public unbound_library {};

TEST_F(early_calls, bind_both_of_one_side_and_write_one_line)
{
    ASSERT_EQ(sides.size(), 6u);
    for (const side &s : sides) {
        SCOPED_TRACE(s.name);
        forget_bindings();
        reset_platform();
        bind(s);
        EXPECT_EQ(the_platform().lookups, s.lookups);
        for (std::size_t i = 0; i < 6; ++i) {
            EXPECT_EQ(serial_ctxs[i].services_bound, i == s.block ? 1u : 0u);
            EXPECT_EQ(serial_ctxs[i].cache_bound, i == s.block ? 1u : 0u);
        }
        ASSERT_EQ(the_platform().logs.size(), 1u);
        EXPECT_EQ(the_platform().logs[0].function, s.function);
        EXPECT_EQ(the_platform().logs[0].text, s.text);
        EXPECT_TRUE(the_platform().memory.empty());
        EXPECT_TRUE(the_platform().sends.empty());
    }
}

/// All that a side of a message does, failures included.
void use_receive_side(const known_message &m, const std::vector<std::uint8_t> &bytes)
{
    const auto &f = functions_of(*m.info);
    std::vector<std::uint8_t> out(m.fact->record_size);
    const auto unpack = [&](const void *buf, std::size_t len) {
        f.unpack(buf, static_cast<std::int32_t>(len), out.data());
        f.free_unpacked(out.data());
    };
    unpack(nullptr, 0);
    unpack(bytes.data(), 4);
    unpack(bytes.data(), bytes.size() - 1);
    the_platform().fail_allocation_at = 1;
    unpack(bytes.data(), bytes.size());
    the_platform().fail_allocation_at = 0;
    unpack(bytes.data(), bytes.size());
}

void use_send_side(const known_message &m, sample &in)
{
    const auto &f = functions_of(*m.info);
    std::vector<std::uint8_t> to(200000);
    for (void *buf : {static_cast<void *>(to.data()), static_cast<void *>(nullptr)}) {
        auto length = static_cast<std::uint32_t>(to.size());
        f.pack(in.record(), buf, &length);
    }
    f.sendsingle(1, in.record(), 0, 0);
    f.sendbatch(1, in.record(), 2, 0);
    f.sendmsg(1, in.record(), 2);
    f.sendtomsg(1, in.record(), 2, 9);
}

TEST_F(early_calls, leave_nothing_to_bind)
{
    std::size_t used = 0;
    for (const side &s : sides) {
        SCOPED_TRACE(s.name);
        for (const known_message &m : all_messages()) {
            if (m.fact->package() != s.block / 2)
                continue;
            SCOPED_TRACE(name_of(*m.info));
            sample in(*m.info, 2, 1);
            const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
            forget_bindings();
            reset_platform();
            bind(s);
            ASSERT_EQ(the_platform().lookups.size(), 6u);
            if (s.block % 2 == 0)
                use_receive_side(m, bytes);
            else
                use_send_side(m, in);
            EXPECT_EQ(the_platform().lookups.size(), 6u);
            EXPECT_EQ(the_platform().use_flag_arguments.size(), 1u);
            ++used;
        }
    }
    EXPECT_EQ(used, 2 * counts::messages);
}

// The other messages that do: for receiving those that lead to no table and no vector, for sending all.
TEST_F(early_calls, of_other_messages)
{
    std::size_t flat = 0;
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        std::vector<std::uint8_t> record(m.fact->record_size);
        const unsigned char zeros[4] = {0};
        forget_bindings();
        reset_platform();
        functions_of(*m.info).unpack(zeros, 4, record.data());
        const bool leads_elsewhere =
            std::any_of(m.info->slots.begin(), m.info->slots.end(),
                        [](const vorl::slot &s) { return s.nested != nullptr || s.is_vector(); });
        EXPECT_EQ(the_platform().lookups.size(), leads_elsewhere ? 3u : 6u);
        flat += leads_elsewhere ? 0 : 1;

        sample in(*m.info);
        std::vector<std::uint8_t> to(200000);
        forget_bindings();
        reset_platform();
        for (void *buf : {static_cast<void *>(to.data()), static_cast<void *>(nullptr)}) {
            auto length = static_cast<std::uint32_t>(to.size());
            functions_of(*m.info).pack(in.record(), buf, &length);
        }
        EXPECT_EQ(the_platform().lookups.size(), 6u);
    }
    EXPECT_EQ(flat, counts::flat);
}

// Two programs that would stand still. In each, another thread makes a call while it must not be the
// first one, and the test makes one in the middle of it.

struct moment {
    side of;
    bool in_log; ///< which binding both calls need

    void call() const { (in_log ? of.uses_log : of.uses_memory)(); }

    std::string name() const { return std::string(of.name) + (in_log ? "_log" : "_memory"); }
    friend std::ostream &operator<<(std::ostream &out, const moment &m) { return out << m.name(); }
};

std::vector<moment> moments()
{
    std::vector<moment> all;
    for (const side &s : sides) {
        all.push_back({s, true});
        all.push_back({s, false});
    }
    return all;
}

// Shared with what the platform and the plugin call, which take no argument. The other thread's call
// is under way when that looks a symbol up, or has made it.
std::counting_semaphore<> may_begin{0};
std::counting_semaphore<> is_under_way{0};
std::counting_semaphore<> may_go_on{0};
const moment *now = nullptr;

/// The calls that bind have been made; the other thread makes its own when it may.
class bad_moment : public testing::TestWithParam<moment> {
  protected:
    void SetUp() override
    {
        alarm(60); // ends the program if it stands still
        forget_bindings();
        reset_platform();
        bind(GetParam().of);
        now = &GetParam();
        other_ = std::thread([] {
            may_begin.acquire();
            now->call();
            is_under_way.release();
        });
    }
    void TearDown() override
    {
        other_.join();
        alarm(0);
        reset_platform();
    }

  private:
    std::thread other_;
};

} // namespace
} // namespace vorl::test

// ThreadSanitizer asks for its options here. The child of a fork has no other thread to join, and
// would be told that it leaks the parent's.
extern "C" const char *__tsan_default_options() { return "report_thread_leaks=0"; }

// Called by the plugin's constructor, while the dynamic linker holds its lock.
extern "C" void vorl_test_on_load(void)
{
    vorl::test::may_begin.release();
    vorl::test::is_under_way.acquire();
    vorl::test::now->call();
}

namespace vorl::test {
namespace {

TEST_P(bad_moment, in_the_constructor_of_a_plugin)
{
    the_platform().on_lookup = [] {
        is_under_way.release();
        dlsym(RTLD_DEFAULT, "what the dynamic linker locks");
    };
    void *plugin = dlopen(VORL_TEST_PLUGIN, RTLD_NOW);
    ASSERT_NE(plugin, nullptr) << dlerror();
    dlclose(plugin);
}

TEST_P(bad_moment, in_the_child_of_a_fork)
{
    the_platform().on_lookup = [] {
        is_under_way.release();
        may_go_on.acquire();
        may_go_on.release(); // for the look-ups that follow
    };
    may_begin.release();
    is_under_way.acquire();
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        alarm(30);
        the_platform().on_lookup = nullptr;
        now->call();
        _exit(0);
    }
    may_go_on.release();
    int ended = -1;
    ASSERT_EQ(waitpid(child, &ended, 0), child);
    EXPECT_TRUE(WIFEXITED(ended)) << "signal " << WTERMSIG(ended);
    EXPECT_EQ(WEXITSTATUS(ended), 0);
}

INSTANTIATE_TEST_SUITE_P(sides, bad_moment, testing::ValuesIn(moments()),
                         [](const auto &moment) { return moment.param.name(); });

} // namespace
} // namespace vorl::test
