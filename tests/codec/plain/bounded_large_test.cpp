// A block past what bounded functions have to take (2^31 - 1 bytes): the library clears it itself. Not for
// ThreadSanitizer, which keeps memory for every byte that is written.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

#include "tests/codec/support/fixture.h"
#include "tests/codec/support/ways_to_read.h"

namespace vorl::test {
namespace {

/// Two mebibytes of memory, over and over for `size` bytes.
class repeated_memory {
  public:
    static constexpr std::size_t period = std::size_t{2} << 20;

    explicit repeated_memory(std::size_t size) : size_((size + period - 1) / period * period)
    {
        const int file = memfd_create("repeated", 0);
        void *room =
            mmap(nullptr, size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (file < 0 || ftruncate(file, period) != 0 || room == MAP_FAILED)
            throw std::runtime_error("no repeated memory");
        data_ = static_cast<std::uint8_t *>(room);
        for (std::size_t at = 0; at < size_; at += period) {
            if (mmap(data_ + at, period, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, file, 0) ==
                MAP_FAILED)
                throw std::runtime_error("no repeated memory");
        }
        close(file);
    }
    ~repeated_memory() { munmap(data_, size_); }
    repeated_memory(const repeated_memory &) = delete;
    repeated_memory &operator=(const repeated_memory &) = delete;
    std::uint8_t *data() const { return data_; }

  private:
    std::size_t size_;
    std::uint8_t *data_;
};

// 129,586 elements of 16,572 bytes, of which bounded functions need not take as many bytes as there
// are: all lead to a table without slots, so every byte of the block is to be zero.
TEST(bounded, a_block_of_2_147_499_192_bytes)
{
    constexpr std::uint64_t size = 2147499192;
    constexpr std::uint32_t elements = 129586;
    const message &m = message_named("srv6_cfg_query_dfx_rec");
    const repeated_memory block(size);
    for (const way_to_read &way : ways_to_read) {
        SCOPED_TRACE(way.name);
        const order o = way.byte_order;
        bytes buffer = buffer_of("u32 table  vtable: u16 8  u16 0  u16 0  u16 4 "
                                 "table: u32 table-vtable  u32 @list  list: u32 129586",
                                 o);
        const std::size_t words = buffer.size();
        buffer.resize(words + 4 * elements + 8);
        const std::size_t element = buffer.size() - 4;
        reference::store(&buffer[element - 4], 4, 2, o);
        reference::store(&buffer[element - 2], 4, 2, o);
        reference::store(&buffer[element], 4, 4, o);
        for (std::size_t at = words; at < element - 4; at += 4)
            reference::store(&buffer[at], element - at, 4, o);
        ASSERT_EQ(buffer.size(), 518376u);

        std::fill_n(block.data(), repeated_memory::period, std::uint8_t{0xA5});
        way.prepare();
        reset_platform();
        the_platform().only_block = block.data();
        the_platform().bounded_limit = 0x7FFFFFFF;
        sample record(m);
        functions_of(m).unpack(buffer.data(), length_of(buffer), record.data());
        EXPECT_EQ(the_platform().bounded,
                  (std::vector<bounded_call>{{false, block.data(), size, 0, nullptr, size, 1}}));
        EXPECT_TRUE(std::all_of(block.data(), block.data() + repeated_memory::period,
                                [](std::uint8_t byte) { return byte == 0; }));
        EXPECT_EQ(reference::load(record.at(m.slots[1].count_at), 4, order::little), elements);
        EXPECT_EQ(reference::load(record.at(m.slots[1].record_at), 8, order::little),
                  reinterpret_cast<std::uintptr_t>(block.data()));
        EXPECT_TRUE(the_platform().logs.empty());
        functions_of(m).free_unpacked(record.data());
        EXPECT_EQ(the_platform().live_blocks, 0u);
    }
    reset_platform();
    forget_bindings();
}

} // namespace
} // namespace vorl::test
