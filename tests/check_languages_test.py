#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The language check itself: each kind of fault is seen, and a good file passes."""
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tools"))
import check_languages

ROWS = r"""
TEXT_ROW(kConnecting, 114, kFormat, "Connecting to \042%s\042...")
TEXT_ROW(kReceiving, 115, kFormat, "Receiving message %i (%i kb) of %i...")
TEXT_ROW(kSpam, 138, kFormat, "Spam messages: %i")
TEXT_ROW(kPurge, 143, kPlain, "Deleting...")
TEXT_ROW(kDisabled, 159, kPlain, "disabled")
TEXT_ROW(kDeleted, 163, kFormat, "- %i messages deleted")
TEXT_ROW(kWords, 169, kPlain, "from 0% to 100%.")
TEXT_ROW(kClosing, 172, kPlain, "Closing...")
TEXT_ROW(kPurgeToo, 179, kPlain, "Deleting...")
TEXT_ROW(kMark, 183, kKept, "(LF:)")
TEXT_ROW(kBackup, 190, kPlain, "Import?\n")
TEXT_ROW(kFailed, 207, kFormat, "Message %i: %s")
TEXT_ROW(kListening, 300, kPlain, "Listening")
TEXT_ROW(kNotSaved, 311, kPlain, "Not saved")
TEXT_ROW(kNoSetting, 700, kPlain, "No such setting")
TEXT_ROW(kPageTray, 4015, kPlain, "Tray Area")
"""
IDS = """
#define MENU_TRAY 121
#define COMMAND_EXIT 40002
#define COMMAND_VIEW 40008

#define BUTTON_OK 1

#define DIALOG_STATISTICS 128
#define STATISTICS_MAXIMUM 1040

#define DIALOG_TO_COME 130
#define TO_COME_LABEL 2
#define MENU_TO_COME 122

#define PAGE_TRAY 4015

// Page "Tray Area"
#define TRAY_BUBBLE 1045
"""
SCRIPT = """
MENU_TRAY MENU
BEGIN
  POPUP "Tray" // never seen
  BEGIN
    MENUITEM "&View\\tEnter", COMMAND_VIEW
    MENUITEM SEPARATOR
    MENUITEM "E&xit", COMMAND_EXIT
  END
END
DIALOG_STATISTICS DIALOGEX 0, 0, 167, 124
STYLE WS_POPUP | WS_CAPTION
CAPTION "Statistic"
BEGIN
  LTEXT "Maximum: %i (%s)", STATISTICS_MAXIMUM, 8, 28, 100, 8,
        SS_NOPREFIX
  DEFPUSHBUTTON "&OK", IDOK, 8, 66, 40, 15
END
"""
WINDOW = "if (!saved) Warn(TextOf(Text::kNotSaved), Change::kListening);"
FORMATS = '    {128, 1040, "%i %s"},  // statistic'

# Everything that is demanded of a language the program comes with.
WHOLE = """[texts]
114 = Nach %s
115 = Nachricht %i (%i KB) von %i
138 = Spam: %i
143 = Weg damit
159 = aus
163 = - %i weg
169 = bis 100%
172 = Ende
179 = Weg damit
190 = Ja?\\n
207 = Nachricht %i: %s
311 = Nicht gespeichert
4015 = Symbol
[menu 121]
40008 = &Zeigen\\tEingabe
40002 = &Beenden
[dialog 128]
caption = Zahlen
1040 = Am meisten: %i %s
1 = Gut
"""

INFORMATION = "[information]\nname = N\nlanguage = 0x0407\nauthor = A\n"


