// Rings: a whole one, in which the input changes bytes. Each five bytes of it are a place, in three, how many
// bytes of the same value, and the value.
//
// Whatever is changed: an entry that is read is one that was written, byte for byte, unless the key or the
// size are others; and what is said is one line.
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "capture/ring_cursor.h"
#include "fuzz/finding.h"
#include "tests/capture/made_ring.h"
#include "tests/capture/numbered.h"

namespace {

using namespace vorl;
using namespace vorl::capture;
using vorl::fuzz::check;

constexpr std::uint64_t size_of_ring = 65536;
constexpr std::uint64_t frames = 300;

/// A ring in memory that has come round once, and the same as a file is named.
struct whole_ring {
    int file = memfd_create("ring", 0);
    std::string name = "/proc/self/fd/" + std::to_string(file);
    std::string bytes_of;

    whole_ring()
    {
        test::made_ring ring(name, size_of_ring);
        for (std::uint64_t i = 0; i < frames; ++i)
            ring.send(i % 7 == 0 ? i / 2 : i, test::numbered_frame(0, i));
        bytes_of.assign(reinterpret_cast<const char *>(ring.header),
                        ring::entries_at + size_of_ring);
    }
};

void check_frames(const std::string &name)
{
    try {
        ring_cursor cursor(name);
        for (std::uint64_t found = 0; const frame *f = cursor.front(); cursor.pop()) {
            check(++found <= 2 * size_of_ring / ring::unit, "more entries than there is room for");
            check(f->facts.number < frames && f->kept == test::numbered_frame(0, f->facts.number),
                  "an entry that nobody wrote");
        }
    } catch (const capture_error &error) {
        for (const char *c = error.what(); *c != '\0'; ++c)
            check(*c >= 0x20 && *c < 0x7F,
                  "a message that is not one line of printable characters");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static whole_ring ring;
    std::string changed = ring.bytes_of;
    for (; size >= 5; data += 5, size -= 5) {
        const std::size_t at =
            (data[0] | std::size_t{data[1]} << 8 | std::size_t{data[2]} << 16) % changed.size();
        const std::size_t count = std::min<std::size_t>(data[3], changed.size() - at);
        std::memset(changed.data() + at, data[4], count);
    }
    check(pwrite(ring.file, changed.data(), changed.size(), 0) ==
              static_cast<ssize_t>(changed.size()),
          "the ring cannot be written");
    check_frames(ring.name);
    return 0;
}
