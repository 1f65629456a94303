#!/usr/bin/env python3
"""Groups that one process serves and others use. Every wait is for a line or an end, up to a deadline.

Usage: tool_remote_test.py TOOL FOLDER_OF_THE_DEFINITIONS
"""
import json
import os
import pathlib
import queue
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import unittest

TOOL, DEFINITIONS = (os.path.abspath(argument) for argument in sys.argv[1:3])
PATIENCE = 30


class Running:
    """A command that runs until it is ended, its lines as they come."""

    def __init__(self, environment, *arguments):
        self.process = subprocess.Popen([TOOL, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        env=environment, text=True)
        self.lines = queue.Queue()
        self.reader = threading.Thread(target=self.read)
        self.reader.start()

    def read(self):
        for line in self.process.stdout:
            self.lines.put(line.rstrip("\n"))

    def next(self):
        try:
            return self.lines.get(timeout=PATIENCE)
        except queue.Empty:
            return "(nothing came)"

    def end(self, how=signal.SIGTERM):
        if self.process.poll() is None:
            self.process.send_signal(how)
        try:
            code = self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            code = "hangs"
        self.reader.join()
        self.process.stdout.close()
        self.errors = self.process.stderr.read()
        self.process.stderr.close()
        return code


class RemoteTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vksettings-remote-"))
        self.addCleanup(shutil.rmtree, self.folder)
        (self.folder / "factory").mkdir()
        (self.folder / "run").mkdir(mode=0o700)
        self.environment = {**os.environ, "HOME": str(self.folder), "XDG_RUNTIME_DIR": str(self.folder / "run"),
                            "SETTINGS_FACTORYDIR": str(self.folder / "factory"),
                            "SETTINGS_USERDIR": str(self.folder / "user")}
        self.environment.pop("SETTINGS_INSTALLATIONDIR", None)
        self.other = {**self.environment, "SETTINGS_USERDIR": str(self.folder / "other")}
        for name in ("editor", "numerics"):
            self.run_tool("factory", "build", f"{DEFINITIONS}/{name}.json", f"{self.folder}/{name}.vksettings")
            self.run_tool("factory", "install", f"{self.folder}/{name}.vksettings")

    def run_tool(self, *arguments, code=0, environment=None):
        done = subprocess.run([TOOL, *arguments], env=environment or self.environment, text=True, capture_output=True,
                              timeout=PATIENCE, check=False)
        self.assertEqual(code, done.returncode, f"{arguments}: {done.stdout}{done.stderr}")
        return (done.stdout if code == 0 else done.stderr).rstrip("\n")

    def serve(self, *groups, environment=None):
        served = Running(environment or self.other, "serve", *groups)
        self.addCleanup(lambda: served.process.stdout.closed or served.end(signal.SIGKILL))
        self.assertEqual("serving " + " ".join(groups), served.next())
        return served

    def test_reads_and_unsets_in_the_other_process(self):
        self.run_tool("set", "editor.font.size", "20", environment=self.other)
        self.run_tool("set", "editor.font.size", "15")
        served = self.serve("editor")
        self.assertEqual("20", self.run_tool("get", "editor.font.size", "--remote"))
        self.assertEqual("15", self.run_tool("get", "editor.font.size"))
        self.assertEqual("12", self.run_tool("get", "editor.font.size", "--remote", "--level", "factory"))
        value = json.loads(self.run_tool("get", "editor.font.size", "--remote", "--json"))
        self.assertEqual(("editor.font.size", {"qfdata": 20, "qftype": "int32"}, "user"),
                         (value["name"], value["value"], value["level"]))
        self.assertEqual("editor.", self.run_tool("list", "--remote"))
        lines = self.run_tool("list", "editor.font", "--remote").splitlines()
        self.assertIn("editor.font.size = 20  (user)", lines)
        recursive = self.run_tool("list", "--remote", "--recursive").splitlines()
        self.assertEqual(self.run_tool("list", "editor", "--recursive", environment=self.other).splitlines(), recursive)
        self.assertEqual("", self.run_tool("unset", "editor.font.size", "--level", "user", "--remote"))
        self.assertEqual("12", self.run_tool("get", "editor.font.size", "--remote"))
        self.assertIn("has no value on level \"user\"",
                      self.run_tool("unset", "editor.font.size", "--remote", code=1))
        self.assertIn('"editor.nothing"', self.run_tool("get", "editor.nothing", "--remote", code=1))
        self.assertEqual(0, served.end(signal.SIGINT))
        self.assertEqual("", served.errors)
        # what was unset there is stored there
        self.assertEqual("12", self.run_tool("get", "editor.font.size", environment=self.other))
        self.assertEqual("15", self.run_tool("get", "editor.font.size"))

    def test_nobody_publishes(self):
        self.assertIn("no process publishes the group \"editor\"",
                      self.run_tool("get", "editor.font.size", "--remote", code=1))
        self.assertIn("no process publishes groups", self.run_tool("list", "--remote", code=1))
        self.serve("numerics")
        self.assertIn("no process publishes the group \"editor\"",
                      self.run_tool("unset", "editor.font.size", "--remote", code=1))

    def test_what_cannot_be_served(self):
        self.assertIn("there is no group \"nothing\"", self.run_tool("serve", "editor", "nothing", code=1))
        self.run_tool("serve", code=2)
        (self.folder / "run/varnek-spf").write_text("in the way")
        self.assertIn("Failed to publish service: ", self.run_tool("serve", "editor", code=1))

    def test_two_groups_and_json(self):
        served = Running(self.other, "serve", "editor", "numerics", "--json")
        self.addCleanup(lambda: served.process.stdout.closed or served.end(signal.SIGKILL))
        self.assertEqual({"serving": ["editor", "numerics"]}, json.loads(served.next()))
        groups = json.loads(self.run_tool("list", "--remote", "--json"))
        self.assertEqual([("editor", "group"), ("numerics", "group")], [(g["name"], g["type"]) for g in groups])
        self.assertEqual(0, served.end(signal.SIGTERM))

    def test_a_watch_while_processes_come_and_go(self):
        watch = Running(self.environment, "watch", "--remote", "editor")
        self.addCleanup(lambda: watch.process.stdout.closed or watch.end(signal.SIGKILL))
        first = self.serve("editor", "numerics")
        self.assertEqual("attached editor.", watch.next())
        self.run_tool("set", "editor.font.size", "30", environment=self.other)  # its file, which the server follows
        self.assertEqual("editor.font.size: 12 -> 30", watch.next())
        self.run_tool("set", "numerics.random.seed", "7", environment=self.other)
        self.run_tool("unset", "editor.font.size", "--remote")
        self.assertEqual("editor.font.size: 30 -> 12", watch.next())
        first.end(signal.SIGKILL)
        self.assertEqual("detached editor.", watch.next())
        self.run_tool("set", "editor.font.size", "31")  # of no concern
        second = self.serve("editor")
        self.assertEqual("attached editor.", watch.next())
        self.assertEqual(0, second.end())
        self.assertEqual("detached editor.", watch.next())
        self.assertEqual(0, watch.end())
        self.assertEqual("", watch.errors)

    def test_a_watch_of_one_setting_as_json(self):
        watch = Running(self.environment, "watch", "--remote", "--json", "editor.font.size")
        self.addCleanup(lambda: watch.process.stdout.closed or watch.end(signal.SIGKILL))
        served = self.serve("editor")
        self.assertEqual({"event": "attached", "name": "editor", "type": "group"}, json.loads(watch.next()))
        self.run_tool("set", "editor.tabWidth", "8", environment=self.other)
        self.run_tool("set", "editor.font.size", "30", environment=self.other)
        change = json.loads(watch.next())
        self.assertEqual(("changed", "editor.font.size", 12, 30),
                         (change["event"], change["name"], change["oldValue"]["qfdata"], change["value"]["qfdata"]))
        self.assertEqual(0, served.end())
        self.assertEqual("detached", json.loads(watch.next())["event"])
        self.assertEqual(0, watch.end(signal.SIGINT))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
