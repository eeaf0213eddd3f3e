#include "tests/codec/support/buffers.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vorl::test {

guarded_buffer::guarded_buffer(std::size_t capacity)
{
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    size_ = (capacity + page - 1) / page * page;
    mapped_ = 2 * size_ + page;
    void *got = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (got == MAP_FAILED)
        std::abort();
    begin_ = static_cast<std::uint8_t *>(got) + size_;
    if (mprotect(begin_, size_, PROT_READ | PROT_WRITE) != 0)
        std::abort();
}

guarded_buffer::~guarded_buffer() { munmap(begin_ - size_, mapped_); }

std::uint8_t *guarded_buffer::space(std::size_t size, std::uint8_t fill)
{
    if (size > size_)
        std::abort();
    std::memset(begin_ + size_ - size, fill, size);
    return begin_ + size_ - size;
}

const std::uint8_t *guarded_buffer::holding(std::span<const std::uint8_t> content)
{
    std::uint8_t *at = space(content.size(), 0);
    std::copy(content.begin(), content.end(), at);
    return at;
}

const std::uint8_t *guarded_buffer::beginning_with(std::span<const std::uint8_t> content)
{
    if (content.size() > size_)
        std::abort();
    std::copy(content.begin(), content.end(), begin_);
    return begin_;
}

sparse_memory::sparse_memory(std::size_t size) : size_(size)
{
    void *got = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (got == MAP_FAILED)
        std::abort();
    data_ = static_cast<std::uint8_t *>(got);
    madvise(got, size, MADV_HUGEPAGE); // reading zeros is quicker so; nothing rests on it
}

sparse_memory::~sparse_memory() { munmap(data_, size_); }

std::string hex(std::span<const std::uint8_t> content)
{
    std::string text;
    char digits[4];
    for (std::size_t i = 0; i < content.size(); ++i) {
        std::snprintf(digits, sizeof digits, "%02X%c", content[i], i % 16 == 15 ? '\n' : ' ');
        text += digits;
    }
    if (!text.empty())
        text.back() = '\n';
    return text;
}

} // namespace vorl::test
