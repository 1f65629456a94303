#!/usr/bin/env python3
"""The example toolbox, used as its README says.

Usage: example_test.py FOLDER_OF_THE_EXAMPLE
"""
import pathlib
import shutil
import sys
import unittest

import support

EXAMPLE = pathlib.Path(sys.argv.pop())
PLACE = support.Place()

PRINTED = """changed: imaging.tileSize 256
refused: tileSize has to be a power of two, 500 is none
not here: A VARNEK function of a setting can be called on the thread of the execution engine only.
palette: ['red', 'green']
workers: at least one
tile size: 512
"""


class Example(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        PLACE.tool("factory", "build", str(EXAMPLE / "imaging.json"), "imaging.vksettings")
        PLACE.tool("factory", "install", "imaging.vksettings")
        shutil.copy(EXAMPLE / "imaging_checks.py", PLACE.factory / "python")

    def test_the_program(self):
        done = PLACE.python((EXAMPLE / "use_imaging.py").read_text())
        self.assertEqual((done.stdout, done.stderr, done.returncode), (PRINTED, "", 0))

    def test_the_tool(self):
        self.assertIn("500 is none",
                      PLACE.tool("set", "imaging.tileSize", "500", code=1, VKSETTINGS_FRONTEND="python"))
        self.assertGreaterEqual(int(PLACE.tool("get", "imaging.workers", VKSETTINGS_FRONTEND="python")), 1)


if __name__ == "__main__":
    unittest.main()
