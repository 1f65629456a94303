#!/usr/bin/env python3
"""Values of settings from Python and back, and the tree."""
import fractions
import math
import unittest

import support

PLACE = support.Place().enter()

import vksettings  # noqa: E402 (after the folders are set)


def tool(*arguments, **how):
    """What another process sees."""
    vksettings.waitForSaves()
    return PLACE.tool(*arguments, **how)


class Values(unittest.TestCase):
    def setUp(self):
        self.lab = vksettings.root()["lab"]

    def stored(self, value, **how):
        """Through a setting that has held nothing yet, whose type is therefore open."""
        self.lab.addSetting("new", level="session")
        try:
            self.lab.set("new", value, "session", **how)
            return self.lab.get("new")
        finally:
            self.lab.remove("new")

    def assertSame(self, got, expected):
        self.assertEqual((type(got), repr(got)), (type(expected), repr(expected)))

    def test_what_goes_in_comes_out(self):
        for value in (True, False, 0, -1, 2**63 - 1, -2**63, 2**64 - 1, 0.0, -0.0, 1.5, 1e308, math.inf, -math.inf,
                      math.nan, "", "text", "größe 🙂\n", "lone \ud800 half", [1], [1, 2, 3], [True], [True, False],
                      [0.5], [1.5, -2.0], ["a"], ["a", "", "🙂"], [[1, 2], [3, 4], [5, 6]], [[1.5], [2.5]],
                      [["a", "b"], ["c", "d"]], [[True, False], [False, True]],
                      [[[1, 2], [3, 4], [5, 6]], [[7, 8], [9, 10], [11, 12]]], [2**63, 1], []):
            with self.subTest(value=value):
                self.assertSame(self.stored(value), value)

    def test_what_changes_its_form(self):
        for value, expected in (((1, 2), [1, 2]), (range(3), [0, 1, 2]), ([1, 0.5], [1.0, 0.5]), ([[1, 2]], [1, 2]),
                                ([[], []], []), (fractions.Fraction(1, 4), 0.25)):
            with self.subTest(value=value):
                self.assertSame(self.stored(value), expected)

    def test_what_no_setting_holds(self):
        for value, failure in ((b"bytes", TypeError), (object(), TypeError), ({}, TypeError), (1j, TypeError),
                               ([1, "a"], TypeError), ([True, 1], TypeError), ([1, [2]], ValueError),
                               ([[1], 2], ValueError), ([[1, 2], [3]], ValueError), ([[], [1]], ValueError),
                               ([[[]], [1]], ValueError),
                               (2**64, OverflowError), (-2**63 - 1, OverflowError), ([2**63, -1], OverflowError),
                               (None, vksettings.ValidationError)):
            with self.subTest(value=value):
                self.lab.set("free", 1, "session")
                self.assertRaises(failure, self.lab.set, "free", value, "session")
                self.assertEqual(self.lab["free"], 1)
        endless = []
        endless.append(endless)
        self.assertRaises(ValueError, self.lab.set, "free", endless, "session")

    def test_chosen_types(self):
        for value, name, expected in ((3, "double", 3.0), (3.0, "int8", 3), (0.1, "single", 0.10000000149011612),
                                      (1, "logical", True), ([0, 1], "logical", [False, True]), (True, "uint8", 1),
                                      ("a", "string", "a"), (["a"], "string", ["a"]), (255, "uint8", 255)):
            with self.subTest(value=value, type=name):
                self.assertSame(self.stored(value, type=name), expected)
        for value, name, failure in ((256, "uint8", OverflowError), (-1, "uint64", OverflowError),
                                     (0.5, "int32", OverflowError), (2, "logical", OverflowError),
                                     (math.nan, "int32", OverflowError), (2.0**63, "int64", OverflowError),
                                     (1e39, "single", OverflowError), ("a", "double", TypeError),
                                     (1, "char", TypeError),
                                     (1, "cell", ValueError), (1, "number", ValueError)):
            with self.subTest(value=value, type=name):
                self.assertRaises(failure, self.stored, value, type=name)

    def test_an_int_keeps_the_type_of_the_setting(self):
        for name, value, expected in (("real", 4, 4.0), ("int32", 4, 4), ("single", 0.1, 0.10000000149011612),
                                      ("row", [4, 5], [4.0, 5.0]), ("real", 2**53 + 1, 2**53 + 1),
                                      ("int32", 2**40, 2**40), ("text", 5, 5)):
            with self.subTest(name=name, value=value):
                self.lab.set(name, value, "session")
                self.assertSame(self.lab[name], expected)
                self.lab.unset(name, "session")
        self.lab.set("int32", 9, "user")
        self.assertIn('"type":"int32"', tool("get", "lab.int32", "--json").replace(" ", ""))
        self.lab.unset("int32")

    def test_levels(self):
        self.assertIsNone(self.lab.get("real", "user"))
        self.assertFalse(self.lab.isSet("real"))
        self.lab["real"] = 2.5
        self.lab.set("real", 3.5, "session")
        self.assertEqual([self.lab.get("real", level) for level in ("", "session", "user", "factory")],
                         [3.5, 3.5, 2.5, 1.5])
        self.lab.unset("real", "session")
        self.assertEqual(tool("get", "lab.real"), "2.5")
        self.lab.unset("real")
        self.assertEqual(self.lab["real"], 1.5)

    def test_several_at_once(self):
        size, mode = self.lab.getChild("size"), self.lab.getChild("mode")
        self.assertRaises(vksettings.ValidationError, vksettings.setTogether, {size: 20, mode: "perhaps"}, "session")
        self.assertEqual((self.lab["size"], self.lab["mode"]), (12, "on"))
        refusals = vksettings.setTogether({size: 20, mode: "perhaps"}, "session", collect=True)
        self.assertEqual(["lab.mode"], [name for name, _ in refusals])
        self.assertEqual([], vksettings.setTogether({size: 20, mode: "off"}, "session"))
        self.assertEqual((self.lab["size"], self.lab["mode"]), (20, "off"))
        size.parent.unset("size", "session")
        size.parent.unset("mode", "session")


