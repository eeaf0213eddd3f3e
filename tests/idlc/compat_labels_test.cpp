// idlc compat --labels: slots that have the same type in both versions and mean something else.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/run.h"

namespace {

using namespace vorl::test;

// srv6_class_item has the slots uint32 f0, uint32 f1 and uint8 f2, on lines 31 to 33 of srv6.idl.
const std::string descriptions = "'" PROJECT_ROOT "/idl'";

outcome compared(const std::string &was, const std::string &is, const std::string &options = "")
{
    const scratch_directory scratch;
    write(scratch.path() / "old.toml", "version = 1\n[srv6_class_item]\n" + was);
    write(scratch.path() / "new.toml", "version = 1\n[srv6_class_item]\n" + is);
    return run(scratch.path(), "'" IDLC_PROGRAM "' compat " + options +
                                   " --labels old.toml new.toml " + descriptions + " " +
                                   descriptions);
}

/// The line that tells of the one change, behind the file's name, and what it says of both peers.
void expect_change(const std::string &was, const std::string &is, const std::string &change,
                   const std::string &old_peer, const std::string &new_peer, int status)
{
    const outcome o = compared(was, is);
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(o.status, status);
    const std::vector<std::string> lines = lines_of(o.out);
    ASSERT_EQ(lines.size(), 4U) << o.out;
    const std::string file = PROJECT_ROOT "/idl/srv6/srv6.idl:";
    EXPECT_EQ(lines[0], file + change + ", in 'srv6_class_item'");
    EXPECT_EQ(lines[1], "    old peer: " + old_peer);
    EXPECT_EQ(lines[2], "    new peer: " + new_peer);
}

TEST(compat_labels, tell_slots_of_one_type_that_were_exchanged)
{
    expect_change("f0 = { name = \"class\" }\nf1 = { name = \"metric\" }\n",
                  "f0 = { name = \"metric\" }\nf1 = { name = \"class\" }\n",
                  "31:5: breaks wire: slots-exchanged: slots f0 and f1, 'class' and 'metric', are "
                  "exchanged",
                  "each for the other; nothing is refused or logged",
                  "each for the other; nothing is refused or logged", 1);
}

TEST(compat_labels, tell_a_slot_whose_meaning_went_to_another)
{
    expect_change("f0 = { name = \"class\" }\n",
                  "f0 = { name = \"flags\" }\nf1 = { name = \"class\" }\n",
                  "31:5: breaks wire: slot-moved: slot f0 is 'flags', was 'class'",
                  "'flags' for 'class'; nothing is refused or logged",
                  "'class' for 'flags'; nothing is refused or logged", 1);
    expect_change("f0 = { name = \"class\" }\n", "f1 = { name = \"class\" }\n",
                  "31:5: breaks wire: slot-moved: slot f0 has no label, was 'class', which is f1",
                  "nothing for 'class' that is known; nothing is refused or logged",
                  "'class' for what it has no label for; nothing is refused or logged", 1);
}

TEST(compat_labels, tell_another_unit)
{
    expect_change("f0 = { name = \"age\", unit = \"s\" }\n",
                  "f0 = { name = \"age\", unit = \"ms\" }\n",
                  "31:5: breaks wire: slot-unit-changed: slot f0 counts 'ms', was 's'",
                  "numbers of 'ms' for 's'; nothing is refused or logged",
                  "numbers of 's' for 'ms'; nothing is refused or logged", 1);
}

TEST(compat_labels, tell_values_that_mean_something_else)
{
    const auto values = [](const std::string &names) {
        return "f2 = { name = \"state\", form = \"enum\", values = { " + names + " } }\n";
    };
    expect_change(
        values("1 = \"up\", 2 = \"down\""), values("1 = \"up\", 2 = \"idle\", 3 = \"down\""),
        "33:5: breaks wire: slot-values-changed: value 2 of slot f2 is 'idle', was 'down'",
        "'down' for 'idle'; nothing is refused or logged",
        "'idle' for 'down'; nothing is refused or logged", 1);
    EXPECT_EQ(compared(values("1 = \"up\""), values("1 = \"up\", 2 = \"down\"")).out, "");
}

TEST(compat_labels, of_another_name_say_that_it_may_mean_the_same)
{
    expect_change("f0 = { name = \"class\" }\n", "f0 = { name = \"klass\" }\n",
                  "31:5: keeps: slot-relabelled: slot f0 is labelled 'klass', was 'class'",
                  "the same bytes as before", "the same bytes as before", 0);
    EXPECT_EQ(compared("f0 = { name = \"a\" }\n", "f0 = { name = \"b\" }\n", "--strict all").status,
              1);
}

TEST(compat_labels, that_are_the_same_tell_nothing)
{
    const std::string labels = "f0 = { name = \"class\", unit = \"s\" }\n";
    EXPECT_EQ(compared(labels, labels).out, "");
    EXPECT_EQ(compared(labels, labels).status, 0);
    EXPECT_EQ(compared(labels, "f1 = { name = \"other\" }\n").out, "") << "a label is no slot";
}

TEST(compat_labels, with_which_something_is_wrong_are_left_out_with_a_warning)
{
    const outcome o = compared("f0 = { name = \"class\" }\n", "f9 = { name = \"class\" }\n");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err.rfind("new.toml:3: warning: srv6_class_item: \"f9\" is no slot; ", 0), 0U)
        << o.err;
    const scratch_directory scratch;
    const outcome gone = run(scratch.path(), "'" IDLC_PROGRAM "' compat --labels a.toml b.toml " +
                                                 descriptions + " " + descriptions);
    EXPECT_EQ(gone.status, 1);
    EXPECT_EQ(gone.err,
              "a.toml: error: cannot be read, No such file or directory; name a file that can\n");
    EXPECT_EQ(run("/", "'" IDLC_PROGRAM "' compat a b --labels one").status, 2);
}

} // namespace
