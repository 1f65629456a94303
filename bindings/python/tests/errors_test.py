#!/usr/bin/env python3
"""What the library refuses, as Python exceptions."""
import pickle
import unittest

import support

PLACE = support.Place().enter()

import vksettings  # noqa: E402 (after the folders are set)


class Errors(unittest.TestCase):
    def setUp(self):
        self.lab = vksettings.root()["lab"]

    def failure(self, call, *arguments, **keywords):
        with self.assertRaises(vksettings.SettingsError) as caught:
            call(*arguments, **keywords)
        return caught.exception

    def test_kinds(self):
        lab = self.lab
        for failure, kind, name, setting in (
                (self.failure(lab.get, "nix"), vksettings.NotFoundError, "NoSuchKey", "lab"),
                (self.failure(lab.get, "inner"), vksettings.NotFoundError, "NotAKeyName", "lab"),
                (self.failure(lab.find, "inner.nix"), vksettings.NotFoundError, "InvalidNodePath", None),
                (self.failure(lab.remove, "nix"), vksettings.NotFoundError, "NoSuchNode", "lab"),
                (self.failure(lab.unset, "size"), vksettings.NotFoundError, "ValueNotDefinedForGivenLevel", None),
                (self.failure(lab.set, "size", 1, "factory"), vksettings.ReadOnlyError,
                 "CantModifyValuesOnReadOnlyLevel", None),
                (self.failure(lab.set, "fixed", 2), vksettings.ReadOnlyError, "CannotChangeValueForReadOnlySetting",
                 "lab.fixed"),
                (self.failure(lab.remove, "size"), vksettings.ReadOnlyError, "AttemptedRemovalOfFactoryGroupOrSetting",
                 None),
                (self.failure(lab.set, "size", 5), vksettings.ValidationError, "ValueIsNotInRange", "lab.size"),
                (self.failure(lab.set, "mode", "x"), vksettings.ValidationError,
                 "ValueIsNotOneOfTheChoicesAndNotInRange", "lab.mode"),
                (self.failure(lab.set, "size", "big"), vksettings.ValidationError, "ValueMustBeNumeric", "lab.size"),
                (self.failure(lab.set, "size", 9, "nowhere"), vksettings.NotFoundError, "UnSupportedLevel", None),
                (self.failure(lab.createFactorySetting, "x-y"), vksettings.SettingsError, "InvalidSettingOrGroupName",
                 None),
                (self.failure(vksettings.root, 5), vksettings.SettingsError,
                 "VARNEK:settings:core:SettingsLibraryNotInitialized", None)):
            with self.subTest(kind=name):
                self.assertEqual(failure.id, name)
                self.assertIs(type(failure), kind)
                if setting:
                    self.assertEqual(failure.setting, setting)
                self.assertTrue(failure.text)

    def test_a_new_setting_that_is_refused_is_named(self):
        failure = self.failure(self.lab["inner"].addSetting, "refused", "x" * (70 << 20)) # more than a file holds
        self.assertEqual((type(failure), failure.setting), (vksettings.ValidationError, "refused"))

    def test_bases_that_python_knows(self):
        self.assertRaises(LookupError, self.lab.get, "nix")
        self.assertRaises(ValueError, self.lab.set, "size", 5)

    def test_details(self):
        failure = self.failure(self.lab.set, "size", 5)
        self.assertEqual(failure.details, {"value": "5", "minimum": "6", "maximum": "72"})
        self.assertIn("setting: lab.size, value: 5, minimum: 6, maximum: 72", str(failure))
        self.assertEqual(self.failure(self.lab.set, "mode", "x").details["choices"], "on, off")
        self.assertIn("nix", str(self.failure(self.lab.get, "nix")))

    def test_copies(self):
        failure = pickle.loads(pickle.dumps(self.failure(self.lab.set, "size", 5)))
        self.assertIsInstance(failure, vksettings.ValidationError)
        self.assertEqual((failure.id, failure.setting), ("ValueIsNotInRange", "lab.size"))

    def test_nothing_is_stored(self):
        self.failure(self.lab.set, "size", 5)
        self.assertEqual((self.lab["size"], self.lab.isSet("size")), (12, False))

    def test_check_stores_nothing(self):
        self.lab.check("size", 20)
        self.assertEqual(self.lab["size"], 12)
        self.assertEqual(self.failure(self.lab.check, "size", 5).id, "ValueIsNotInRange")
        self.assertEqual(self.failure(self.lab.check, "nix", 5).id, "NoSuchKey")
        self.lab.getChild("size").validate()

    def test_wrong_use(self):
        for call in (lambda: self.lab.set("size"), lambda: self.lab.get(5), lambda: self.lab.listen("no callable"),
                     lambda: self.lab.addSetting("x", 1, validator=5), lambda: self.lab.setParent(None),
                     lambda: vksettings.setTogether({"lab.size": 7})):
            with self.subTest(call=call):
                self.assertRaises((TypeError, RuntimeError), call)
        self.assertRaises(ValueError, self.lab.listen, print, "changes")
        for create in (vksettings.createSetting, vksettings.createSettingsNode, self.lab.createFactorySetting):
            self.assertRaises(ValueError, create, "")
        self.assertRaises(ValueError, self.lab.addSetting, "x", 1, validator="nodots")
        self.assertRaises(ValueError, vksettings.root().getValue)


if __name__ == "__main__":
    unittest.main()
