#!/usr/bin/env python3
"""The shell of the tool: scripts, and a session at a terminal. Every wait is for a text or an end, up to a deadline.

Usage: tool_shell_test.py TOOL FOLDER_OF_THE_DEFINITIONS
"""
import json
import os
import pathlib
import pty
import re
import select
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import time
import unittest

TOOL, DEFINITIONS = (os.path.abspath(argument) for argument in sys.argv[1:3])
PATIENCE = 60
PROMPT = "vksettings> "


class Place:
    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vksettings-shell-"))
        self.environment = {**os.environ, "HOME": str(self.folder), "TERM": "xterm", "LC_ALL": "C.UTF-8",
                            "SETTINGS_FACTORYDIR": str(self.folder / "factory"),
                            "SETTINGS_INSTALLATIONDIR": str(self.folder / "installation"),
                            "SETTINGS_USERDIR": str(self.folder / "user")}
        for name in ("VARNEK_PREFDIR", "VKSETTINGS_FRONTEND", "VKSETTINGS_LOG", "XDG_STATE_HOME", "XDG_CONFIG_HOME"):
            self.environment.pop(name, None)
        for name in ("factory", "installation", "user"):
            (self.folder / name).mkdir()
        for name in ("editor", "plotting"):
            self.run("factory", "build", f"{DEFINITIONS}/{name}.json", f"{name}.vksettings")
            self.run("factory", "install", f"{name}.vksettings")

    def run(self, *arguments, code=0, **environment):
        return self.script("", *arguments, code=code, **environment)

    def script(self, lines, *arguments, code=0, **environment):
        """What is printed on both outputs."""
        done = subprocess.run([TOOL, *(arguments or ("shell",))], input=lines, text=True, cwd=self.folder,
                              env={**self.environment, **environment}, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=PATIENCE, check=False)
        if done.returncode != code:
            raise AssertionError(f"ended with {done.returncode}, not {code}: {done.stdout}")
        return done.stdout

    def remove(self):
        shutil.rmtree(self.folder)


class Terminal:
    """A shell at a terminal of its own."""

    def __init__(self, place):
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.chdir(place.folder)
            # libedit never lets go of the names of the functions that it is given.
            os.execve(TOOL, [TOOL, "shell"], {**place.environment, "ASAN_OPTIONS": "detect_leaks=0"})
        self.seen = ""
        self.await_text(PROMPT)

    def await_text(self, text):
        """What appears up to the text, without what drives the terminal."""
        end = time.monotonic() + PATIENCE
        while text not in self.seen:
            if not select.select([self.terminal], [], [], max(end - time.monotonic(), 0))[0]:
                raise AssertionError(f"{text!r} did not appear in {self.seen!r}")
            try:
                got = os.read(self.terminal, 4096).decode()
            except OSError:
                raise AssertionError(f"the shell ended, and {text!r} did not appear in {self.seen!r}") from None
            self.seen += re.sub(r"\x1b\[[0-9;?]*[A-Za-z]|\x1b[()=>].?|\r", "", got)
        before, self.seen = self.seen.split(text, 1)
        return before

    def type(self, keys):
        os.write(self.terminal, keys.encode())

    def line(self, text):
        """What the command prints."""
        self.type(text + "\n")
        self.await_text("\n")
        return self.await_text(PROMPT)

    def end(self, keys="\x04"):
        """The exit code."""
        self.type(keys)
        status = 0
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end:
            if select.select([self.terminal], [], [], 0.1)[0]:
                try:
                    if not os.read(self.terminal, 4096):
                        break
                except OSError:
                    break
        else:
            os.kill(self.process, signal.SIGKILL)
        status = os.waitpid(self.process, 0)[1]
        os.close(self.terminal)
        return os.waitstatus_to_exitcode(status)


class OnePlace(unittest.TestCase):
    def setUp(self):
        self.place = Place()
        self.addCleanup(self.place.remove)


