#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""The project's own checks find what they are there to find: checks_test.py TOOLS"""

import contextlib
import io
import pathlib
import sys
import tempfile
import unittest
from unittest import mock

sys.path.insert(0, sys.argv.pop(1))
import check_exports  # noqa: E402
import check_layers  # noqa: E402
import check_manual  # noqa: E402
import check_samples  # noqa: E402
import check_texts  # noqa: E402


def run(check, files):
    """The lines that `check` prints over a tree of `files`, with its exit code in front."""
    with tempfile.TemporaryDirectory() as folder, io.StringIO() as output:
        root = pathlib.Path(folder).resolve()
        for name, text in files.items():
            (root / name).parent.mkdir(parents=True, exist_ok=True)
            (root / name).write_text(text)
        with contextlib.redirect_stdout(output):
            code = check.main(root)
        return [code, *output.getvalue().splitlines()]


class Layers(unittest.TestCase):
    tree = {
        "include/drend.h": "#include <stdint.h>\n",
        "platform/include/orvex_platform/sbuf.h": "",
        "platform/src/inner.h": "#include <event2/event.h>\n#include \"orvex_platform/sbuf.h\"\n",
        "model/tree.h": '#include "drend.h"\n#include "orvex_platform/sbuf.h"\n#include <map>\n',
        "definitions/load.cpp": '#include "model/tree.h"\n#include <jansson.h>\n',
        "tools/ask/ask.h": "",
        "tools/ask/ask.cpp": '#include "ask.h"\n#include "drend.h"\n#include <histedit.h>\n',
        "tests/any.cpp": '#include "render/none.h"\n#include <libxml/tree.h>\n',
    }

    def setUp(self):
        patch = mock.patch.object(check_layers, "EXCEPTIONS", set())
        patch.start()
        self.addCleanup(patch.stop)

    def test_each_breach_is_named(self):
        breaches = {
            "definitions/more.cpp": '#include <jansson.h>\n',
            "expr/lexer.cpp": '// text\n#include "model/tree.h"\n#include <boost/any.hpp>\n',
            "frame/lock.cpp": '  #  include "platform/src/inner.h"\n#include <sys/types.h>\n',
            "include/drend.h": '#include "orvex_platform/sbuf.h"\n',
            "model/tree.h": '#include <event2/event.h>\n#include "definitions/load.cpp"\n',
            "tools/tell/tell.cpp": '#include "tools/ask/ask.h"\n#include "model/tree.h"\n',
        }
        self.assertEqual(run(check_layers, {**self.tree, **breaches}), [
            1, "definitions/more.cpp:1 -> jansson.h", "expr/lexer.cpp:2 -> model",
            "expr/lexer.cpp:3 -> boost", "frame/lock.cpp:1 -> platform/src",
            "include/drend.h:1 -> platform", "model/tree.h:1 -> event2",
            "model/tree.h:2 -> definitions", "tools/tell/tell.cpp:1 -> tools/ask",
            "tools/tell/tell.cpp:2 -> model"])

    def test_an_exception_must_be_needed(self):
        files = {**self.tree, "frame/start.cpp": '#include "model/tree.h"\n'}
        with mock.patch.object(check_layers, "EXCEPTIONS", {"frame/start.cpp"}):
            self.assertEqual(run(check_layers, files), [0, "includes run one way"])
            self.assertEqual(run(check_layers, self.tree),
                             [1, "frame/start.cpp: needs no exception any more"])


