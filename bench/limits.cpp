#include "bench/limits.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "runtime/bus.h"
#include "serial/unroll.h"

namespace vorl::bench {
namespace {

using words = long long __attribute__((vector_size(16)));

/// Moves of 16 bytes at ascending places, the last one overlapping; below 16 what memcpy makes of it.
template <size_t Size>
[[gnu::always_inline]] inline void copy(char *to, const char *from)
{
    if constexpr (Size < 16) {
        memcpy(to, from, Size);
    } else {
        const auto move = [to, from](size_t at) VORL_INLINED {
            words moved;
            memcpy(&moved, from + at, sizeof moved);
            memcpy(to + at, &moved, sizeof moved);
        };
        [&]<size_t... Index>(std::index_sequence<Index...>) VORL_INLINED
        {
            (move(16 * Index), ...);
        }
        (std::make_index_sequence<Size / 16>{});
        if constexpr (Size % 16 != 0)
            move(Size - 16);
    }
}

template <size_t Size>
void copy_one(void *to, const void *from)
{
    copy<Size>(static_cast<char *>(to), static_cast<const char *>(from));
}

template <size_t Size>
void copy_many(void *to, const void *from, size_t, size_t count)
{
    auto *out = static_cast<char *>(to);
    const auto *in = static_cast<const char *>(from);
    for (; count != 0; --count, out += Size, in += Size)
        copy<Size>(out, in);
}

constexpr size_t sizes = 512;

struct copy_functions {
    copy_function one;
    copies_function many;
};

template <size_t... Size>
constexpr auto all_copies(std::index_sequence<Size...>)
{
    struct {
        copy_functions of[sizes];
    } result{{{copy_one<Size + 1>, copy_many<Size + 1>}...}};
    return result;
}
constexpr auto copies = all_copies(std::make_index_sequence<sizes>{});

} // namespace

copy_function constant_copy(size_t size)
{
    return size != 0 && size <= sizes ? copies.of[size - 1].one : nullptr;
}

copies_function constant_copies(size_t size)
{
    return size != 0 && size <= sizes ? copies.of[size - 1].many : nullptr;
}

uint32_t bus_call_only(uint32_t dest, const void *, uint32_t, uint64_t to)
{
    alignas(8) uint8_t frame[128];
    asm volatile("" : "=m"(frame));
    const frame_desc desc = {frame, 1, sizeof frame};
    return to != 0 ? VORL_SendToMsg(dest, &desc, 1, to) : VORL_SendMsg(dest, &desc, 1);
}

uint32_t bus_call_with_block(uint32_t dest, const void *, uint32_t length, uint64_t to)
{
    void *frame = malloc(length);
    asm volatile("" : : "r"(frame) : "memory");
    const frame_desc desc = {frame, 1, length};
    const uint32_t result =
        to != 0 ? VORL_SendToMsg(dest, &desc, 1, to) : VORL_SendMsg(dest, &desc, 1);
    free(frame);
    return result;
}

void libc_copies(void *to, const void *from, size_t size, size_t count)
{
    auto *out = static_cast<char *>(to);
    const auto *in = static_cast<const char *>(from);
    for (; count != 0; --count, out += size, in += size)
        memcpy(out, in, size);
}

uint32_t bus_call_with_copies(uint32_t dest, const void *frames, uint32_t length, uint32_t count,
                              uint64_t to, copies_function copies)
{
    const size_t frames_size = size_t{count} * length;
    auto *block = static_cast<uint8_t *>(malloc(frames_size + count * sizeof(frame_desc)));
    copies(block, frames, length, count);
    uint8_t *const descs = block + frames_size;
    for (uint32_t i = 0; i < count; ++i) {
        const frame_desc desc = {block + size_t{i} * length, 1, length};
        memcpy(descs + i * sizeof desc, &desc, sizeof desc);
    }
    const auto *first = reinterpret_cast<const frame_desc *>(descs);
    const uint32_t result =
        to != 0 ? VORL_SendToMsg(dest, first, count, to) : VORL_SendMsg(dest, first, count);
    free(block);
    return result;
}

uint32_t empty_call(uint32_t, const void *, uint32_t, uint64_t) { return 0; }

} // namespace vorl::bench