class Scripts(OnePlace):
    def test_commands_on_one_tree(self):
        self.assertEqual("14\n12\nslate\n", self.place.script(
            "# a comment\n"
            "set editor.font.size 14\n"
            "get 'editor.font.size'   # and another\n"
            "\n"
            "unset editor.font.size\n"
            'get "editor.font"\\.size\n'
            "set editor.theme slate --level session\n"
            "get editor.theme"))
        self.assertEqual("paper\n", self.place.run("get", "editor.theme"))
        self.place.script("set editor.font.size 14\n")
        self.assertEqual("14\n", self.place.run("get", "editor.font.size"))

    def test_options_are_fresh_for_every_command(self):
        printed = self.place.script("get editor.font.size --json\nget editor.font.size\n"
                                    "set editor.font.size 20 --level session\nset editor.font.size 21\n"
                                    "get editor.font.size --level user\n")
        self.assertEqual(["12", "21"], [line for line in printed.splitlines() if line.isdigit()])

    def test_without_a_standard_input(self):
        ended = subprocess.run(["bash", "-c", 'exec "$0" shell <&-', TOOL], env=self.place.environment, timeout=PATIENCE,
                               capture_output=True)
        self.assertEqual((0, b"", b""), (ended.returncode, ended.stdout, ended.stderr))

    def test_the_first_failure_is_the_exit_code(self):
        printed = self.place.script("get editor.nothing\nno-such-command\nget editor.font.size\nget 'open\n", code=1)
        self.assertIn("vksettings: line 1: ", printed)
        self.assertIn("\n12\n", printed)
        self.assertIn("vksettings: line 4: the quote ' is not closed", printed)
        self.place.script("no-such-command\nget editor.nothing\n", code=2)
        self.place.script("dump missing.vksettings\n", code=3)
        self.assertEqual("", self.place.script("exit\nget editor.nothing\n"))

    def test_a_set_that_is_not_saved_says_so(self):
        user = self.place.folder / "user"
        self.place.run("set", "editor.font.size", "13")
        (user / "editor.vksettings").unlink()
        (user / "editor.vksettings").mkdir()  # no file can take its place, whoever runs this
        (user / "editor.vksettings" / "x").touch()
        printed = self.place.script("set editor.font.size 14\nget editor.font.size\n", code=3)
        self.assertIn("was not saved", printed)

    def test_reload_prints_what_changed(self):
        document = (pathlib.Path(DEFINITIONS) / "editor.json").read_text()
        changed = json.loads(document)
        font = next(group for group in changed["groups"] if group["groupName"] == "font")
        size = next(setting for setting in font["settings"] if setting["name"] == "size")
        size["value"] = {**size["value"], "qfdata": 15} if isinstance(size["value"], dict) else 15
        (self.place.folder / "changed.json").write_text(json.dumps(changed))
        installed = next((self.place.folder / "factory").rglob("editor.vksettings"))
        printed = self.place.script(f"get editor.font.size\nset editor.tabWidth 6 --level session\n"
                                    f"factory build changed.json {installed}\nreload editor\n"
                                    "get editor.font.size\nget editor.tabWidth\nreload nothing\n", code=1)
        self.assertIn("\neditor.font.size: 12 -> 15\n15\n6\n", printed)
        self.assertIn('line 7: ', printed)

    def test_reload_tells_what_is_wrong_with_a_group_that_nobody_has_needed(self):
        installed = next((self.place.folder / "factory").rglob("editor.vksettings"))
        good = installed.read_bytes()
        installed.write_bytes(b"no package")
        try:
            printed = self.place.script("reload editor\n", code=3)
            self.assertEqual(1, printed.count("too short"), printed)
            installed.unlink()
            self.place.script("reload editor\n", code=3)
        finally:
            installed.write_bytes(good)
        self.assertEqual("12\n", self.place.script("reload editor\nget editor.font.size\n"))

    def test_help_and_what_only_a_shell_has(self):
        self.assertIn("reload", self.place.script("help\n"))
        self.assertIn("VALUE", self.place.script("help set\n"))
        self.assertEqual(self.place.run("--help"), self.place.run("help"))
        self.assertEqual(self.place.run("set", "--help"), self.place.run("help", "set"))
        printed = self.place.script("get\nset editor.font.size --leve user\nfactory\n", code=2)
        self.assertEqual(["line 1", "line 2", "line 3"], re.findall("^vksettings: (line .): ", printed, re.M))
        self.place.run("reload", "editor", code=2)
        self.place.script("shell\n", code=2)

    def test_an_installation_value_is_seen_at_once(self):
        self.assertEqual("16\n", self.place.script("get editor.font.size\nset editor.font.size 16 --level installation\n"
                                                   "get editor.font.size\n").removeprefix("12\n"))

    def test_ctrl_c_ends_a_script_between_commands(self):
        process = subprocess.Popen([TOOL, "shell"], env=self.place.environment, stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, text=True)
        process.stdin.write("get editor.font.size\n")
        process.stdin.flush()
        self.assertEqual("12\n", process.stdout.readline())
        process.send_signal(signal.SIGINT)
        self.assertEqual(0, process.wait(PATIENCE))
        process.stdin.close()
        process.stdout.close()


