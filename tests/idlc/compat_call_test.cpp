// What idlc compat compares: descriptions, directories, and revisions of a repository.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "tests/idlc/changes.h"
#include "tests/support/run.h"

namespace {

using namespace vorl::test;

const std::string idlc = "'" IDLC_PROGRAM "'";

TEST(compat_call, takes_directories_with_descriptions_at_any_depth)
{
    const scratch_directory scratch;
    for (const std::string version : {"was", "is"}) {
        fs::create_directories(scratch.path() / version / "t");
        fs::create_directories(scratch.path() / version / "deep" / "u");
        write(scratch.path() / version / "t" / "t.idl", "package t;\nmessage t_a { uint8 f0; }\n");
        write(scratch.path() / version / "t" / "t.h", "not a description");
    }
    write(scratch.path() / "was/deep/u/u.idl", "package u;\nmessage u_a { uint8 f0; }\n");
    write(scratch.path() / "is/deep/u/u.idl", "package u;\nmessage u_a { uint64 f0; }\n");
    const outcome o = run(scratch.path(), idlc + " compat was is");
    EXPECT_EQ(
        changes_of(o.out),
        (std::vector<std::string>{
            "is/deep/u/u.idl:2:15: breaks wire: slot-type-changed: slot f0 of 'u_a' is uint64, "
            "was uint8",
            "is/deep/u/u.idl:2:9: breaks api: record-changed: the record of 'u_a' has 8 bytes, "
            "had 1"}));
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(run(scratch.path(), idlc + " compat was was").status, 0);
}

// The name is the same, the hashed one is not: "t.u_a" and "t_u.a".
TEST(compat_call, sees_a_message_move_to_another_package)
{
    const scratch_directory scratch;
    for (const std::string version : {"was", "is"})
        fs::create_directory(scratch.path() / version);
    write(scratch.path() / "was/t.idl", "package t;\nmessage t_u_a { uint8 f0; }\n");
    write(scratch.path() / "is/t_u.idl", "package t_u;\nmessage t_u_a { uint8 f0; }\n");
    const outcome o = run(scratch.path(), idlc + " compat was is");
    EXPECT_EQ(
        changes_of(o.out),
        (std::vector<std::string>{
            "is/t_u.idl:2:9: breaks wire: message-moved: message 't_u_a' moves to package 't_u': "
            "0xDB8EEF6E becomes 0xB9801DD2",
            "was/t.idl:1:9: breaks api: package-removed: package 't' is removed, and with it its "
            "functions",
            "is/t_u.idl:1:9: keeps: package-added: package 't_u' is new"}));
    EXPECT_EQ(o.status, 1);
}

TEST(compat_call, compares_the_committed_descriptions_with_themselves)
{
    const std::string descriptions = "'" PROJECT_ROOT "/idl'";
    const outcome o = run(PROJECT_ROOT, idlc + " compat " + descriptions + " " + descriptions);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(o.status, 0);
}

TEST(compat_call, of_wrong_arguments_is_refused)
{
    const scratch_directory scratch;
    for (const std::string arguments : {"", " a.idl", " a.idl b.idl c.idl"}) {
        const outcome o = run(scratch.path(), idlc + " compat" + arguments);
        EXPECT_EQ(o.status, 2) << arguments;
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err,
                  "idlc compat: two versions are compared; name the old one and the new one\n"
                  "'idlc compat --help' tells how it is called\n");
    }
}

TEST(compat_call, of_what_cannot_be_compared_says_why)
{
    const scratch_directory scratch;
    write(scratch.path() / "good.idl", "package t;\nmessage t_a { uint8 f0; }\n");
    write(scratch.path() / "faulty.idl", "package t;\nmessage t_a { uint9 f0; }\n");
    fs::create_directory(scratch.path() / "empty");
    const auto refused = [&scratch](const std::string &arguments, const std::string &said) {
        const outcome o = run(scratch.path(), idlc + " compat " + arguments);
        EXPECT_EQ(o.status, 1) << arguments;
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err.rfind(said, 0), 0U) << o.err;
    };
    refused("good.idl faulty.idl", "faulty.idl:2:15: error: unknown type 'uint9'");
    refused("faulty.idl good.idl", "faulty.idl:2:15: error: unknown type 'uint9'");
    refused("good.idl gone.idl", "gone.idl: error: cannot be read, No such file or directory; ");
    refused("empty good.idl", "empty: error: holds no description; ");
}

