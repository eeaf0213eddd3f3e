#include "platform/os/ledger.h"

#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include <pthread.h>
#include <unistd.h>

#include "platform/os/dev_os.h"
#include "platform/support.h"

namespace vorl::platform {
namespace {

constexpr uint32_t cache_id = 12;

template <class... Arguments>
void report(const char *format, Arguments... arguments)
{
    write_line(STDERR_FILENO, "vorl-os: " + formatted(format, arguments...));
}

struct block_info {
    allocator from;
    uint32_t size;
    uint32_t id;
    std::string tag;
    pid_t process; ///< a forked child has copies of its parent's blocks and owes none of them
};

struct ledger {
    std::mutex lock;
    std::map<void *, block_info> live;
    std::set<void *> returned; ///< came back, and the heap has not given them out again
    vorl_dev_os_counters counters = {};
    uint64_t attempts = 0;
};

// Never destroyed: blocks may come back at any time until the process ends.
ledger &the_ledger()
{
    static ledger *const instance = [] {
        auto *made = new ledger;
        pthread_atfork([] { the_ledger().lock.lock(); }, [] { the_ledger().lock.unlock(); },
                       [] { the_ledger().lock.unlock(); });
        return made;
    }();
    return *instance;
}

const char *text_of(const char *tag) { return tag != nullptr ? tag : "(null)"; }

/// With the ledger locked.
template <class... Arguments>
void breach(ledger &l, const char *format, Arguments... arguments)
{
    ++l.counters.violations;
    report(format, arguments...);
    const char *wants_abort = getenv("VORL_OS_ABORT");
    if (wants_abort != nullptr && strcmp(wants_abort, "1") == 0)
        abort();
}

/// The message that a cache tag names: what precedes one of its endings; empty when none is there.
std::string_view message_of(std::string_view tag, std::initializer_list<std::string_view> endings)
{
    for (const std::string_view ending : endings) {
        if (tag.ends_with(ending))
            return tag.substr(0, tag.size() - ending.size());
    }
    return {};
}

bool may_return_as(const block_info &block, std::string_view tag)
{
    if (block.from == allocator::main)
        return block.tag == tag;
    const std::string_view taken = message_of(block.tag, {"_unpack", "_unpack_non_root"});
    return !taken.empty() && taken == message_of(tag, {"_free_unpacked"});
}

[[gnu::destructor]] void report_leaks()
{
    struct sum {
        uint64_t blocks = 0, bytes = 0;
    };
    ledger &l = the_ledger();
    const std::lock_guard lock(l.lock);
    std::map<std::string, sum> leaks;
    for (const auto &[at, block] : l.live) {
        if (block.process != getpid())
            continue;
        sum &leak = leaks[block.tag];
        ++leak.blocks;
        leak.bytes += block.size;
    }
    for (const auto &[tag, leak] : leaks)
        report("leak: %llu bytes in %llu blocks of %s", static_cast<unsigned long long>(leak.bytes),
               static_cast<unsigned long long>(leak.blocks), tag.c_str());
}

} // namespace

void *take_block(allocator from, uint32_t size, uint32_t id, const char *tag)
{
    static const uint64_t failing = number_from_environment("VORL_OS_FAIL_ALLOC", 0);
    ledger &l = the_ledger();
    const std::lock_guard lock(l.lock);
    if (from == allocator::cache && id != cache_id)
        breach(l, "cache block asked for with identifier %u, not 12, by %s", id, text_of(tag));
    void *block = ++l.attempts == failing ? nullptr : malloc(size != 0 ? size : 1);
    if (block == nullptr) {
        ++l.counters.failures;
        return nullptr;
    }
    memset(block, 0xA5, size);
    l.returned.erase(block);
    l.live[block] = {from, size, id, text_of(tag), getpid()};
    ++(from == allocator::main ? l.counters.main_allocations : l.counters.cache_allocations);
    ++l.counters.live_blocks;
    l.counters.live_bytes += size;
    return block;
}

void return_block(void *block, uint32_t id, const char *tag)
{
    ledger &l = the_ledger();
    const std::lock_guard lock(l.lock);
    const auto found = l.live.find(block);
    if (found == l.live.end()) {
        const char *what = l.returned.count(block) != 0 ? "block released twice"
                                                        : "block released that is not ours";
        breach(l, "%s: %p by %s", what, block, text_of(tag));
        return;
    }
    const block_info &info = found->second;
    if (info.id != id)
        breach(l, "block of %s, taken with identifier %u, released with %u by %s", info.tag.c_str(),
               info.id, id, text_of(tag));
    if (!may_return_as(info, text_of(tag)))
        breach(l, "block of %s released by %s", info.tag.c_str(), text_of(tag));
    ++l.counters.releases;
    --l.counters.live_blocks;
    l.counters.live_bytes -= info.size;
    l.live.erase(found);
    l.returned.insert(block);
    free(block);
}

} // namespace vorl::platform

[[gnu::visibility("default")]] void VORL_DevOsCounters(vorl_dev_os_counters *counters)
{
    vorl::platform::ledger &l = vorl::platform::the_ledger();
    const std::lock_guard lock(l.lock);
    *counters = l.counters;
}