class AtATerminal(OnePlace):
    def setUp(self):
        super().setUp()
        self.shell = Terminal(self.place)

    def test_a_session(self):
        self.assertEqual("12\n", self.shell.line("get editor.font.size"))
        self.assertEqual("editor.font.size: 12 -> 14\n", self.shell.line("set editor.font.size 14"))
        self.shell.type("set editor.font.size 20\x03")  # Ctrl-C
        self.shell.await_text("^C")
        self.shell.await_text(PROMPT)
        self.assertEqual("14\n", self.shell.line("get editor.font.size"))
        self.assertIn("is not", self.shell.line("get 'open") + "is not")
        self.assertEqual(0, self.shell.end())
        history = self.place.folder / ".local/state/vksettings/history"
        self.assertEqual(0o600, stat.S_IMODE(history.stat().st_mode))
        self.assertEqual("get editor.font.size\nset editor.font.size 14\nget editor.font.size\nget 'open\n",
                         history.read_text())
        again = Terminal(self.place)
        again.type("\x1b[A\x1b[A\n")  # up twice
        self.assertIn("14", again.await_text("\n" + PROMPT))
        self.assertEqual(0, again.end("exit\n"))

    def test_completion(self):
        self.shell.type("tool\t")
        self.shell.await_text("toolboxes ")
        self.assertRegex(self.shell.line(""), r"editor +file +yes +no")
        self.shell.type("get edi\t")
        self.shell.await_text("editor.")
        self.shell.type("font.si\t")
        self.shell.await_text("font.size ")
        self.assertEqual("12\n", self.shell.line("--level fac\t"))
        loaded = self.shell.line("toolboxes")
        self.assertRegex(loaded, r"editor +file +yes +yes +[0-9.]+ ms")
        self.assertRegex(loaded, r"plotting +file +yes +no")
        self.shell.type("get editor.\t")
        self.shell.await_text("editor.font.")
        self.shell.await_text(PROMPT + "get editor.")
        self.shell.type("\x15")
        self.assertEqual(0, self.shell.end())

    def test_changes_of_others_appear_above_the_line(self):
        self.assertEqual("12\n", self.shell.line("get editor.font.size"))
        self.shell.type("get editor.font")
        self.shell.await_text("get editor.font")
        self.place.run("set", "editor.font.size", "17")
        self.shell.await_text("editor.font.size: 12 -> 17\n")
        self.shell.await_text(PROMPT + "get editor.font")
        self.assertEqual("17\n", self.shell.line(".size"))
        self.assertEqual(0, self.shell.end())

    def test_a_watch_ends_and_the_session_goes_on(self):
        self.shell.line("get editor.font.size")
        self.shell.type("watch editor\n")
        self.shell.await_text("\n")
        time_out, value = time.monotonic() + PATIENCE, 20
        while "->" not in self.shell.seen and time.monotonic() < time_out:
            value += 1
            self.place.run("set", "editor.font.size", str(value))
            if select.select([self.shell.terminal], [], [], 0.2)[0]:
                self.shell.seen += os.read(self.shell.terminal, 4096).decode()
        self.assertIn("->", self.shell.seen)
        self.shell.type("\x03")
        self.shell.await_text(PROMPT)
        self.assertEqual(f"{value}\n", self.shell.line("get editor.font.size"))
        self.assertEqual(0, self.shell.end())