class Texts(unittest.TestCase):
    def test_each_fault_is_named(self):
        unavailable = "".join(["see is", "sue 4"])
        licence = check_texts.LICENCE
        self.assertEqual(run(check_texts, {
            "docs/a.md": f"good\nblank \n\ttab\n{unavailable} about the parts 1 to 3\n",
            "docs/b.md": "`tests/a.cpp:there` and `tests/a.cpp:gone`\n",
            "tests/a.cpp": licence + "TEST(a, there) {}\n",
            "frame/a.cpp": licence + "\tint a;\n" + "x" * 101 + "\n",
            "platform/a.c": licence + "int f(va_list a) {\n va_list b;\n va_copy(b, a);\n"
                            " return va_arg(b, int) + va_arg(a, int);\n}\n",
            "script/run": "end \n",
            "tests/data/golden.txt": "kept \n",
            "expr/a.h": "int a;\n" + licence,
        }), [1, "docs/a.md:2: trailing white space",
             f"docs/a.md:4: refers to '{unavailable[4:]}'",
             "docs/b.md:1: no test 'gone' in tests/a.cpp", "expr/a.h:1: no licence",
             "frame/a.cpp:2: tab", "frame/a.cpp:3: 101 columns",
             "platform/a.c:5: takes an argument from the parameter 'a'",
             "script/run:1: trailing white space"])

    def test_clean_texts_pass(self):
        clean = {"frame/a.cpp": check_texts.LICENCE + "x" * 100 + "\n", "raw.bin": "\udc80 "}
        with mock.patch("pathlib.Path.write_text", lambda path, text: path.write_bytes(
                text.encode("utf-8", "surrogateescape"))):
            self.assertEqual(run(check_texts, clean), [0, "texts are clean"])


class Exports(unittest.TestCase):
    header = """
        #define DREND_API
        /* DREND_API int commented(void); */
        DREND_API int drend_call(void* peer, int (*method)(void)) DREND_PRINTF(1, 2);
        DREND_API const char *
        drend_text(void);
        DREND_API extern const double table[19][2];
        DREND_API extern int count;
        int undeclared(void);
#ifdef __cplusplus
} /* extern "C" */
        DREND_API int drend_set(std::set<int>& out);
#endif
    """

    def test_names_are_read_from_the_header(self):
        self.assertEqual(check_exports.declared(self.header),
                         {"drend_call", "drend_text", "table", "count", "drend_set()"})

    def test_both_differences_are_named(self):
        with tempfile.NamedTemporaryFile("w") as header, io.StringIO() as output, \
                mock.patch.object(check_exports, "exported", lambda _: {"count", "drend_call()"}), \
                contextlib.redirect_stdout(output):
            header.write("DREND_API int drend_call(void);\nDREND_API extern int count;\n")
            header.flush()
            self.assertEqual(check_exports.main("", header.name), 1)
            self.assertEqual(output.getvalue(), "declared but not exported: drend_call\n"
                                                "exported but not declared: drend_call()\n")


class Manual(unittest.TestCase):
    header = ("DREND_API int drend_a(int (*drend_b_t)(void));\nDREND_API extern int drend_c;\n"
              "}\n#endif\ninline int drend_d(void) {\n")

    def check(self, page):
        main = check_manual.main
        with mock.patch.object(check_manual, "main",
                               lambda root: main(root / "drend.h", root / "drend.3")):
            return run(check_manual, {"drend.h": self.header, "drend.3": page})

    def test_page_and_header_name_the_same(self):
        page = ".It Fn drend_a\n.It Va drend_c\n.Fn drend_d .\n"
        self.assertEqual(self.check(page), [0, "3 names described"])
        self.assertEqual(self.check(page.replace("Fn drend_d", "Fn drend_e") + "DREND_F\n"), [
            1, "not in the page: drend_d", "not in the header: DREND_F",
            "not in the header: drend_e"])


class Samples(unittest.TestCase):
    files = {
        "a.c": "int a;\n/* [shown] */\nint b;\n/* [end] */\n/* [c] */\nint c;\n/* [end] */\n",
        "a.json": "{}\n",
        "docs/a.md": "<!-- a.c -->\n```c\nint b;\n```\n\n```c\nint other;\n```\n"
                     "<!-- a.c c -->\n```c\nint c;\n```\n",
        "docs/man/a.3": '.\\" a.json\n.Bd -literal\n{}\n.Ed\n',
    }

    def test_documents_show_what_the_files_have(self):
        self.assertEqual(run(check_samples, self.files), [0, "3 samples are as compiled"])
        changed = {**self.files, "a.c": "int b;\nint c;\n",
                   "docs/man/a.3": '.\\" a.json\n{}\n', "docs/b.md": "<!-- b.c -->\n```\n```\n"}
        self.assertEqual(run(check_samples, changed), [
            1, "docs/a.md: shows another a.c", "docs/a.md: shows another a.c c",
            "docs/b.md: shows another b.c",
            "docs/man/a.3: a sample's file is named, but no block follows"])


if __name__ == "__main__":
    unittest.main()
