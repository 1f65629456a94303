#!/usr/bin/env python3
"""The tool with the Python front end: functions of definitions run; without it they do not."""
import unittest

import support

PLACE = support.Place()


def tool(*arguments, code=0, **environment):
    return PLACE.tool(*arguments, code=code, **{"VKSETTINGS_FRONTEND": "python", "PYTHONPATH": "", **environment})


class Tool(unittest.TestCase):
    def test_a_validation_function(self):
        self.assertEqual("", tool("set", "lab.py_even", "4"))
        self.assertEqual('vksettings: "lab.py_even" cannot be 5 on level "user": the validation function '
                         '"VARNEK lab_checks.even" refuses it: py_even must be even, not 5',
                         tool("set", "lab.py_even", "5", code=1).replace("5.0", "5"))
        self.assertEqual("4", tool("get", "lab.py_even"))
        self.assertEqual("", tool("unset", "lab.py_even"))

    def test_a_value_in_place_of_the_one_that_was_set(self):
        tool("set", "lab.py_rounded", "2.7")
        self.assertEqual("3", tool("get", "lab.py_rounded"))
        tool("unset", "lab.py_rounded")

    def test_functions_that_cannot_be_called(self):
        for name, cause in (("py_nowhere", "No module named 'no'"), ("py_absent", "has no attribute 'absent'"),
                            ("py_NUMBER", "is no function")):
            message = tool("set", f"lab.{name}", "3", code=1)
            self.assertIn("could not be called: ", message)
            self.assertIn(cause, message)

    def test_run_time_defaults(self):
        self.assertEqual("4", tool("get", "lab.default_cores"))
        self.assertEqual('["a","b"]', tool("get", "lab.default_words"))
        self.assertEqual('vksettings: "lab.default_fails" has no value', tool("get", "lab.default_fails", code=1))
        self.assertIn("lab.default_cores = 4", tool("list", "lab"))

    def test_validate(self):
        tool("set", "lab.py_even", "4")
        self.assertNotIn("py_even", tool("validate", "lab", code=1))
        tool("unset", "lab.py_even")

    def test_other_failures_stay_what_they_are(self):
        self.assertIn("72", tool("set", "lab.size", "5", code=1))
        self.assertIn("nix", tool("get", "lab.nix", code=1))

    def test_without_the_front_end(self):
        self.assertIn("could not be called", tool("set", "lab.py_even", "4", code=1, VKSETTINGS_FRONTEND=""))
        self.assertIn("has no value", tool("get", "lab.default_cores", code=1, VKSETTINGS_FRONTEND=""))

    def test_a_front_end_that_is_not_there(self):
        for name in ("cobol", "../settings_plugins/libpython", "py\nthon"):
            message = tool("get", "lab.size", code=3, VKSETTINGS_FRONTEND=name)
            self.assertIn("(VKSETTINGS_FRONTEND) cannot be started: ", message)
            self.assertEqual(1, len(message.splitlines()))

    def test_nothing_is_imported_from_the_current_folder(self):
        (PLACE.folder / "no").mkdir()
        (PLACE.folder / "no" / "such.py").write_text("def f(setting, name, value): pass\n")
        self.assertIn("No module named 'no'", tool("set", "lab.py_nowhere", "3", code=1))
        self.assertEqual("", tool("set", "lab.py_nowhere", "3", PYTHONPATH=str(PLACE.folder)))
        tool("unset", "lab.py_nowhere")


if __name__ == "__main__":
    unittest.main()
