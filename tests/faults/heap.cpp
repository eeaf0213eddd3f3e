#include "tests/faults/heap.h"

#include <cstddef>

namespace vorl::test {
namespace {

heap instance;
bool is_watched = false;

// What runs after the tests, such as a sanitizer's or a profiler's report, has a heap that works.
struct end_of_tests {
    ~end_of_tests() { is_watched = false; }
} const at_exit;

} // namespace

heap &the_heap() { return instance; }
void watch_heap(bool on) { is_watched = on; }

} // namespace vorl::test

using namespace vorl::test;

// The linker's names for what a program puts before malloc and free (ld --wrap).
extern "C" {

void *__real_malloc(std::size_t size);
void __real_free(void *block);
void *__wrap_malloc(std::size_t size);
void __wrap_free(void *block);

void *__wrap_malloc(std::size_t size)
{
    if (!is_watched)
        return __real_malloc(size);
    ++instance.allocations;
    instance.bytes += size;
    if (instance.fail_allocation_at != 0 && --instance.fail_allocation_at == 0)
        return nullptr;
    ++instance.live_blocks;
    return __real_malloc(size);
}

void __wrap_free(void *block)
{
    if (is_watched && block != nullptr)
        --instance.live_blocks;
    __real_free(block);
}

} // extern "C"
