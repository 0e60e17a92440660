#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The include check itself: each kind of breach is seen, and good files pass."""
import tempfile
import unittest
from pathlib import Path

import check_includes


class CheckIncludes(unittest.TestCase):
    def breaches(self, files):
        """The breaches of a source folder made of {name: text}."""
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            for name, text in files.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(text)
            lines, count = check_includes.check(root)
            self.assertEqual(count, len(files))
            return lines

    def assert_breach(self, files, where, word):
        lines = self.breaches(files)
        self.assertEqual(len(lines), 1, lines)
        self.assertTrue(lines[0].startswith(where), lines[0])
        self.assertIn(word, lines[0])

    def test_downward_and_own_folder_pass(self):
        self.assertEqual(self.breaches({
            "platform/files.h": "", "config/keys.h": "",
            "stores/a.h": '#include "config/keys.h"\n#include "platform/files.h"\n#include <string>\n',
            "stores/b.cpp": '#include "stores/a.h"\n'}), [])

    def test_upward(self):
        self.assert_breach({"pop3/a.h": "", "config/b.h": '\n#include "pop3/a.h"\n'}, "config/b.h:2:", "above")

    def test_sideways(self):
        self.assert_breach({"stores/a.h": "", "filter/b.h": '#include "stores/a.h"\n'}, "filter/b.h:1:", "one floor")

    def test_rooms(self):
        files = {"pop3/watch.h": "", "pop3/upstream/a.h": '#include "pop3/watch.h"\n',
                 "pop3/check/b.h": '#include "pop3/upstream/a.h"\n', "pop3/local/c.h": '#include "pop3/check/b.h"\n'}
        self.assertEqual(self.breaches(files), [])
        self.assert_breach({**files, "pop3/upstream/d.h": '#include "pop3/check/b.h"\n'}, "pop3/upstream/d.h:1:",
                           "pop3/check/")
        self.assert_breach({**files, "pop3/d.h": '#include "pop3/upstream/a.h"\n'}, "pop3/d.h:1:", "pop3/upstream/")

    def test_path_not_from_the_source_folder(self):
        self.assert_breach({"config/a.h": "", "config/b.h": '#include "a.h"\n'}, "config/b.h:1:", "no file")

    def test_one_systems_own_header(self):
        self.assert_breach({"platform/posix/a.h": "", "config/b.h": '#include "platform/posix/a.h"\n'},
                           "config/b.h:1:", "own")

    def test_system_headers(self):
        self.assert_breach({"pop3/a.cpp": "#include <Windows.h>\n"}, "pop3/a.cpp:1:", "Windows")
        self.assert_breach({"pop3/a.cpp": "#include <sys/socket.h>\n"}, "pop3/a.cpp:1:", "POSIX")
        self.assertEqual(self.breaches({"platform/windows/a.cpp": "#include <windows.h>\n",
                                        "ui/b.cpp": "#include <windows.h>\n"}), [])

    def test_system_macros(self):
        self.assert_breach({"message/a.cpp": "# if defined(_WIN32)\n#endif\n"}, "message/a.cpp:1:", "platform/")
        self.assertEqual(self.breaches({"platform/a.cpp": "#ifdef _WIN32\n#endif\n"}), [])

    def test_comments_do_not_count(self):
        self.assertEqual(self.breaches({"config/a.h": '/*\n#include "pop3/b.h"\n*/\n// #include "pop3/b.h"\n'}), [])

    def test_unknown_folder(self):
        self.assert_breach({"attic/a.h": ""}, "attic/a.h", "no floor")


if __name__ == "__main__":
    unittest.main()
