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
import socket
import subprocess
import sys
import tempfile
import time
import unittest

from running import PATIENCE, Running

TOOL, DEFINITIONS = (os.path.abspath(argument) for argument in sys.argv[1:3])


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
        served = Running([TOOL, "serve", *groups], environment or self.other)
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

    def shell(self):
        shell = Running([TOOL, "shell"], self.environment, stdin=subprocess.PIPE)
        self.addCleanup(lambda: shell.process.stdout.closed or shell.end(signal.SIGKILL))
        return shell

    def test_a_shell_serves_its_own_group_after_it_used_another_one(self):
        self.run_tool("set", "editor.font.size", "20", environment=self.other)
        self.run_tool("set", "editor.font.size", "15")
        first = self.serve("editor")
        shell = self.shell()
        shell.say("get editor.font.size --remote")
        self.assertEqual("20", shell.next())
        shell.say("serve editor editor")
        self.assertEqual("serving editor", shell.next())
        first.end()
        self.assertEqual("15", self.run_tool("get", "editor.font.size", "--remote", environment=self.other))
        self.run_tool("unset", "editor.font.size", "--remote", environment=self.other)
        self.assertEqual("12", self.run_tool("get", "editor.font.size", "--remote", environment=self.other))
        shell.process.send_signal(signal.SIGINT)
        shell.say("quit")
        self.assertEqual(0, shell.process.wait(PATIENCE))
        self.assertEqual("12", self.run_tool("get", "editor.font.size"))

    def test_a_shell_says_whose_group_it_is(self):
        self.serve("editor")
        target = self.folder / "exported.vksettings"
        done = subprocess.run([TOOL, "shell"], env=self.environment, text=True, capture_output=True, check=False,
                              timeout=PATIENCE, input="get editor.font.size --remote\nset editor.font.size 3\n"
                              "explain editor.font.size\nunset editor.font.size --level user\n"
                              f"export editor {target}\nquit\n")
        self.assertEqual(4, done.stderr.count("belongs to another process"), done.stderr)
        self.assertFalse(target.exists())

    def test_two_processes_publish_one_group(self):
        first = self.serve("editor", "numerics")
        self.assertNotIn("processes publish", self.errors_of("get", "editor.font.size", "--remote"))
        second = self.serve("editor")
        said = self.errors_of("get", "editor.font.size", "--remote")
        self.assertIn('2 processes publish the group "editor"; that of process ', said)
        self.assertTrue(any(f"process {each.process.pid} is used" in said for each in (first, second)), said)
        self.assertEqual("", self.errors_of("get", "numerics.random.seed", "--remote"))

    def errors_of(self, *arguments):
        done = subprocess.run([TOOL, *arguments], env=self.environment, text=True, capture_output=True,
                              timeout=PATIENCE, check=False)
        self.assertEqual(0, done.returncode, done.stderr)
        return done.stderr

    def test_processes_that_cannot_be_used(self):
        served = self.serve("editor")
        served.process.send_signal(signal.SIGSTOP)
        for command in (("get", "editor.font.size"), ("list",)):
            said = self.run_tool(*command, "--remote", code=3)
            self.assertIn(f"process {served.process.pid} does not answer", said)
        served.process.send_signal(signal.SIGCONT)
        path = next((self.folder / "run/varnek-spf").glob("*.socket"))
        for _ in range(5):  # the clients of before may have had places when these came
            for _ in range(64):
                client = socket.socket(socket.AF_UNIX)
                self.addCleanup(client.close)
                client.connect(str(path))
            done = subprocess.run([TOOL, "get", "editor.font.size", "--remote"], env=self.environment, text=True,
                                  capture_output=True, timeout=PATIENCE, check=False)
            if done.returncode != 0:
                break
        self.assertEqual(3, done.returncode, done.stderr)
        self.assertIn("too many clients", done.stderr)

    def ended_before_it_is_used(self, *arguments):
        """What a command says when the process that publishes ends as soon as its group is attached."""
        served = self.serve("editor")
        done = subprocess.Popen([TOOL, *arguments, "--remote"], text=True, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE,
                                env={**self.environment, "VKSETTINGS_LOG": "settings::core::spf:info"})
        self.addCleanup(done.stdout.close)
        self.addCleanup(done.stderr.close)
        for line in done.stderr:
            if "Attach RemoteNodeImpl editor" in line:
                break
        served.end(signal.SIGKILL)
        out, errors = done.communicate(timeout=PATIENCE)
        return done.returncode, out, errors

    def test_a_process_that_ends_meanwhile_is_not_replaced_by_the_own_group(self):
        self.run_tool("set", "editor.font.size", "20", environment=self.other)
        self.run_tool("set", "editor.font.size", "15")
        for _ in range(3):
            for command in (("get", "editor.font.size"), ("list", "editor.font"),
                            ("list", "--recursive"), ("unset", "editor.font.size", "--level", "user")):
                code, out, errors = self.ended_before_it_is_used(*command)
                self.assertNotIn("15", out)  # 0: the command was faster, 1: it found nobody any more
                self.assertIn(code, (0, 1, 3), errors)
        self.assertEqual("15", self.run_tool("get", "editor.font.size"))

    def test_without_definitions_here(self):
        self.serve("editor")
        (self.folder / "nothing").mkdir()
        bare = {**self.environment, "SETTINGS_FACTORYDIR": str(self.folder / "nothing")}
        done = subprocess.run([TOOL, "get", "editor.font.size", "--remote"], env=bare, text=True, capture_output=True,
                              timeout=PATIENCE, check=False)
        self.assertEqual((0, "12\n", ""), (done.returncode, done.stdout, done.stderr))
        self.assertIn("no settings are defined", self.run_tool("get", "editor.font.size", code=1, environment=bare))

    def test_a_watch_ends_while_a_process_does_not_answer(self):
        served = self.serve("editor")
        watches = [Running([TOOL, "watch", "--remote"], self.environment) for _ in range(2)]
        for watch in watches:
            self.addCleanup(lambda watch=watch: watch.process.stdout.closed or watch.end(signal.SIGKILL))
            self.assertEqual("attached editor.", watch.next())
        watches[0].process.send_signal(signal.SIGSTOP)
        self.run_tool("set", "editor.font.size", "30", environment=self.other)
        self.assertEqual("editor.font.size: 12 -> 30", watches[1].next())
        served.process.send_signal(signal.SIGSTOP)
        watches[0].process.send_signal(signal.SIGCONT)  # asks for the value, in vain
        with self.assertRaises(queue.Empty):
            watches[0].lines.get(timeout=0.5)
        begin = time.monotonic()
        self.assertEqual(0, watches[0].end(signal.SIGINT))
        self.assertLess(time.monotonic() - begin, 10)

    def test_what_cannot_be_served(self):
        self.assertIn("there is no group \"nothing\"", self.run_tool("serve", "editor", "nothing", code=1))
        self.run_tool("serve", code=2)
        (self.folder / "run/varnek-spf").write_text("in the way")
        self.assertIn("Failed to publish service: ", self.run_tool("serve", "editor", code=1))

    def test_two_groups_and_json(self):
        served = Running([TOOL, "serve", "editor", "numerics", "--json"], self.other)
        self.addCleanup(lambda: served.process.stdout.closed or served.end(signal.SIGKILL))
        self.assertEqual({"serving": ["editor", "numerics"]}, json.loads(served.next()))
        groups = json.loads(self.run_tool("list", "--remote", "--json"))
        self.assertEqual([("editor", "group"), ("numerics", "group")], [(g["name"], g["type"]) for g in groups])
        self.assertEqual(0, served.end(signal.SIGTERM))

    def test_a_watch_while_processes_come_and_go(self):
        watch = Running([TOOL, "watch", "--remote", "editor"], self.environment)
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
        watch = Running([TOOL, "watch", "--remote", "--json", "editor.font.size"], self.environment)
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
