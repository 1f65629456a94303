"""A place with level folders of its own, whose factory files the tool has built. One for each test process.

The environment names the tool (VKSETTINGS_TOOL); the module vksettings is found through PYTHONPATH.
"""
import atexit
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

TOOL = os.environ["VKSETTINGS_TOOL"]
PATIENCE = 60

CHECKS = '''
import threading

calls = []

def even(setting, name, value):
    calls.append((setting.fullName, name, value, threading.get_ident()))
    if value % 2:
        raise ValueError(f"{name} must be even, not {value}")

def rounded(setting, name, value):
    return round(value)

def says_bool(setting, name, value):
    return value > 0

def broken(setting, name, value):
    return {}["missing"]

def nested(setting, name, value):
    setting.parent["counter"] = setting.parent["counter"] + 1

def no_function_at_all(setting, name, value):
    raise SystemExit(3)

NUMBER = 5

def cores():
    calls.append("cores")
    return 4

def words():
    return ["a", "b"]

def fails():
    raise RuntimeError("no idea")
'''

DEFINITIONS = {
    "groupName": "lab",
    "settings": [
        {"name": "real", "value": 1.5},
        {"name": "int32", "value": {"qfdata": 7, "qftype": "int32"}},
        {"name": "single", "value": {"qfdata": 0.5, "qftype": "single"}},
        {"name": "flag", "value": True},
        {"name": "text", "value": "start"},
        {"name": "row", "value": [1, 2, 3]},
        {"name": "free"},
        {"name": "counter", "value": 0},
        {"name": "fixed", "value": 1, "readonly": True},
        {"name": "size", "value": 12, "settingValueValidator":
            {"MustBeNumeric": True, "isVector": False, "MinValue": 6, "MaxValue": 72}},
        {"name": "mode", "value": "on", "settingValueValidator":
            {"MustBeString": True, "ValidStringValues": ["on", "off"]}},
        *({"name": f"py_{name}", "value": 2, "language": "VARNEK", "packageName": "lab_checks", "validationFcn": name}
          for name in ("even", "rounded", "says_bool", "broken", "nested", "no_function_at_all", "NUMBER", "absent")),
        {"name": "py_nowhere", "value": 2, "language": "VARNEK", "packageName": "no.such", "validationFcn": "f"},
        {"name": "py_built_in", "value": 2, "language": "VARNEK", "packageName": "varnek.settings",
         "validationFcn": "mustBeIntegerScalar"},
        *({"name": f"default_{name}", "language": "VARNEK", "packageName": "lab_checks", "runtimeDefaultFcn": name}
          for name in ("cores", "words", "fails")),
    ],
    "groups": [{"groupName": "inner", "settings": [{"name": "deep", "value": "x"}]}],
}


class Place:
    """Made and removed with the process."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vksettings-python-"))
        owner = os.getpid()  # children of a fork leave the folder alone
        atexit.register(lambda: os.getpid() == owner and shutil.rmtree(self.folder, ignore_errors=True))
        self.factory, self.user = self.folder / "factory", self.folder / "user"
        (self.factory / "python").mkdir(parents=True)
        self.user.mkdir()
        (self.factory / "python" / "lab_checks.py").write_text(CHECKS)
        self.environment = {**os.environ, "HOME": str(self.folder), "SETTINGS_FACTORYDIR": str(self.factory),
                            "SETTINGS_USERDIR": str(self.user), "PYTHONDONTWRITEBYTECODE": "1"}
        for name in ("SETTINGS_INSTALLATIONDIR", "VKSETTINGS_FRONTEND", "VKSETTINGS_LOG"):
            self.environment.pop(name, None)
        document = self.folder / "lab.json"
        document.write_text(json.dumps(DEFINITIONS))
        self.tool("factory", "build", str(document), str(self.folder / "lab.vksettings"))
        self.tool("factory", "install", str(self.folder / "lab.vksettings"))

    def tool(self, *arguments, code=0, **environment):
        """What the command prints, on both outputs."""
        done = subprocess.run([TOOL, *arguments], env={**self.environment, **environment}, cwd=self.folder, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=PATIENCE, check=False)
        if done.returncode != code:
            raise AssertionError(f"{arguments} ended with {done.returncode}: {done.stdout}")
        return done.stdout.rstrip("\n")

    def python(self, program, **environment):
        """A finished process that ran the program."""
        return subprocess.run([sys.executable, "-c", program], env={**self.environment, **environment},
                              cwd=self.folder, text=True, capture_output=True, timeout=PATIENCE, check=False)

    def start(self, program):
        """A process that runs the program."""
        return subprocess.Popen([sys.executable, "-c", program], env=self.environment, cwd=self.folder, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def enter(self):
        """Has this process use the folders; before the module builds its tree."""
        os.environ.update(self.environment)
        os.environ.pop("SETTINGS_INSTALLATIONDIR", None)
        return self