/// A repository with one commit, tagged old, in which f0 of t_a is a uint16; it is a uint32 now.
struct repository {
    scratch_directory scratch;

    repository()
    {
        fs::create_directories(scratch.path() / "idl/t");
        write(scratch.path() / "idl/t/t.idl", "package t;\nmessage t_a { uint16 f0; }\n");
        const outcome o = run(scratch.path(),
                              "git init -q && git add idl && git -c user.name=a -c user.email=a@b "
                              "-c commit.gpgsign=false commit -qm one && git tag old");
        EXPECT_EQ(o.status, 0) << o.err;
        write(scratch.path() / "idl/t/t.idl", "package t;\nmessage t_a { uint32 f0; }\n");
    }
    outcome compat(const std::string &arguments, const std::string &directory = "") const
    {
        return run(scratch.path() / directory, idlc + " compat " + arguments);
    }
};

TEST(compat_revision, is_an_old_version_of_a_file_or_of_a_directory)
{
    const repository r;
    const std::string said =
        "t.idl:2:15: breaks wire: slot-type-changed: slot f0 of 't_a' is uint32, "
        "was uint16";
    const std::tuple<std::string, std::string, std::string> calls[] = {
        {"old:idl idl", "", "idl/t/"},
        {"old: .", "", "./idl/t/"},
        {"old:idl/t/t.idl idl/t/t.idl", "", "idl/t/"},
        {"HEAD:./t.idl t.idl", "idl/t", ""},
        {"HEAD:./ .", "idl/t", "./"},
        {"HEAD:idl ..", "idl/t", "../t/"},
        {"--revision old idl", "", "idl/t/"},
        {"--revision old idl/t/t.idl", "", "idl/t/"},
        {"--revision=HEAD t.idl", "idl/t", ""},
        {"--revision HEAD .", "idl/t", "./"},
        {"--revision HEAD " + r.scratch.path().string() + "/idl", "idl/t",
         r.scratch.path().string() + "/idl/t/"},
    };
    for (const auto &[arguments, directory, path] : calls) {
        const outcome o = r.compat(arguments, directory);
        EXPECT_EQ(o.status, 1) << arguments;
        EXPECT_EQ(o.err, "") << arguments;
        ASSERT_FALSE(o.out.empty()) << arguments;
        EXPECT_EQ(lines_of(o.out)[0], path + said) << arguments;
    }
    // What is only in the old version has a place in it.
    write(r.scratch.path() / "idl/t/t.idl", "package t;\nmessage t_b { uint8 f0; uint8 f1; }\n");
    EXPECT_EQ(
        lines_of(r.compat("--revision old idl").out).at(0),
        "old:idl/t/t.idl:2:9: breaks wire: message-removed: message 't_a' is removed, 0xBB73D822");
}

TEST(compat_revision, that_is_missing_is_told_in_one_line)
{
    const repository r;
    write(r.scratch.path() / "none.txt", "");
    const auto refused = [&r](const std::string &call, const std::string &said) {
        const outcome o = run(r.scratch.path(), call);
        EXPECT_EQ(o.status, 1) << call;
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(lines_of(o.err).size(), 1U) << o.err;
        EXPECT_EQ(o.err.substr(0, said.size()), said);
    };
    refused(idlc + " compat gone:idl idl", "gone:idl: error: git does not find it (fatal: ");
    refused(idlc + " compat old:gone idl", "old:gone: error: git does not find it (fatal: ");
    refused(idlc + " compat --revision gone idl", "gone:idl: error: git does not find it (fatal: ");
    refused(idlc + " compat --revision -p idl",
            "-p:idl: error: '-p' is no revision; write REV:PATH");
    refused(idlc + " compat ':idl' idl", ":idl: error: '' is no revision; write REV:PATH");
#ifndef IDLC_EMULATED // an emulator reports no program that cannot be started
    refused("PATH=/nowhere " + idlc + " compat old:idl idl",
            "old:idl: error: git cannot be run, No such file or directory; install git, or name");
#endif
    const scratch_directory outside;
    const outcome o =
        run(outside.path(), "GIT_CEILING_DIRECTORIES=/ " + idlc + " compat old:idl .");
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err.find("old:idl: error: git does not find it (fatal: not a git repository"), 0U)
        << o.err;
    EXPECT_EQ(r.compat("--revision old").status, 2);
    EXPECT_EQ(
        r.compat("--strict most idl idl").err.rfind("idlc compat: --strict takes no 'most'; ", 0),
        0U);
}

} // namespace
