#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""check_languages.py [--missing] [FILE...]: holds language files against the program's texts.

Without FILE all of resources/languages/. Prints one line per fault and exits with 1 if there is any. What is
missing is a fault in the files of that folder, which the program comes with; of others it is counted, and --missing
lists it. A file of that folder also has what any other one there has: so dialogs and menus that have no template yet
are complete in all of them or in none. The console's own texts (300 to 399, 700 to 799) may be missing everywhere,
but for those that sources outside src/console name: the Windows program shows these as well.
check_languages.py --template prints an empty file with every original, for a new language.
docs/TRANSLATING.md describes the format and what is checked.
"""
import argparse
import math
import re
import sys
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
SHIPPED = TOP / "resources/languages"
CONSOLE = {*range(300, 400), *range(700, 800)}

# Filled in with these a tip of the tray icon has at most 63 characters and a line of the bubble 99.
TYPICAL = {"s": "pop3.example.com", "i": "1234", "f": "1234.5"}
TIP_TEXTS, TIP_LIMIT = (114, 115, 172), 63
BUBBLE_TEXTS, BUBBLE_LIMIT = (114, 115, 138, 143, 159, 172, 179, 207), 99
# Menu, letter: two English commands share it, which is part of their contract. Pressed again it goes to the next.
SHARED_LETTERS = {("menu 120", "r")}
TITLE_AND_VERSION = "Quillbeaker 1.7.1 "
DELETED_TEXT = 163

CONVERSION = re.compile(r"%(?:%|[-+ #0]*[0-9]*(?:\.[0-9]*)?[hlLqjzt]*[diouxXeEfFgGaAcspn]|)")
ESCAPE = re.compile(r"\\(?:([0-7]{1,3})|x([0-9A-Fa-f]+)|(.))", re.DOTALL)
LONGEST = 4096


def unescape_c(literal):
    """The characters of a C or resource string, its quotation marks taken off."""
    def character(match):
        if match[1]:
            return chr(int(match[1], 8))
        if match[2]:
            return chr(int(match[2], 16))
        return {"n": "\n", "t": "\t", "r": "\r"}.get(match[3], match[3])
    return ESCAPE.sub(character, literal.replace('""', '\\"'))


def conversions(text):
    """The printf conversions of a text; a percent sign that begins none stands for itself."""
    return [found for found in CONVERSION.findall(text) if found != "%%"]


def mnemonic(text):
    """The letter behind a single "&", in lower case, or None."""
    found = re.search(r"&(?!&)(.)", text.split("\t")[0].replace("&&", ""))
    return found[1].lower() if found else None


# --- The originals ---------------------------------------------------------------------------------------

class Control:
    def __init__(self, kind, text, number, size=None):
        self.kind, self.text, self.number, self.size = kind, text, number, size


class Dialog:
    def __init__(self, caption=None):
        self.caption, self.controls = caption, {}


class Originals:
    """Everything that can be translated: texts, dialogs, menus; and which ids exist at all."""

    def __init__(self, top):
        self.texts, self.kinds, self.names = {}, {}, {}
        self.dialogs, self.commands, self.popups = {}, {}, {}
        self.ids, self.dialog_ids = dict(SYSTEM_IDS), {}
        self.menu_ids = {}
        self._read_rows(top / "src/config/text_rows.inc")
        self.console = CONSOLE - self._named_outside_the_console(top)
        self._read_ids(top / "src/ui/resource.h")
        self.control_formats = {
            (int(dialog), int(control)): formats.split()
            for dialog, control, formats in re.findall(
                r'\{(\d+), (\d+), "([^"]+)"\}', (top / "src/extras/language_file.cpp").read_text("utf-8"))}
        for script in sorted((top / "resources").glob("*.rc")):
            ResourceScript(self, script.read_text("utf-8")).read()

    def _read_rows(self, path):
        row = re.compile(r'^TEXT_ROW\((\w+), (\d+), (\w+), "((?:[^"\\]|\\.)*)"\)', re.MULTILINE)
        for name, number, kind, english in row.findall(path.read_text("utf-8")):
            self.names[name] = int(number)
            self.texts[int(number)] = unescape_c(english)
            self.kinds[int(number)] = kind

    def _named_outside_the_console(self, top):
        sources = [path for path in (top / "src").rglob("*.cpp") if path.relative_to(top).parts[1] != "console"]
        named = {name for path in sources for name in re.findall(r"\bText::(k\w+)", path.read_text("utf-8"))}
        return {number for name, number in self.names.items() if name in named}

    def _read_ids(self, path):
        """A control's #define stands in the block of its dialog, or below the comment that names its pages."""
        dialogs, shared = [], set()
        for line in path.read_text("utf-8").splitlines():
            found = re.match(r"#define (\w+) (\d+)$", line.split("//")[0].strip())
            if found:
                name, number = found[1], int(found[2])
                self.ids[name] = number
                if name.startswith("MENU_"):
                    self.menu_ids[number] = name
                elif name.startswith("BUTTON_"):
                    shared.add(number)
                elif name.startswith(("DIALOG_", "PAGE_")):
                    self.dialog_ids[number] = set()
                    dialogs = [number]
                else:
                    for dialog in dialogs:
                        self.dialog_ids[dialog].add(number)
            elif line.startswith("// Page"):
                titles = re.findall(r'"([^"]+)"', line)
                dialogs = [number for number in self.dialog_ids if self.texts.get(number) in titles]
            elif not line.strip():
                dialogs = []
        for controls in self.dialog_ids.values():
            controls |= shared

    def known_controls(self, dialog):
        """Ids that a dialog may have: of its template, or, while it has none, of the id header."""
        if dialog in self.dialogs:
            return set(self.dialogs[dialog].controls)
        return self.dialog_ids[dialog]


