#!/usr/bin/env python3
"""Definitions that Python code makes: the example toolbox, broken code, callables of the program.

Usage: definitions_test.py FOLDER_OF_THE_EXAMPLE
"""
import os
import pathlib
import shutil
import subprocess
import sys
import threading
import unittest

import support

EXAMPLE = pathlib.Path(sys.argv.pop())
PLACE = support.Place().enter()
TOOLBOXES = PLACE.factory / "varnek" / "settings" / "toolboxes"


def toolbox(name, code, info=""):
    folder = TOOLBOXES / name
    folder.mkdir(parents=True)
    (folder / "settingsInfo.json").write_text(
        f'{{"ToolboxGroupName": "{name}", "FactoryFileName": "{name}_code.py"{info}}}')
    (folder / f"{name}_code.py").write_text(code)


MAXIMUM = "def create_factory_settings(group):\n    group.addSetting('a', {}, maximum=5)\n"
shutil.copytree(EXAMPLE, TOOLBOXES / "survey")
toolbox("raises", "import json\n\ndef create_factory_settings(group):\n    json.loads('[')\n")
toolbox("unreadable", "def create_factory_settings(group)\n    pass\n")
toolbox("nothing", "x = 1\n")
toolbox("refused", MAXIMUM.format(9))
toolbox("mended", MAXIMUM.format(9))
toolbox("classy", "class Made:\n    def create_factory_settings(self, group):\n        group.addSetting('a', 'b')\n",
        ', "ClassName": "Made", "Hidden": true')
toolbox("absent", "def create_factory_settings(group):\n    return False\n")
toolbox("slow", "import threading\n\ndef create_factory_settings(group):\n    group.addSetting('a', 1)\n")

import vksettings  # noqa: E402  after the folders are set  pylint: disable=wrong-import-position

ROOT = vksettings.root()


def failure_of(name):
    try:
        ROOT[name].get("a")
    except Exception as failure:  # pylint: disable=broad-except
        return str(failure)
    return "no failure"


class Files(unittest.TestCase):
    def test_the_page_of_the_example(self):
        page = (EXAMPLE / "README.md").read_text()
        commands = "\n".join(line[4:] for line in page.splitlines() if line.startswith("    "))
        path = f"{pathlib.Path(support.TOOL).parent}:{os.environ['PATH']}"
        done = subprocess.run(["sh", "-c", commands], cwd=EXAMPLE, env={**os.environ, "PATH": path, "TMPDIR": str(PLACE.folder)},
                              capture_output=True, text=True, timeout=support.PATIENCE, check=False)
        self.assertIn("survey  language", done.stdout)
        self.assertIn("survey.grid.x", done.stdout)
        # The last command is refused, and nothing else.
        self.assertEqual((1, 1), (done.returncode, len(done.stderr.splitlines())), done.stderr)
        self.assertIn("positive", done.stderr)

    def test_the_example(self):
        survey = ROOT["survey"]
        self.assertEqual((4, "draft", 0.5), (survey["pages"], survey["mode"], survey.find("grid.y").getValue()))
        for name, value in (("pages", 100), ("pages", 1.5), ("mode", "sketch")):
            with self.assertRaises(vksettings.ValidationError, msg=name):
                survey.set(name, value, "session")
        grid = survey.getChild("grid")
        vksettings.run(grid.set, "x", 2.0, "session")
        with self.assertRaises(vksettings.ValidationError) as refusal:
            vksettings.run(grid.set, "x", -1.0, "session")
        self.assertIn("x has to be positive", refusal.exception.details["cause"])
        self.assertGreaterEqual(vksettings.run(survey.get, "workers"), 1)

    def test_a_class_and_a_hidden_group(self):
        self.assertEqual("b", ROOT["classy"]["a"])
        self.assertFalse(ROOT["classy"].visible)

    def test_failures_have_a_place(self):
        folder = TOOLBOXES
        for name, line, cause in (("unreadable", 1, "SyntaxError"), ("refused", 2, ""), ("raises", 4, "JSONDecodeError"),
                                  ("raises", 4, "JSONDecodeError")):  # every time
            message = failure_of(name)
            self.assertIn(f"{folder}/{name}/{name}_code.py, line {line}: ", message)
            self.assertIn(cause, message)
        self.assertIn("create_factory_settings", failure_of("nothing"))

    def test_a_group_that_is_mended(self):
        self.assertIn("mended_code.py, line 2: ", failure_of("mended"))
        (TOOLBOXES / "mended" / "mended_code.py").write_text(MAXIMUM.format(3))
        self.assertEqual(3, ROOT["mended"]["a"])

    def test_no_group(self):
        with self.assertRaises(vksettings.NotFoundError):
            ROOT["absent"].get("a")

    def test_the_engine_may_need_the_group_as_well(self):
        taken = threading.Event()
        answer = vksettings.submit(lambda: (taken.wait(support.PATIENCE), ROOT["slow"]["a"])[1])
        taken.set()
        self.assertEqual(1, ROOT["slow"]["a"])
        self.assertEqual(1, answer.result(support.PATIENCE))


class Callables(unittest.TestCase):
    def test_a_group_of_the_program(self):
        threads = []

        def create(group):
            threads.append(vksettings.isEngineThread())
            group.addSetting("answer", 42, validator=lambda setting, name, value: None)
            group.addGroup("inner", visible=False).addSetting("row", [1, 2], minimum=0)

        vksettings.addFactorySettings("own", create)
        self.assertEqual([], threads)
        self.assertEqual(42, ROOT["own"]["answer"])
        self.assertEqual([1, 2], ROOT["own"].find("inner.row").getValue())
        self.assertEqual([True], threads)
        with self.assertRaises(vksettings.ValidationError):
            ROOT["own"].getChild("inner").set("row", [1, -2], "session")

    def test_keywords_that_do_not_go_together(self):
        def create(group):
            group.addSetting("a", "b", choices=["b"], maximum=3)

        vksettings.addFactorySettings("mixed", create)
        self.assertIn("definitions_test.py, line ", failure_of("mixed"))
        self.assertIn("choices go with texts", failure_of("mixed"))


class Tool(unittest.TestCase):
    def test_with_and_without_python(self):
        python = {"VKSETTINGS_FRONTEND": "python", "PYTHONPATH": ""}
        self.assertEqual("4", PLACE.tool("get", "survey.pages", **python))
        self.assertIn("has to be positive", PLACE.tool("set", "survey.grid.x", "-1", code=1, **python))
        self.assertIn("raises_code.py, line 4: ", PLACE.tool("get", "raises.a", code=1, **python))
        self.assertRegex(PLACE.tool("toolboxes", **python), r"survey +language +yes +no +.*settingsInfo\.json")
        self.assertRegex(PLACE.tool("toolboxes"), r"survey +none +yes +no")


if __name__ == "__main__":
    unittest.main()
