#!/usr/bin/env python3
"""What the mutation harness changes and leaves alone, in which order, and what its summary counts."""
import contextlib
import io
import os
import subprocess
import sys
import tempfile
import unittest
from collections import Counter
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
import judge  # noqa: E402
import mutants  # noqa: E402
from build import Program  # noqa: E402
from changes import Names, all_changes, code_of  # noqa: E402


def changed(text, rule=None, others=()):
    """The text after each change, for a text of one line without what stays."""
    names = Names([text, *others])
    return [text[:c.at] + c.text + text[c.end:] for c in all_changes(text, names) if rule in (None, c.rule)]


class rules(unittest.TestCase):
    def gives(self, rule, text, *expected, others=()):
        self.assertEqual(Counter(changed(text, rule, others)), Counter(expected))

    def test_comparisons(self):
        self.gives("operator", "a < b", "a <= b", "a >= b")
        self.gives("operator", "a >= b", "a > b", "a < b")
        self.gives("operator", "a == b", "a != b")

    def test_arithmetic(self):
        self.gives("operator", "a + b", "a - b")
        self.gives("operator", "a * b % c", "a + b % c", "a * b / c")
        self.gives("operator", "a += b", "a -= b", "a = b")

    def test_operators_at_the_end_of_a_line(self):
        self.gives("operator", "a &&\n    b", "a ||\n    b")
        self.gives("operator", "a +\n    b", "a -\n    b")

    def test_signs(self):
        self.gives("operator", "f(!a)", "f(a)")
        self.gives("operator", "++i", "--i")
        self.gives("operator", "a = -b", "a = b")

    def test_references_are_no_operators(self):
        self.gives("operator", "f(const message &m, auto &&work)")

    def test_constants_by_one(self):
        self.gives("constant", "a = 0x10U", "a = 17U", "a = 15U")
        self.gives("constant", "a = 0", "a = 1")

    def test_enumerators(self):
        self.gives("name", "f(color::red)", "f(color::green)", "f(color::blue)",
                   others=["enum class color : uint8_t { red, green, blue };"])

    def test_constants_of_one_type(self):
        other = "inline constexpr uint8_t one = 1;\ninline constexpr uint8_t two = 2;\ninline constexpr int three = 3;"
        self.gives("name", "f(one)", "f(two)", others=[other])

    def test_members_of_one_type(self):
        struct = "struct pair {\n    int first;\n    char *text;\n    int second = 0;\n    void (*read)(int);\n    void (*write)(int);\n};"
        self.gives("name", "p.first", "p.second", others=[struct])
        self.gives("name", "p->write(x)", "p->read(x)", others=[struct])
        self.gives("name", "p\n    .first", "p\n    .second", others=[struct])
        self.gives("name", "p.text", others=[struct])
        self.gives("name", "{.first = a}", others=[struct])

    def test_conditions(self):
        self.gives("condition", "if (a) b();", "if (true) b();", "if (false) b();", "if (!(a)) b();")
        self.gives("condition", "if constexpr (a)", "if constexpr (true)", "if constexpr (false)", "if constexpr (!(a))")
        self.gives("condition", "if (f([] { g(); }))", "if (true)", "if (false)", "if (!(f([] { g(); })))")
        self.gives("condition", "while (a)", "while (false)")
        self.gives("condition", "x = a ? b : c;", "x = a ? c : b;")
        self.gives("condition", "if (auto a = f(); a)", "if (auto a = f();true)", "if (auto a = f();false)",
                   "if (auto a = f();!(a))")

    def test_operands(self):
        self.gives("dropped operand", "return a && f(b, c);", "return a;", "return f(b, c);")
        self.gives("dropped operand", "if (a || b)", "if (a)", "if (b)")

    def test_statements(self):
        self.gives("dropped statement", "{\n    f(a);\n}", "{\n    ;\n}")
        self.gives("dropped statement", "if (a)\n    f(a);\nelse\n    g(b);\n", "if (a)\n    ;\nelse\n    g(b);\n",
                   "if (a)\n    f(a);\nelse\n    ;\n")
        self.gives("dropped statement", "switch (s) {\ncase shape::array:\n    f(a);\n}", "switch (s) {\ncase shape::array:\n    ;\n}")
        self.gives("dropped statement", "{\n    const int a = b;\n    return a;\n}")

    def test_jumps(self):
        self.gives("jump", "for (;;) {\n    break;\n}", "for (;;) {\n    ;\n}", "for (;;) {\n    continue;\n}")
        self.gives("jump", "{\n    if (a)\n        return b;\n    return c;\n}", "{\n    if (a)\n        ;\n    return c;\n}")
        self.gives("jump", "{\n    if (a) {\n        f();\n        return b;\n    }\n    return c;\n}",
                   "{\n    if (a) {\n        f();\n        ;\n    }\n    return c;\n}")
        self.gives("jump", "switch (a) {\ncase 1:\n    return b;\ncase 2:\n    return c;\n}",
                   "switch (a) {\ncase 1:\n    ;\ncase 2:\n    return c;\n}")
        # A function that ends without a value is none that a test could mind.
        self.gives("jump", "int f()\n{\n    return a;\n}\n")

    def test_returned_values(self):
        self.gives("returned value", "return a;", "return 0;", "return true;", "return !(a);")
        self.gives("returned value", "return true;")  # a name

    def test_loops(self):
        self.gives("loop", "for (const slot &s : m.slots) {\n    f(s);\n}", "for (const slot &s : m.slots) { break;\n    f(s);\n}",
                   "for (const slot &s : m.slots) {\n    f(s);\nbreak; }")

    def test_arguments(self):
        self.gives("swapped arguments", "f(a, b, [] { g(); })", "f(b, a, [] { g(); })")
        self.gives("swapped arguments", "f(a, b, c)", "f(b, a, c)", "f(a,c, b)")
        self.gives("swapped arguments", "return {a, b};", "return {b, a};")
        self.gives("swapped arguments", "void f(int a, int b)")

    def test_initialisers(self):
        self.gives("initialiser", "x = {.a = 1, .b = 2};", "x = { .b = 2};", "x = {.a = 1,};", "x = {.a = 2, .b = 1};")

    def test_cases(self):
        self.gives("case", "switch (s) {\ncase a: f();\nbreak;\ncase b: g();\n}", "switch (s) {\ncase b: f();\nbreak;\ncase a: g();\n}")

    def test_texts(self):
        self.gives("text", 'f("a", "")', 'f("ax", "")', 'f("a", "x")')
        self.gives("text", 'f(x,\n    "a")', 'f(x,\n    "ax")')


