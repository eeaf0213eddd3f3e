// What is said of bytes whose records take more memory than there is. The program is linked so that its
// calls of calloc come here.
#include <gtest/gtest.h>

#include <vector>

#include "catalogue/catalogue.h"
#include "inspect/decode.h"
#include "tests/tools/many_records.h"

using namespace vorl;

namespace {
std::vector<std::size_t> asked;      ///< bytes, of each call
std::size_t most_to_give = SIZE_MAX; ///< bytes
} // namespace

extern "C" {
void *__real_calloc(std::size_t count, std::size_t size);
void *__wrap_calloc(std::size_t count, std::size_t size)
{
    asked.push_back(count * size);
    return count * size > most_to_give ? nullptr : __real_calloc(count, size);
}
}

namespace {

// 60,000 records of 16,572 bytes are 994,320,000.
TEST(decode_memory, that_cannot_be_had_is_a_refusal)
{
    const message &m = catalogue::find_message("srv6_cfg_query_dfx_rec")->data;
    const bytes input = test::one_item_many_times(60000);
    asked.clear();
    most_to_give = 994319999;
    std::vector<std::uint64_t> record((m.record_size + 7) / 8);
    const auto why = inspect::decode(m, input, record.data());
    most_to_give = SIZE_MAX;
    EXPECT_EQ(asked, std::vector<std::size_t>{994320000});
    ASSERT_TRUE(why);
    EXPECT_EQ(inspect::to_text(*why),
              "offset 0x0014, f1: there is no memory for 60000 elements, which take "
              "994320000 bytes");
}

} // namespace