class CheckLanguages(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        for name, text in {"src/config/text_rows.inc": ROWS, "src/ui/resource.h": IDS,
                           "src/extras/language_file.cpp": FORMATS, "src/ui/a/window.cpp": WINDOW,
                           "src/console/command.cpp": "Text::kListening", "resources/Program.rc": SCRIPT}.items():
            (Path(folder.name) / name).parent.mkdir(parents=True, exist_ok=True)
            (Path(folder.name) / name).write_text(text)
        self.originals = check_languages.Originals(Path(folder.name))

    def check(self, text, information=INFORMATION):
        data = text if isinstance(text, bytes) else (information + text).encode()
        return check_languages.Check(self.originals, check_languages.LanguageFile("X", data)).run()

    def faults_of(self, other, shipped=True):
        """What is wrong with a language that the program comes with, or that somebody wrote, beside a whole one."""
        with tempfile.TemporaryDirectory() as folder:
            files = [Path(folder) / "Whole.Quillbeaker.language", Path(folder) / "Other.Quillbeaker.language"]
            for path, text in zip(files, (WHOLE, other)):
                path.write_text(INFORMATION + text, "utf-8")
            checks = check_languages.check_files(self.originals, files, files[:2 if shipped else 1])
        self.assertEqual([complete for _, complete in checks], [False, True, shipped])
        return [fault for check, complete in checks[1:] for fault in check.faults + check.missing * complete]

    def assert_fault(self, text, word):
        faults = self.check(text).faults
        self.assertEqual(len(faults), 1, faults)
        self.assertIn(word, faults[0])

    def test_originals_are_read(self):
        self.assertEqual(self.originals.texts[114], 'Connecting to "%s"...')
        self.assertEqual(self.originals.commands, {121: {40008: "&View\tEnter", 40002: "E&xit"}})
        self.assertEqual(self.originals.popups, {(121, "0"): "Tray"})
        dialog = self.originals.dialogs[128]
        self.assertEqual((dialog.caption, dialog.controls[1].text), ("Statistic", "&OK"))
        self.assertEqual(dialog.controls[1040].size, [8, 28, 100, 8])
        self.assertEqual(self.originals.known_controls(4015), {1, 1045})

    def test_a_good_file_passes(self):
        check = self.check("[texts]\n114 = Nach „%s“\n169 = bis 100%\n190 = Ja?\\n\n[dialog 128]\ncaption = S\n"
                           "1040 = Am meisten: %i %s\n[menu 121]\npopup 0 = T\n40008 = &Zeigen\\tEingabe\n"
                           "[dialog 4015]\n1045 = Zeigen\n")
        self.assertEqual(check.faults, [])
        self.assertEqual(len([what for what in check.missing if what.startswith("text")]), 10)
        self.assertIn("command 40002 of menu 121: 'E&xit'", check.missing)
        self.assertIn("control 1 of dialog 128: '&OK'", check.missing)

    def test_bytes_that_are_no_utf8(self):
        self.assertIn("UTF-8", self.check(b"\xff").faults[0])

    def test_information(self):
        faults = self.check("", "[information]\nname = N\n").faults
        self.assertEqual(len(faults), 2, faults)

    def test_malformed_lines(self):
        self.assert_fault("[pictures]\n", "no such section")
        self.assert_fault("[texts]\nword\n", "no entry")
        self.assert_fault("[texts]\nx = a\n", "no such key")
        self.assert_fault("[texts]\n143 = a\\q\n", "backslash")
        self.assert_fault("[texts]\n143 = a\n143 = b\n", "twice")
        self.assert_fault("[texts]\n143 = " + "x" * 5000 + "\n", "longer")

    def test_what_is_extra(self):
        self.assert_fault("[texts]\n999 = a\n", "no text 999")
        self.assert_fault("[texts]\n183 = a\n", "never translated")
        self.assert_fault("[dialog 129]\n1 = a\n", "no dialog 129")
        self.assert_fault("[dialog 128]\n1041 = a\n", "no control 1041")
        self.assert_fault("[dialog 4015]\n1046 = a\n", "no control 1046")
        self.assert_fault("[menu 121]\n40009 = a\n", "no command 40009")
        self.assert_fault("[menu 121]\npopup 1 = a\n", "no sub-menu 1")
        self.assert_fault("[menu 123]\npopup 0 = a\n40009 = a\n", "no menu 123")

    def test_conversions(self):
        self.assert_fault("[texts]\n138 = Spam: %s\n", "conversions")
        self.assert_fault("[texts]\n138 = Spam: %i = 100%\n", "conversions")
        self.assert_fault("[dialog 128]\n1040 = %s %i\n", "conversions")
        self.assertEqual(self.check("[texts]\n138 = %i%%\n").faults, [])

    def test_blanks_and_tabs(self):
        self.assert_fault("[texts]\n143 =  a\n", "other blanks")
        self.assert_fault("[texts]\n190 = Ja?\n", "other blanks")
        self.assert_fault("[menu 121]\n40008 = &Zeigen\n", "tabs")

    def test_mnemonics_are_not_doubled(self):
        self.assert_fault("[menu 121]\n40002 = &Verlassen\n", '"&v"')
        self.assert_fault("[dialog 128]\n1040 = &O %i %s\n", '"&o"')
        self.assert_fault("[menu 122]\n1 = &A\n2 = B&a\n", '"&a"')
        self.assert_fault("[dialog 130]\n1 = &A\n2 = B&a\n", '"&a"')

    def test_a_shipped_language_has_every_text_of_the_windows(self):
        self.assertEqual(self.faults_of(WHOLE), [])
        for line in WHOLE.splitlines():
            if " = " not in line:
                continue
            faults = self.faults_of(WHOLE.replace(line + "\n", ""))
            self.assertEqual(len(faults), 1, (line, faults))
            self.assertIn(line.split(" = ")[0], faults[0])
            self.assertEqual(self.faults_of(WHOLE.replace(line + "\n", ""), shipped=False), [])

    def test_texts_of_the_console_may_be_missing(self):
        self.assertEqual(self.faults_of(WHOLE.replace("4015 =", "300 = Wartet\n700 = Fehlt\n4015 =")), [])

    def test_shipped_languages_have_the_same_dialogs_and_menus_to_come(self):
        to_come = ("[dialog 130]\ncaption = Neu\n1 = &Gut\n", "[menu 122]\n40009 = Neu\n")
        for more, what in zip(to_come, ("control 1 of dialog 130", "command 40009 of menu 122")):
            self.assertIn(f"{what}, which other languages have", self.faults_of(WHOLE + more))
        self.assertEqual(self.faults_of(WHOLE + "[menu 121]\npopup 0 = N\n"),
                         ["sub-menu 0 of menu 121, which other languages have"])
        self.assertEqual(self.faults_of(WHOLE + to_come[0], shipped=False), [])

    def test_lengths(self):
        self.assert_fault("[texts]\n172 = " + "x" * 64 + "\n", "tip")
        self.assert_fault("[texts]\n143 = " + "x" * 100 + "\n", "bubble")
        self.assert_fault("[texts]\n163 = - %i " + "x" * 50 + "\n", "too long")

    def test_what_does_not_fit_its_control(self):
        self.assert_fault("[dialog 128]\n1 = A very long button\n", "too small")
        self.assert_fault("[dialog 128]\n1040 = The highest number of them all was: %i %s\n", "too small")


if __name__ == "__main__":
    unittest.main()