SYSTEM_IDS = {"IDOK": 1, "IDCANCEL": 2, "IDABORT": 3, "IDYES": 6, "IDNO": 7, "IDCLOSE": 8, "IDHELP": 9,
              "IDC_STATIC": -1}
CONTROL_KINDS = {"LTEXT", "CTEXT", "RTEXT", "PUSHBUTTON", "DEFPUSHBUTTON", "CHECKBOX", "AUTOCHECKBOX",
                 "RADIOBUTTON", "AUTORADIOBUTTON", "GROUPBOX", "CONTROL", "ICON"}
TEXTLESS_KINDS = {"EDITTEXT", "COMBOBOX", "LISTBOX", "SCROLLBAR"}


class ResourceScript:
    """Dialogs and menus of one resource script."""

    TOKEN = re.compile(r'"(?:""|\\.|[^"\\])*"|\w+|\S')

    def __init__(self, originals, source):
        source = re.sub(r"/\*.*?\*/|^\s*#.*?$", "", source, flags=re.DOTALL | re.MULTILINE)
        source = re.sub(r'("(?:""|\\.|[^"\\])*")|//[^\n]*', lambda found: found[1] or "", source)
        self.tokens = self.TOKEN.findall(source)
        self.at = 0
        self.originals = originals

    def read(self):
        while self.at < len(self.tokens):
            word = self.tokens[self.at].upper()
            self.at += 1
            if word in ("DIALOG", "DIALOGEX"):
                self.read_dialog(self.number(self.tokens[self.at - 2]))
            elif word in ("MENU", "MENUEX"):
                self.read_menu(self.number(self.tokens[self.at - 2]))

    def number(self, token):
        return int(token, 0) if re.match(r"[0-9]", token) else self.originals.ids.get(token)

    @staticmethod
    def text(token):
        return unescape_c(token[1:-1]) if token.startswith('"') else ""

    def fields(self, end):
        """The comma-separated fields from here to the token at `end`, each a list of tokens."""
        fields = [[]]
        for token in self.tokens[self.at:end]:
            if token == ",":
                fields.append([])
            else:
                fields[-1].append(token)
        self.at = end
        return fields

    def next_of(self, words, start):
        return next((i for i in range(start, len(self.tokens)) if self.tokens[i].upper() in words),
                    len(self.tokens))

    def read_dialog(self, number):
        dialog = Dialog()
        self.originals.dialogs[number] = dialog
        begin = self.next_of({"BEGIN"}, self.at)
        for i in range(self.at, begin):
            if self.tokens[i].upper() == "CAPTION":
                dialog.caption = self.text(self.tokens[i + 1])
        self.at = begin + 1
        keywords = CONTROL_KINDS | TEXTLESS_KINDS | {"END"}
        while self.at < len(self.tokens) and self.tokens[self.at].upper() != "END":
            kind = self.tokens[self.at].upper()
            self.at += 1
            fields = self.fields(self.next_of(keywords, self.at))
            if kind in CONTROL_KINDS:
                self.add_control(dialog, kind, fields)
            elif fields and fields[0]:
                control = Control(kind, "", self.number(fields[0][0]))
                dialog.controls[control.number] = control

    def add_control(self, dialog, kind, fields):
        # CONTROL has class and style before the size.
        size_at = 4 if kind == "CONTROL" else 2
        if kind == "CONTROL" and any("BS_AUTO" in word or "BS_CHECK" in word for word in fields[3]):
            kind = "AUTOCHECKBOX"
        size = [self.number("".join(field)) for field in fields[size_at:size_at + 4] if field]
        number = self.number("".join(fields[1]))
        dialog.controls[number] = Control(kind, self.text("".join(fields[0])), number,
                                          size if len(size) == 4 else None)

    def read_menu(self, menu):
        self.at = self.next_of({"BEGIN"}, self.at) + 1
        self.read_items(menu, [])

    def read_items(self, menu, path):
        position = 0
        while self.at < len(self.tokens) and self.tokens[self.at].upper() != "END":
            word = self.tokens[self.at].upper()
            self.at += 1
            if word == "POPUP":
                here = path + [str(position)]
                self.originals.popups[menu, ".".join(here)] = self.text(self.tokens[self.at])
                self.at = self.next_of({"BEGIN"}, self.at) + 1
                self.read_items(menu, here)
                position += 1
            elif word == "MENUITEM":
                if self.tokens[self.at].startswith('"'):
                    command = self.number(self.tokens[self.at + 2])
                    self.originals.commands.setdefault(menu, {})[command] = self.text(self.tokens[self.at])
                position += 1
        self.at += 1