class Tree(unittest.TestCase):
    def setUp(self):
        self.root = vksettings.root()
        self.lab = self.root["lab"]

    def test_walking(self):
        self.assertEqual(["lab"], list(self.root))
        self.assertEqual([child.name for child in self.lab.children()], list(self.lab))
        self.assertEqual(len(self.lab), len(support.DEFINITIONS["settings"]) + 1)
        deep = self.root.find("lab.inner.deep")
        self.assertEqual((deep.name, deep.fullName, deep.isSetting, deep.getValue(), deep.originLevel),
                         ("deep", "lab.inner.deep", True, "x", "factory"))
        self.assertEqual(deep.parent, self.lab["inner"])
        self.assertEqual(hash(deep.parent), hash(self.lab.getChild("inner")))
        self.assertNotEqual(deep, self.lab)
        self.assertNotEqual(deep, "lab.inner.deep")
        self.assertIn("inner", self.lab)
        self.assertNotIn("outer", self.lab)
        self.assertIsNone(self.lab.getChild("outer"))
        self.assertTrue(self.root.isRoot and not self.lab.isRoot and not self.lab.isSetting)
        self.assertTrue(self.lab.getChild("fixed").readOnly)
        self.assertEqual(repr(deep), '<vksettings.Settings "lab.inner.deep">')

    def test_adding_and_removing(self):
        group = self.lab["inner"].addGroup("mine")
        setting = group.addSetting("list", [[1, 2], [3, 4]], validator=None)
        self.assertEqual(tool("get", "lab.inner.mine.list"), "[[1,2],[3,4]]")
        setting.setValue([5])
        self.assertEqual(group["list"], [5])
        self.lab["inner"].remove("mine")
        self.assertNotIn("mine", self.lab["inner"])
        self.assertEqual(setting.name, "list")  # the handle keeps its node
        tool("get", "lab.inner.mine.list", code=1)

    def test_nodes_made_apart(self):
        tools = vksettings.createSettingsNode("tools")
        self.assertFalse(tools.isConnected)
        vksettings.createSetting("depth", 3, validator=lambda setting, name, value: None).setParent(tools)
        tools.setParent(self.lab["inner"])
        self.assertEqual(self.root.find("lab.inner.tools.depth").getValue(), 3)
        self.lab["inner"].remove("tools")
        self.assertRaises(vksettings.SettingsError, vksettings.createSetting, "1a")
        defined = self.lab["inner"].createFactorySetting("late", 8, validator="lab_checks.even")
        self.assertEqual((defined.getValue(), defined.originLevel), (8, "factory"))

    def test_trees_of_their_own(self):
        self.assertTrue(vksettings.createTree(7))
        self.assertFalse(vksettings.createTree(7))
        other = vksettings.root(7)
        self.assertEqual((other.rootIndex, len(other)), (7, 0))
        self.assertRaises(vksettings.SettingsError, vksettings.root, 8)
        self.assertEqual([], vksettings.loadProblems())

    def test_files(self):
        self.lab["text"] = "exported"
        file = PLACE.folder / "out.vksettings"
        vksettings.exportSettings([self.lab], file)
        self.lab["text"] = "changed"
        self.assertEqual(vksettings.importSettings(file)["text"], "exported")
        self.lab.mergeDescendants(vksettings.importSettings(file))
        self.assertEqual(self.lab["text"], "exported")
        self.lab.unset("text")
        with self.assertRaises(vksettings.FileError) as caught:
            vksettings.importSettings(PLACE.folder / "absent.vksettings")
        self.assertEqual(caught.exception.id, "FileDoesNotExist")


if __name__ == "__main__":
    unittest.main()
