// A program to be tapped: tapped MODE ARGUMENTS. It ends with 0 where everything behind the tap was as it
// is without.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "tests/capture/fast_bus.h"
#include "tests/capture/numbered.h"

using namespace vorl::test;

namespace {

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "tapped: %s\n", what);
    std::_Exit(1);
}

void expect(bool is_so, const char *what)
{
    if (!is_so)
        fail(what);
}

uint32_t send_one(uint32_t dest, uint32_t msg_id, const std::vector<std::uint8_t> &frame)
{
    const vorl::frame_desc desc = {frame.data(), msg_id, static_cast<uint32_t>(frame.size())};
    return VORL_SendMsg(dest, &desc, 1);
}

/// Threads that send numbered frames until they are killed. How many sends of each have returned is in
/// the file.
void send_for_ever(const char *file, unsigned threads)
{
    const int opened = open(file, O_RDWR);
    auto *const returned = static_cast<std::atomic<std::uint64_t> *>(
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, opened, 0));
    expect(returned != MAP_FAILED, "cannot map the file");
    std::vector<std::thread> all;
    for (unsigned t = 0; t < threads; ++t) {
        all.emplace_back([t, returned] {
            for (std::uint64_t number = 0;; ++number) {
                send_one(7, 0x1000 + t, numbered_frame(t, number));
                returned[t].store(number + 1, std::memory_order_release);
            }
        });
    }
    for (std::thread &thread : all)
        thread.join();
}

void send_some(unsigned count, std::size_t size)
{
    for (unsigned i = 0; i < count; ++i)
        send_one(7, 0x1000, std::vector<std::uint8_t>(size, static_cast<std::uint8_t>(i)));
}

/// One a millisecond, for as long as there is a file of that name.
void send_slowly(const char *file)
{
    while (access(file, F_OK) == 0) {
        send_one(7, 0x1000, {1});
        send_one(8, 0x2000, {2});
        usleep(1000);
    }
}

/// Each kind of send, in one that the bus refuses as well.
void send_all_ways()
{
    const std::uint8_t a[] = {1, 2, 3}, b[] = {4, 5};
    const vorl::frame_desc descs[] = {{a, 0x1000, 3}, {b, 0x2000, 2}};
    expect(VORL_SendMsg(0, descs, 2) == 0 && errno == 2, "a send that is accepted");
    expect(VORL_SendMsg(9, descs, 1) == 9 && errno == 1, "a send that is refused");
    expect(VORL_SendToMsg(1, descs, 2, 0x500000002) == 3 && errno == 2, "a send to a handle");
    expect(VORL_SendMsg(4, nullptr, 3) == 4 && errno == 3, "a send without descriptors");
    const vorl::frame_desc nothing = {nullptr, 0x3000, 10};
    expect(VORL_SendMsg(5, &nothing, 1) == 5, "a frame without bytes");
    alignas(16) char room[48];
    std::memcpy(room + 3, descs, sizeof descs);
    const auto *const odd = reinterpret_cast<const vorl::frame_desc *>(room + 3);
    expect(VORL_SendMsg(6, odd, 2) == 6, "descriptors at any place");
}

std::uint32_t unpack_number(const void *buf, std::int32_t len, void *out)
{
    *static_cast<int *>(out) += len + (buf == nullptr ? 1000 : 0);
    return 52;
}
std::uint32_t unpack_other(const void *, std::int32_t, void *) { return 1; }

void receive(unsigned hooks)
{
    for (int round = 0; round < 2; ++round) { // the same once more is no other
        for (unsigned i = 0; i < hooks; ++i) {
            expect(VORL_RegIDLFuncHook(0x1000 + i, unpack_number, nullptr) == 0, "a registration");
            expect(errno == 77, "errno of a registration");
        }
    }
    expect(VORL_RegIDLFuncHook(0x1000, unpack_other, nullptr) == 5,
           "a registration that is refused");
    const std::uint8_t frame[] = {1, 2, 3};
    for (unsigned i = 0; i < hooks; ++i) {
        int out = 0;
        expect(fast_bus_deliver(0x1000 + i, frame, 3, &out) == 52 && out == 3, "a frame");
    }
    int out = 0;
    expect(fast_bus_deliver(0x1000, nullptr, -1, &out) == 52 && out == 999,
           "a frame without bytes");
}

void send_in_child()
{
    send_one(7, 0x1000, {1});
    const pid_t child = fork();
    if (child == 0) {
        send_one(7, 0x2000, {2});
        send_one(7, 0x2000, {3});
        _exit(0);
    }
    int ended = 0;
    expect(waitpid(child, &ended, 0) == child && ended == 0, "the child");
    send_one(7, 0x1000, {4});
    std::printf("%d\n", child);
}

} // namespace

int main(int argc, char **argv)
{
    const std::string mode = argc > 1 ? argv[1] : "";
    const auto argument = [argv](int at) { return std::strtoul(argv[at], nullptr, 10); };
    if (mode == "for_ever")
        send_for_ever(argv[2], static_cast<unsigned>(argument(3)));
    else if (mode == "some")
        send_some(static_cast<unsigned>(argument(2)), argument(3));
    else if (mode == "slowly")
        send_slowly(argv[2]);
    else if (mode == "all_ways")
        send_all_ways();
    else if (mode == "receive")
        receive(static_cast<unsigned>(argument(2)));
    else if (mode == "fork")
        send_in_child();
    else
        fail("no such mode");
    return 0;
}
