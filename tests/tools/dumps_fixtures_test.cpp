// What the tools printed: the files of dumps/.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/run.h"
#include "tests/tools/dumps/reading.h"

using namespace vorl;
using namespace vorl::test;

namespace {

const std::vector<std::string> messages = {
    // srv6_class_item: 7, 0, 3
    "04000000f0ffffff0700000000000000030000000a000d0004000800"
    "0c000000",
    // srv6_localsid_fwd: f0 is 1, f5 is 2001:db8::, f6 is 48
    "04000000c0ffffff01000000000000000000000000000000000000000400"
    "00000400000020010db80000000000000000000000003000000000000000"
    "00000000000000001e004000040008000c00100014001800300032003400"
    "3800"
    "39003a003c0000000000"
    "0000",
    // srv6_sidnhp_fwd_delete: two elements
    "0c0000000800180004000800080000000100000004000000020000001200"
    "0000280000000a001000040008000c000a00000001000000020000000300"
    "00000a0008000400000000000a00000004000000",
};

std::vector<std::string> read_file(const char *name, dump_form form)
{
    const reading_outcome read =
        read_dump(content(fs::path(VORL_TEST_DUMPS) / name), {.form = form});
    EXPECT_EQ(read.error, "");
    std::vector<std::string> found;
    for (const auto &[place, hex] : read.found)
        found.push_back(hex);
    return found;
}

struct fixture {
    const char *file;
    dump_form form;
};
constexpr fixture fixtures[] = {
    {"xxd.txt", dump_form::xxd},
    {"xxd_p.txt", dump_form::hex},
    {"xxd_i.txt", dump_form::c_array},
    {"xxd_i_alone.txt", dump_form::hex},
    {"hexdump.txt", dump_form::hexdump},
    {"hexdump_C.txt", dump_form::hexdump},
    {"od.txt", dump_form::od},
    {"od_Ad.txt", dump_form::od},
    {"od_An.txt", dump_form::hex},
    {"od_Ax.txt", dump_form::od},
    {"od_x.txt", dump_form::od},
    {"base64.txt", dump_form::base64},
    {"base64_w0.txt", dump_form::base64},
    {"gdb_xb.txt", dump_form::gdb},
    {"gdb_xw.txt", dump_form::gdb},
};

} // namespace

TEST(dumps_of_the_tools, are_the_messages_that_were_dumped)
{
    for (const fixture &f : fixtures) {
        EXPECT_EQ(read_file(f.file, dump_form::automatic), messages) << f.file;
        EXPECT_EQ(read_file(f.file, f.form), messages) << f.file << ", as named";
    }
}

TEST(dumps_of_the_tools, are_all_read)
{
    std::size_t files = 0;
    for (const auto &entry : fs::directory_iterator(VORL_TEST_DUMPS)) {
        const std::string name = entry.path().filename();
        if (!name.ends_with(".txt"))
            continue;
        ++files;
        EXPECT_EQ(std::ranges::count(fixtures, name, [](const fixture &f) { return f.file; }), 1)
            << name;
    }
    EXPECT_EQ(files, std::size(fixtures));
}