# --- A language file -------------------------------------------------------------------------------------

class LanguageFile:
    """One file read as the program reads it, but with every fault named."""

    def __init__(self, name, data):
        self.name, self.faults = name, []
        self.information, self.texts = {}, {}
        self.controls, self.commands, self.popups = {}, {}, {}
        self.lines = {}
        try:
            text = data.decode("utf-8-sig")
        except UnicodeDecodeError as error:
            self.faults.append(f"is no UTF-8: {error}")
            return
        section = None
        for number, line in enumerate(text.split("\n"), 1):
            section = self.read_line(number, line.removesuffix("\r"), section)

    def read_line(self, number, line, section):
        stripped = line.strip()
        if not stripped or stripped.startswith(";"):
            return section
        if stripped.startswith("["):
            found = re.fullmatch(r"\[\s*(?:(information|texts)|(dialog|menu)\s+(\d+|0x[0-9a-f]+))\s*\]",
                                 stripped, re.IGNORECASE)
            if not found:
                self.faults.append(f"line {number}: no such section: {stripped}")
                return None
            return (found[1].lower(), 0) if found[1] else (found[2].lower(), int(found[3], 0))
        key, equals, value = line.partition("=")
        if section is None or not equals:
            self.faults.append(f"line {number}: no entry of a section: {stripped[:40]}")
            return section
        self.put(number, section, key.strip(), value[1:] if value.startswith(" ") else value)
        return section

    def put(self, line, section, key, value):
        if not value:
            return
        if re.search(r"\\(?![nt\\])", value.replace("\\\\", "")) or re.search(r"[\x00-\x1f\x7f]", value):
            self.faults.append(f"line {line}: only \\n, \\t and \\\\ may follow a backslash, and no control characters")
            return
        if len(value.encode("utf-8")) > LONGEST:
            self.faults.append(f"line {line}: longer than {LONGEST} bytes")
            return
        text = re.sub(r"\\(.)", lambda found: {"n": "\n", "t": "\t"}.get(found[1], found[1]), value)
        table, place = self.place_of(section, key)
        if table is None:
            self.faults.append(f"line {line}: no such key: {key}")
        elif place in table:
            self.faults.append(f"line {line}: {key} stands there twice")
        else:
            table[place] = text
            self.lines[id(table), place] = line

    def place_of(self, section, key):
        kind, number = section
        is_number = re.fullmatch(r"\d+|0x[0-9a-fA-F]+", key)
        if kind == "information":
            return (self.information, key.lower()) if key.lower() in ("name", "language", "author") else (None, 0)
        if kind == "texts":
            return (self.texts, int(key, 0)) if is_number else (None, 0)
        if kind == "dialog":
            if key.lower() == "caption":
                return self.controls, (number, "caption")
            return (self.controls, (number, int(key, 0))) if is_number else (None, 0)
        popup = re.fullmatch(r"popup\s*([0-9]+(?:\.[0-9]+)*)", key, re.IGNORECASE)
        if popup:
            return self.popups, (number, popup[1])
        return (self.commands, (number, int(key, 0))) if is_number else (None, 0)

    def line(self, table, place):
        return f"line {self.lines[id(table), place]}: "


