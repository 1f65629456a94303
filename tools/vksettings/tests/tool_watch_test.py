#!/usr/bin/env python3
"""A watch while other processes change settings. Every wait is for a line or an end, up to a deadline.

Usage: tool_watch_test.py TOOL FOLDER_OF_THE_DEFINITIONS
"""
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from running import PATIENCE, Running

TOOL, DEFINITIONS = (os.path.abspath(argument) for argument in sys.argv[1:3])


class Watch(Running):
    def __init__(self, place, *arguments):
        super().__init__([TOOL, "watch", *arguments], place.environment, place.folder)
        self.place = place

    def begin(self):
        """Changes a setting until the watch tells of it; then takes the change back and waits for that too."""
        end, value = time.monotonic() + PATIENCE, 0
        while self.lines.empty() and time.monotonic() < end:
            value = value % 50 + 20
            self.place.run("set", "editor.font.size", str(value))
        self.place.run("set", "editor.font.size", "13")
        while not re.search(r'-> 13|"value":{"qfdata":13,|nothing came', self.next()):
            pass
        self.place.run("unset", "editor.font.size")
        self.next()
        return self


class Place:
    """Level folders of their own."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vksettings-watch-"))
        self.user = self.folder / "user"
        (self.folder / "factory").mkdir()
        self.environment = {**os.environ, "HOME": str(self.folder), "SETTINGS_USERDIR": str(self.user),
                            "SETTINGS_FACTORYDIR": str(self.folder / "factory")}
        self.environment.pop("SETTINGS_INSTALLATIONDIR", None)
        for name in ("editor", "numerics"):
            self.run("factory", "build", f"{DEFINITIONS}/{name}.json", f"{name}.vksettings")
            self.run("factory", "install", f"{name}.vksettings")

    def run(self, *arguments):
        return subprocess.run([TOOL, *arguments], env=self.environment, cwd=self.folder, check=True, text=True,
                              capture_output=True).stdout.rstrip("\n")


class WatchTest(unittest.TestCase):
    def setUp(self):
        self.place = Place()
        self.addCleanup(shutil.rmtree, self.place.folder)
        self.run_tool = self.place.run

    def begin(self, *arguments):
        watch = Watch(self.place, *arguments)
        self.addCleanup(lambda: watch.process.poll() is None and (watch.process.kill(), watch.close()))
        return watch.begin()

    def test_changes_of_other_processes(self):
        watch = self.begin()
        for command, line in (
                (("set", "editor.tabWidth", "8"), "editor.tabWidth: 4 -> 8"),
                (("set", "numerics.random.seed", "7"), "numerics.random.seed: 18446744073709551615 -> 7"),
                (("set", "editor.tabWidth", "2"), "editor.tabWidth: 8 -> 2"),
                (("set", "editor.rulers", "[72, 100]"), "editor.rulers: [80,110] -> [72,100]"),
                (("set", "editor.fontSize", "20"), "editor.font.size: 12 -> 20"),
                (("set", "editor.rulers", "[72]"), "editor.rulers: [72,100] -> [72]"),
                (("unset", "editor.rulers"), "editor.rulers: [72] -> [80,110]"),
                (("unset", "numerics.random.seed"), "numerics.random.seed: 7 -> 18446744073709551615")):
            self.run_tool(*command)
            self.assertEqual(line, watch.next())
        self.assertEqual(0, watch.end(signal.SIGINT))
        self.assertTrue(watch.lines.empty())
        self.assertEqual("", watch.errors)

    def test_one_subtree_as_json(self):
        watch = self.begin("editor.font", "--json")
        self.run_tool("set", "editor.tabWidth", "8")
        self.run_tool("set", "editor.font.family", "größe\n🙂")
        event = json.loads(watch.next())
        self.assertEqual(("changed", "editor.font.family", "größe\n🙂"),
                         (event["event"], event["name"], event["value"]))
        self.assertEqual({"event", "name", "oldValue", "oldType", "value", "type"}, set(event))
        self.assertEqual(0, watch.end(signal.SIGTERM))

    def test_a_name_that_is_nothing(self):
        watch = Watch(self.place, "editor.nothing")
        self.assertEqual(1, watch.close())
        self.assertIn('"editor.nothing"', watch.errors)

    def test_a_folder_that_is_moved_away_and_back(self):
        watch = self.begin()
        self.run_tool("set", "editor.tabWidth", "8")
        self.assertEqual("editor.tabWidth: 4 -> 8", watch.next())
        away = self.place.folder / "away"
        self.place.user.rename(away)
        self.run_tool("set", "editor.tabWidth", "5")
        self.assertEqual("editor.tabWidth: 8 -> 5", watch.next())
        self.place.user.rename(self.place.folder / "other")
        away.rename(self.place.user)
        self.assertEqual("editor.tabWidth: 5 -> 8", watch.next())
        self.assertEqual(0, watch.end(signal.SIGTERM))

    def test_a_damaged_file_changes_nothing(self):
        watch = self.begin()
        self.run_tool("set", "editor.tabWidth", "8")
        self.assertEqual("editor.tabWidth: 4 -> 8", watch.next())
        file = self.place.user / "editor.vksettings"
        good = file.read_bytes()
        file.write_bytes(good[:100])
        self.run_tool("set", "numerics.random.seed", "1")
        self.assertEqual("numerics.random.seed: 18446744073709551615 -> 1", watch.next())
        (self.place.folder / "mended").write_bytes(good)
        (self.place.folder / "mended").replace(file)
        self.run_tool("set", "editor.tabWidth", "3")
        self.assertEqual("editor.tabWidth: 8 -> 3", watch.next())
        self.assertEqual(0, watch.end(signal.SIGTERM))

    def test_a_reader_that_has_seen_enough(self):
        reads, writes = os.pipe()
        process = subprocess.Popen([TOOL, "watch"], stdout=writes, env=self.place.environment, cwd=self.place.folder)
        os.close(writes)
        os.close(reads)
        self.assertEqual(0, process.wait(PATIENCE))

    def test_output_that_cannot_be_written(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            process = subprocess.Popen([TOOL, "watch"], stdout=full, stderr=subprocess.PIPE, text=True,
                                       env=self.place.environment, cwd=self.place.folder)
            end, value = time.monotonic() + PATIENCE, 0
            while process.poll() is None and time.monotonic() < end:
                value = value % 16 + 1
                self.run_tool("set", "editor.tabWidth", str(value))
            _, errors = process.communicate()
        self.assertEqual(3, process.returncode)
        self.assertIn("cannot write the output", errors)

    def test_no_output_at_all(self):
        closed = subprocess.run(["bash", "-c", 'exec "$0" watch >&-', TOOL], stderr=subprocess.PIPE, text=True, check=False,
                                env=self.place.environment, cwd=self.place.folder, timeout=PATIENCE)
        self.assertEqual(3, closed.returncode)
        self.assertIn("cannot write the output", closed.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