class Prefdir(OnePlace):
    def setUp(self):
        super().setUp()
        del self.place.environment["SETTINGS_USERDIR"]
        self.old, self.new = self.place.folder / "old", self.place.folder / "new place"
        self.place.environment["VARNEK_PREFDIR"] = str(self.old)

    def test_a_move_in_a_session(self):
        printed = self.place.script(f"set editor.font.size 20\nprefdir move '{self.new}'\nget editor.font.size\n"
                                    f"set editor.font.size 30\nprefdir move {self.old}\nget editor.font.size\n")
        self.assertEqual(f"editor.font.size: 20 -> 12\nfrom {self.old}\nto   {self.new}\n12\n"
                         f"editor.font.size: 30 -> 20\nfrom {self.new}\nto   {self.old}\n20\n", printed)
        self.assertEqual("30\n", self.place.run("get", "editor.font.size", VARNEK_PREFDIR=str(self.new)))

    def test_changes_in_the_new_directory_are_followed(self):
        shell = Terminal(self.place)
        self.assertEqual("12\n", shell.line("get editor.font.size"))
        self.assertEqual(f"from {self.old}\nto   {self.new}\n", shell.line(f"prefdir move '{self.new}'"))
        self.place.run("set", "editor.font.size", "17", VARNEK_PREFDIR=str(self.new))
        shell.await_text("editor.font.size: 12 -> 17\n")
        self.assertEqual(0, shell.end())

    def test_a_move_with_the_files(self):
        self.place.run("set", "editor.font.size", "20")
        printed = self.place.run("prefdir", "move", str(self.new), "--copy")
        self.assertEqual(f"from {self.old}\nto   {self.new}\ncopied 1 settings file\n"
                         "This lasts for one command. For all that follow:\n"
                         f"  export VARNEK_PREFDIR='{self.new}'\n", printed)
        command = printed.splitlines()[-1].strip()
        self.assertEqual("20\n", subprocess.run(["sh", "-c", f'{command}; exec "$0" get editor.font.size', TOOL],
                                                env=self.place.environment, capture_output=True, text=True,
                                                check=True).stdout)
        self.assertEqual(0o600, stat.S_IMODE((self.new / "editor.vksettings").stat().st_mode))
        self.assertIn("holds settings files already",
                      self.place.run("prefdir", "move", str(self.new), "--copy", code=1))

    def test_refusals(self):
        self.assertIn("absolute path", self.place.run("prefdir", "move", "new", code=1))
        self.assertIn("already", self.place.run("prefdir", "move", str(self.old), code=1))
        (self.place.folder / "file").touch()
        message = self.place.run("prefdir", "move", str(self.place.folder / "file" / "below"), code=3)
        self.assertIn("stays in use", message)
        user = str(self.place.folder / "user")
        self.assertIn("SETTINGS_USERDIR is set", self.place.run("prefdir", "move", str(self.new), code=1,
                                                                SETTINGS_USERDIR=user))
        self.assertFalse(self.new.exists())


class Toolboxes(OnePlace):
    def test_the_table(self):
        printed = self.place.run("toolboxes")
        self.assertRegex(printed, r"^GROUP +SOURCE +VISIBLE +LOADED +TIME +FILES\neditor +file +yes +no +/.*\n"
                                  r"plotting +file +yes +no +/.*\n$")
        self.assertRegex(self.place.run("toolboxes", "--load"), r"editor +file +yes +yes +[0-9.]+ ms +/")
        self.assertIn('"loaded": false', self.place.run("toolboxes", "--json"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