class left_alone(unittest.TestCase):
    def has_no_changes(self, text):
        self.assertEqual(changed(text), [])

    def test_comments_attributes_and_assertions(self):
        self.has_no_changes("// a + 1\n/* a + 1 */")
        self.has_no_changes('[[gnu::aligned(8)]] int a;')
        self.has_no_changes('static_assert(a + 1 == 2, "text");')

    def test_directives(self):
        self.has_no_changes('#include "serial/wire.h"\n#if a < 1\n#pragma GCC unroll 16\n#endif')

    def test_bodies_of_macros_are_code(self):
        text = "#define F(a, b) \\\n    { \\\n        g(a, b); \\\n    }\n"
        self.assertEqual(changed(text, "dropped statement"), ["#define F(a, b) \\\n    { \\\n        ; \\\n    }\n"])
        self.assertEqual(changed(text, "swapped arguments"), ["#define F(a, b) \\\n    { \\\n        g(b, a); \\\n    }\n"])

    def test_the_other_machine(self):
        self.has_no_changes("#if defined(__aarch64__)\na = 1;\n#endif")
        self.has_no_changes("#if defined(__x86_64__)\n#else\na = 1;\n#endif")
        self.has_no_changes("#if a\n#elif defined(__aarch64__)\na = 1;\n#endif")
        self.assertEqual(len(changed("#if defined(__aarch64__)\n#else\na = 0;\n#endif")), 1)

    def test_advice_to_the_optimiser(self):
        self.assertEqual(changed("__builtin_expect(a, 1)", "constant"), [])

    def test_code_keeps_its_places(self):
        text = '#define A(x) \\\n    f("text", x) // more\nint a = \'"\'; /* b */ "c\\"d"\n'
        self.assertEqual(len(code_of(text)), len(text))
        self.assertEqual(code_of(text).count("\n"), text.count("\n"))


class drawing(unittest.TestCase):
    def first(self, seed, count):
        return [m.id for _, m in zip(range(count), mutants.draw(seed))]

    def test_a_seed_repeats(self):
        self.assertEqual(self.first(5, 40), self.first(5, 40))
        self.assertEqual(self.first(5, 40)[:20], self.first(5, 20))
        self.assertNotEqual(self.first(5, 40), self.first(6, 40))

    def test_a_seed_repeats_in_another_process(self):
        listed = {subprocess.run([sys.executable, mutants.__file__, "--list", "--seed", "5", "--count", "300"], check=True,
                                 capture_output=True, env=dict(os.environ, PYTHONHASHSEED=str(n))).stdout for n in (1, 2)}
        self.assertEqual(len(listed), 1)

    def test_every_folder_is_drawn_from(self):
        drawn = {m.path for _, m in zip(range(3000), mutants.draw(1))}
        self.assertEqual({Path(p).parent for p in drawn}, {Path(p).parent for p in mutants.source_files()})


