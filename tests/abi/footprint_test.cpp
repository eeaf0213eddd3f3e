// What the library costs a process in memory, held to the table in docs/integrators.md: nothing is
// more than it says, and nothing that it says is more than twice what is measured.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <ucontext.h>

#include <cstring>
#include <functional>

#include "catalogue/functions.h"
#include "serial/layout.h"
#include "tests/abi/footprint.h"
#include "tests/support/samples.h"

namespace vorl::test {
namespace {

TEST(footprint, of_the_file_as_it_is_mapped)
{
    std::uint64_t constant = 0;
    std::uint64_t writable = 0;
    for (const segment &part : segments("LOAD")) {
        const bool is_writable = part.flags.find('W') != std::string::npos;
        (is_writable ? writable : constant) += part.memory.end - part.memory.begin;
    }
    expect_stated("code and constants, shared by all processes: bytes", constant);
    expect_stated("data of a process: bytes", writable);
    expect_stated("relocations at load",
                  readelf("--relocs", R"([0-9a-f]+\s+[0-9a-f]+ R_\w+.*)").size());
    EXPECT_TRUE(segments("TLS").empty()) << "the page says that a thread costs nothing";
}

/// Runs calls on a stack of its own, and tells how deep the last one went.
class painted_stack {
  public:
    painted_stack()
        : bytes_(static_cast<std::uint8_t *>(
              mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
    {
        if (bytes_ == MAP_FAILED)
            throw std::runtime_error("no memory for a stack");
        nothing_ = reached_by([] {});
    }
    ~painted_stack() { munmap(bytes_, size); }
    painted_stack(const painted_stack &) = delete;
    painted_stack &operator=(const painted_stack &) = delete;

    /// Bytes of stack, those aside that a call of nothing takes.
    std::size_t depth_of(const std::function<void()> &call) { return reached_by(call) - nothing_; }

  private:
    static constexpr std::size_t size = 256 * 1024;
    static constexpr std::uint8_t paint = 0xA5;

    static void enter() { (*running_)(); }

    std::size_t reached_by(const std::function<void()> &call)
    {
        std::memset(bytes_, paint, size);
        running_ = &call;
        ucontext_t here;
        ucontext_t there;
        getcontext(&there);
        there.uc_stack.ss_sp = bytes_;
        there.uc_stack.ss_size = size;
        there.uc_link = &here;
        makecontext(&there, enter, 0);
        swapcontext(&here, &there);
        std::size_t untouched = 0;
        while (untouched < size && bytes_[untouched] == paint)
            ++untouched;
        return size - untouched;
    }

    static inline const std::function<void()> *running_ = nullptr;
    std::uint8_t *bytes_;
    std::size_t nothing_ = 0;
};

TEST(footprint, of_calls_on_the_stack)
{
    painted_stack stack;
    std::size_t first = 0;
    std::size_t later = 0;
    std::string deepest;
    const auto measure = [&](std::size_t &most, const std::string &what,
                             const std::function<void()> &call) {
        const std::size_t depth = stack.depth_of(call);
        if (depth > most) {
            most = depth;
            if (&most == &later)
                deepest = what;
        }
    };
    // The first round binds.
    for (std::size_t *most : {&first, &later}) {
        for (const catalogue::package_info *package : catalogue::packages) {
            for (const catalogue::message_info &info : package->messages) {
                const vorl::message &m = info.data;
                const std::string name = name_of(m);
                const catalogue::message_functions f = catalogue::functions_of(m, library());
                sample full(m, 2, 2);
                std::vector<std::uint8_t> bytes(200000);
                auto size = static_cast<std::uint32_t>(bytes.size());
                measure(*most, name + "__pack",
                        [&] { f.pack(full.record(), bytes.data(), &size); });
                std::uint32_t measured = UINT32_MAX;
                measure(*most, name + "__pack, measuring",
                        [&] { f.pack(full.record(), nullptr, &measured); });
                ASSERT_EQ(measured, size) << name;
                std::vector<std::uint8_t> record(m.record_size);
                // Whole, without its last byte, and without its vtable's position.
                for (const int damage : {0, 1, 2}) {
                    const auto length = static_cast<std::int32_t>(size) - (damage == 1);
                    if (damage == 2)
                        bytes[4 + vtable_length(m)] ^= 0xFF;
                    measure(*most, name + "__unpack",
                            [&] { f.unpack(bytes.data(), length, record.data()); });
                    measure(*most, name + "_free__unpacked",
                            [&] { f.free_unpacked(record.data()); });
                }
                measure(*most, name + "__sendsingle",
                        [&] { f.sendsingle(1, full.record(), 0, 0); });
                measure(*most, name + "__sendbatch", [&] { f.sendbatch(1, full.record(), 2, 0); });
                measure(*most, name + "__sendmsg", [&] { f.sendmsg(1, full.record(), 2); });
                measure(*most, name + "__sendtomsg", [&] { f.sendtomsg(1, full.record(), 1, 9); });
            }
        }
    }
    std::printf("deepest: %s\n", deepest.c_str());
    expect_stated("stack of a call, at the most: bytes", later);
    expect_stated("stack of a side's first call, at the most: bytes", first);
}

} // namespace
} // namespace vorl::test
