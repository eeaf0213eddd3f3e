// The memory that vorl recv takes for one large object: in proportion to its bytes, whatever text they
// make.
#include "tests/tools/program.h"

using namespace vorl::test;

namespace {

class recv_resident : public tool_test {};

TEST_F(recv_resident, is_at_most_four_times_the_bytes_of_an_object)
{
    // Each element is 4 bytes of offset, a vtable of 8, and a table of 8: 20 bytes.
    constexpr std::size_t elements = 500000;
    constexpr std::size_t kib = 20 * elements / 1024;
    constexpr std::size_t of_any_process_kib = 16 * 1024;
    std::string object = R"({"message":"srv6_localsid_fwd_delete","f1":[)";
    for (std::size_t i = 0; i < elements; ++i)
        object += (i == 0 ? R"({"f0":7})" : R"(,{"f0":7})");
    file("objects", object + "]}\n");
    const outcome done =
        shell("vorl recv 7 --sparse --timeout 100 >in 2>in.err & receiver=$!; "
              "vorl send --to 7 --wait 20 objects 2>out.err; "
              "until [ \"$(tail -c 1 in | od -An -c)\" = '  \\n' ]; do sleep 0.1; done; "
              "sed -n 's/^VmHWM:[[:space:]]*\\([0-9]*\\) kB/\\1/p' /proc/$receiver/status; "
              "kill -TERM $receiver; wait $receiver");
    ASSERT_EQ(text_of("out.err"), "vorl send: 1 sent, 0 refused\n");
    EXPECT_EQ(text_of("in.err"), "vorl recv: 1 received, 0 refused\n");
    EXPECT_EQ(text_of("in"), object + "]}\n");
    const std::size_t peak_kib = std::stoul(done.out);
    EXPECT_LE(peak_kib, 4 * kib + of_any_process_kib);
    EXPECT_GE(peak_kib, kib);
}

} // namespace