class ends(unittest.TestCase):
    program = Program("tests/codec/codec_test")

    def test_of_a_test_that_fails_crashes_or_lasts(self):
        ran = "[ RUN      ] reader.x\n"
        self.assertEqual(judge.end_of(self.program, -5, ran + "reader_test.cpp:12: Failure\n"),
                         ("test", "codec_test reader.x reader_test.cpp:12"))
        self.assertEqual(judge.end_of(self.program, 1, ran), ("test", "codec_test reader.x ended by 1"))
        self.assertEqual(judge.end_of(self.program, -11, ran), ("crash", "codec_test reader.x ended by -11"))
        self.assertEqual(judge.end_of(self.program, None, ran), ("timeout", "codec_test reader.x ended by None"))

    def test_time_is_the_processor_s(self):
        began = judge.time.monotonic()
        self.assertEqual(judge.run(["sh", "-c", "while :; do :; done"], 0.2)[0], None)
        self.assertLess(judge.time.monotonic() - began, 20)
        self.assertEqual(judge.run(["sh", "-c", "sleep 0.5; echo said; exit 3"], 0.2)[:2], (3, "said\n"))

    def test_what_is_ended_from_outside_is_done_again(self):
        with tempfile.TemporaryDirectory() as at:
            killed_once = f"test -e {at}/x && exit 3; touch {at}/x; kill -9 $$"
            self.assertEqual(judge.run(["sh", "-c", killed_once], 1)[0], 3)
            killed_once = f"test -e {at}/y && exit 0; touch {at}/y; echo fatal error: Killed signal terminated cc1plus >&2; exit 1"
            self.assertTrue(judge.make(["sh", "-c", killed_once]))
            wrong = f"test -e {at}/z && exit 0; touch {at}/z; echo x.cpp:1: error: no such thing >&2; exit 1"
            self.assertFalse(judge.make(["sh", "-c", wrong]))


class summaries(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.drawn = [m for _, m in zip(range(6), mutants.draw(7))]

    def setUp(self):
        self.room = tempfile.TemporaryDirectory()
        at = Path(self.room.name)
        self.kept = mutants.BUILD, mutants.RESULTS, mutants.EQUIVALENT
        mutants.BUILD, mutants.RESULTS, mutants.EQUIVALENT = at, at / "results.jsonl", at / "equivalent.txt"
        self.argue(0)

    def tearDown(self):
        mutants.BUILD, mutants.RESULTS, mutants.EQUIVALENT = self.kept
        self.room.cleanup()

    def argue(self, count):
        mutants.EQUIVALENT.write_text("# what follows\n\n" + "\n\n".join(
            f"{m.path}\n- {m.was}\n+ {m.now}\nNobody can tell." for m in self.drawn[:count]) + "\n")
        return mutants.Equivalent()

    def run_of(self, equivalent, verdicts):
        run = mutants.Run(7, equivalent)
        results = mutants.Results("library", "tests", False)
        for m, verdict in zip(self.drawn, verdicts):
            results.add(m, verdict, "program test", 1)
        said = io.StringIO()
        with contextlib.redirect_stdout(said):
            survivors, compiled = mutants.summary(run, self.drawn, results, equivalent)
        return survivors, compiled, said.getvalue()

    def test_what_counts(self):
        survivors, compiled, said = self.run_of(self.argue(1), ["survived", "survived", "slower", "compile", "test", "same"])
        self.assertEqual(survivors, [self.drawn[1]])
        self.assertEqual(compiled, 5)
        self.assertRegex(said, r"argued equivalent before the seed was drawn +1\n")
        self.assertRegex(said, r"unargued survivors +1\n +of what compiled +20.0%")

    def test_an_argument_that_comes_later_does_not_count(self):
        mutants.Run(7, self.argue(1))
        survivors, _, said = self.run_of(self.argue(2), ["survived", "survived", "test", "test", "test", "test"])
        self.assertEqual(survivors, [self.drawn[1]])
        self.assertIn("1 of the survivors are argued for since the seed was drawn", said)

    def test_what_is_judged_anew(self):
        results = mutants.Results("library", "tests", False)
        results.add(self.drawn[0], "survived", "", 1)
        results.add(self.drawn[1], "test", "program test", 1)
        self.assertIsNotNone(mutants.Results("library", "tests", False).of(self.drawn[0]))
        others = mutants.Results("library", "other tests", False)
        self.assertIsNone(others.of(self.drawn[0]))
        self.assertIsNotNone(others.of(self.drawn[1]))
        self.assertIsNone(mutants.Results("other library", "tests", False).of(self.drawn[1]))

    def test_an_entry_that_nothing_needs(self):
        results = [{"file": m.path, "was": m.was, "now": m.now, "verdict": v, "detail": ""}
                   for m, v in zip(self.drawn, ["survived", "slower"])]
        said = io.StringIO()
        with contextlib.redirect_stdout(said):
            self.assertEqual(self.argue(2).report(results), 1)
        self.assertIn(self.drawn[1].now, said.getvalue())

    def test_the_blob_is_git_s(self):
        mutants.EQUIVALENT.write_text("# none\n")
        self.assertEqual(mutants.Equivalent().blob, "6305ed30c07eae7e4892901f0c91b6e524d5a290")


if __name__ == "__main__":
    unittest.main()