# --- What is checked -------------------------------------------------------------------------------------

class Check:
    def __init__(self, originals, language, others=()):
        """The others are languages that come with this one and have what it has."""
        self.originals, self.language, self.others = originals, language, others
        self.faults, self.missing = list(language.faults), []

    def run(self):
        self.check_information()
        self.check_texts()
        self.check_lengths()
        self.check_controls()
        self.check_menus()
        self.check_others()
        return self

    def fault(self, where, what):
        self.faults.append(where + what)

    def check_information(self):
        for key in ("name", "language", "author"):
            if not self.language.information.get(key):
                self.fault("", f"the information block does not tell the {key}")
        if not re.fullmatch(r"0x[0-9a-fA-F]{3,4}|[0-9]{4,5}", self.language.information.get("language", "0x407")):
            self.fault("", "the language is no Windows language id")

    def check_edges(self, where, original, text):
        """Blanks and line ends at both ends belong to a text; key names stand behind a tab."""
        ends = [(re.match(r"\s*", one)[0], re.search(r"\s*\Z", one)[0]) for one in (original, text)]
        if ends[0][0] != ends[1][0] or bool(ends[0][1]) != bool(ends[1][1]):
            self.fault(where, f"begins or ends with other blanks than {original!r}")
        if original.count("\t") != text.count("\t"):
            self.fault(where, f"has not as many tabs as {original!r}")

    def check_texts(self):
        for number, text in self.language.texts.items():
            where = self.language.line(self.language.texts, number)
            if number not in self.originals.texts:
                self.fault(where, f"there is no text {number}")
                continue
            original, kind = self.originals.texts[number], self.originals.kinds[number]
            if kind == "kKept":
                self.fault(where, f"text {number} is never translated")
            if kind == "kFormat" and conversions(text) != conversions(original):
                self.fault(where, f"the conversions are {conversions(text)}, not {conversions(original)}")
            if number not in self.originals.console:  # there blanks fill columns
                self.check_edges(where, original, text)
        for number, original in self.originals.texts.items():
            if (self.originals.kinds[number] != "kKept" and number not in self.originals.console
                    and number not in self.language.texts):
                self.missing.append(f"text {number}: {original!r}")

    def filled(self, number):
        text = self.language.texts.get(number, self.originals.texts[number])
        return CONVERSION.sub(lambda found: TYPICAL.get(found[0][-1], "%"), text)

    def check_lengths(self):
        for numbers, limit, what in ((TIP_TEXTS, TIP_LIMIT, "tip"), (BUBBLE_TEXTS, BUBBLE_LIMIT, "bubble")):
            for number in numbers:
                if len(self.filled(number)) > limit:
                    self.fault("", f"text {number} has {len(self.filled(number))} characters in the {what}, "
                                   f"more than {limit}")
        if len(TITLE_AND_VERSION + self.filled(DELETED_TEXT)) > TIP_LIMIT:
            self.fault("", f"text {DELETED_TEXT} is too long behind title and version")

    def check_controls(self):
        originals, controls = self.originals, self.language.controls
        for (dialog, control), text in controls.items():
            where = self.language.line(controls, (dialog, control))
            if dialog not in originals.dialog_ids:
                self.fault(where, f"there is no dialog {dialog}")
                continue
            if control != "caption" and control not in originals.known_controls(dialog):
                self.fault(where, f"dialog {dialog} has no control {control}")
            formats = originals.control_formats.get((dialog, control))
            if formats is not None and conversions(text) != formats:
                self.fault(where, f"the conversions are {conversions(text)}, not {formats}")
        for number, dialog in originals.dialogs.items():
            self.check_dialog(number, dialog)
        # Dialogs without a template yet are held against themselves.
        for number in sorted({dialog for dialog, _ in controls} - set(originals.dialogs)):
            self.check_mnemonics(f"dialog {number}", [
                (f"control {control} of dialog {number}", text)
                for (dialog, control), text in controls.items() if dialog == number])

    def check_dialog(self, number, dialog):
        controls = self.language.controls
        if dialog.caption and (number, "caption") not in controls:
            self.missing.append(f"caption of dialog {number}: {dialog.caption!r}")
        shown = []
        for control in dialog.controls.values():
            text = controls.get((number, control.number), control.text)
            if control.text and (number, control.number) not in controls:
                self.missing.append(f"control {control.number} of dialog {number}: {control.text!r}")
            if text:
                shown.append((f"control {control.number} of dialog {number}", text))
                if clipped(control, text):
                    self.fault("", f"control {control.number} of dialog {number} is too small for {text!r}")
        # Of a pair that never stands there together, OK and Yes, the letters may be the same; we have none such.
        self.check_mnemonics(f"dialog {number}", shown)

    def check_menus(self):
        originals, language = self.originals, self.language
        for menu, command in language.commands:
            where = language.line(language.commands, (menu, command))
            if menu not in originals.menu_ids:
                self.fault(where, f"there is no menu {menu}")
            elif menu in originals.commands and command not in originals.commands[menu]:
                self.fault(where, f"menu {menu} has no command {command}")
        for menu, path in language.popups:
            if menu in originals.commands and (menu, path) not in originals.popups:
                self.fault(language.line(language.popups, (menu, path)), f"menu {menu} has no sub-menu {path}")
        # Menus without a template yet are held against themselves.
        for menu in sorted(set(originals.commands) | {menu for menu, _ in language.commands}):
            items = {command: None for of, command in language.commands if of == menu}
            items.update(originals.commands.get(menu, {}))
            shown = []
            for command, original in items.items():
                text = language.commands.get((menu, command), original)
                if (menu, command) not in language.commands:
                    self.missing.append(f"command {command} of menu {menu}: {original!r}")
                elif original is not None:
                    self.check_edges(language.line(language.commands, (menu, command)), original, text)
                shown.append((f"command {command} of menu {menu}", text))
            self.check_mnemonics(f"menu {menu}", shown)

    def check_others(self):
        """What other languages have and the originals do not tell: dialogs and menus without a template yet."""
        def only_others(table):
            return sorted(set().union(*(getattr(other, table) for other in self.others))
                          - set(getattr(self.language, table)), key=str)

        for dialog, control in only_others("controls"):
            if dialog not in self.originals.dialogs:
                self.missing.append(f"control {control} of dialog {dialog}, which other languages have")
        for menu, command in only_others("commands"):
            if menu not in self.originals.commands:
                self.missing.append(f"command {command} of menu {menu}, which other languages have")
        for menu, path in only_others("popups"):
            self.missing.append(f"sub-menu {path} of menu {menu}, which other languages have")

    def check_mnemonics(self, where, shown):
        letters = {}
        for what, text in shown:
            letter = mnemonic(text)
            if self.language.name == "English" and (where, letter) in SHARED_LETTERS:
                continue
            if letter and letter in letters:
                self.fault("", f"{what} has the same \"&{letter}\" as {letters[letter]}")
            elif letter:
                letters[letter] = what


# Widths in dialog units, four of which are the average letter: an estimate, the windows are measured under Wine.
NARROW, WIDE = set("ijltfrI.,:;'|!()[]\"- "), set("mwMW@%")


def width(text):
    text = text.replace("&&", "\0").replace("&", "")
    return sum(2.2 if c in NARROW else 6.2 if c in WIDE else 4.8 if c.isupper() else 4.1 for c in text)


def clipped(control, text):
    """Whether the text is likely to be too large for the control."""
    if control.size is None or control.kind in ("ICON", "CONTROL"):
        return False
    across, down = control.size[2], control.size[3]
    if control.kind in ("LTEXT", "CTEXT", "RTEXT"):
        # Words wrap, so a line is not filled to its end.
        lines = sum(max(1, math.ceil(width(line) / (across * (1 if width(line) <= across else 0.92))))
                    for line in text.split("\n"))
        return lines > max(1, down // 8)
    margin = 6 if "PUSH" in control.kind else 14 if control.kind != "GROUPBOX" else 12
    return width(text) > across - margin


def english(originals):
    """The originals as a language of their own, for what holds for them too."""
    language = LanguageFile("English", b"[information]\nname=English\nlanguage=0x0409\nauthor=-\n")
    return Check(originals, language)


def print_template(originals):
    def entry(key, text):
        escaped = text.replace("\\", "\\\\").replace("\n", "\\n").replace("\t", "\\t")
        print(f"; {escaped}\n{key} =")

    print("[information]\nname =\nlanguage =\nauthor =\n\n[texts]")
    for number, text in originals.texts.items():
        if originals.kinds[number] != "kKept":
            entry(number, text)
    for menu, commands in originals.commands.items():
        print(f"\n[menu {menu}]")
        for (of, path), text in originals.popups.items():
            if of == menu:
                entry(f"popup {path}", text)
        for command, text in commands.items():
            entry(command, text)
    for number, dialog in originals.dialogs.items():
        print(f"\n[dialog {number}]")
        if dialog.caption:
            entry("caption", dialog.caption)
        for control in dialog.controls.values():
            if control.text:
                entry(control.number, control.text)


def read_languages(files):
    return [LanguageFile(path.name.split(".")[0], path.read_bytes()) for path in files]


def check_files(originals, files, shipped):
    """Checks of the English originals and of each file, and whether what is missing in it is a fault."""
    complete = {path.resolve() for path in shipped}
    others = read_languages(shipped)
    checks = [(english(originals).run(), False)]
    for path, language in zip(files, read_languages(files)):
        is_shipped = path.resolve() in complete
        checks.append((Check(originals, language, others if is_shipped else ()).run(), is_shipped))
    return checks


def main(arguments):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--missing", action="store_true", help="list what is missing in every language")
    parser.add_argument("--template", action="store_true", help="print an empty language file")
    parser.add_argument("files", nargs="*", type=Path)
    options = parser.parse_args(arguments)
    originals = Originals(TOP)
    if options.template:
        print_template(originals)
        return 0
    shipped = sorted(SHIPPED.glob("*.language"))
    files = options.files or shipped
    faults = 0
    for check, complete in check_files(originals, files, shipped):
        name = check.language.name
        found = check.faults + (["missing: " + what for what in check.missing] if complete else [])
        for what in found:
            print(f"{name}: {what}")
        if options.missing and not complete and name != "English":
            for what in check.missing:
                print(f"{name} lacks {what}")
        faults += len(found)
        if name != "English":
            print(f"{name}: {len(check.language.texts) + len(check.language.controls) + len(check.language.commands)}"
                  f" texts, {len(check.missing)} missing, {len(found)} faults")
    return 1 if faults or not files else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
