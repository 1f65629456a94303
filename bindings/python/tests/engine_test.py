#!/usr/bin/env python3
"""The engine's thread, and the functions of definitions that run on it."""
import concurrent.futures
import os
import signal
import sys
import threading
import traceback
import unittest

import support

PLACE = support.Place().enter()

import vksettings  # noqa: E402 (after the folders are set)

run = vksettings.run


def interrupted(future):
    raise KeyboardInterrupt


def checks():
    return sys.modules["lab_checks"]


class Engine(unittest.TestCase):
    def test_one_thread(self):
        here, there = threading.get_ident(), run(threading.get_ident)
        self.assertNotEqual(here, there)
        self.assertEqual(there, vksettings.submit(threading.get_ident).result(support.PATIENCE))
        self.assertFalse(vksettings.isEngineThread())
        self.assertTrue(run(vksettings.isEngineThread))
        self.assertEqual(there, run(run, run, threading.get_ident))

    def test_results_and_failures(self):
        self.assertEqual((1, {"b": 2}), run(lambda a, **more: (a, more), 1, b=2))
        with self.assertRaises(ZeroDivisionError):
            run(lambda: 1 / 0)
        with self.assertRaises(SystemExit):
            run(sys.exit, 3)
        self.assertEqual(5, run(lambda: 5))
        self.assertRaises(TypeError, vksettings.submit)

    def test_in_order(self):
        done = []
        for number in range(100):
            vksettings.submit(done.append, number)
        run(lambda: None)
        self.assertEqual(list(range(100)), done)

    def test_work_that_is_cancelled(self):
        began, go, done = threading.Event(), threading.Event(), []
        first = vksettings.submit(lambda: (began.set(), go.wait(support.PATIENCE)))
        second = vksettings.submit(done.append, 2)
        began.wait(support.PATIENCE)
        self.assertTrue(second.cancel())
        go.set()
        first.result(support.PATIENCE)
        run(lambda: None)
        self.assertEqual([], done)

    def test_locals_of_the_thread_stay(self):
        local = threading.local()
        run(setattr, local, "kept", 5)
        self.assertEqual(5, run(getattr, local, "kept"))

    def test_an_interrupted_wait_takes_its_call_back(self):
        began, go, done = threading.Event(), threading.Event(), []

        def work():
            began.set()
            go.wait(support.PATIENCE)

        first = vksettings.submit(work)
        began.wait(support.PATIENCE)
        wait, concurrent.futures.Future.result = concurrent.futures.Future.result, interrupted
        try:
            self.assertRaises(KeyboardInterrupt, run, done.append, 1)
        finally:
            concurrent.futures.Future.result = wait
        go.set()
        first.result(support.PATIENCE)
        run(lambda: None)
        self.assertEqual([], done)


@unittest.skipUnless(hasattr(os, "fork"), "needs fork")
class Forks(unittest.TestCase):
    def setUp(self):
        self.lab = vksettings.root()["lab"]

    def child(self, work):
        """The exit code of a forked process that did the work."""
        child = os.fork()
        if child == 0:
            code = 1
            try:
                code = 0 if work() else 2
            finally:
                os._exit(code)
        killer = threading.Timer(support.PATIENCE / 3, os.kill, (child, signal.SIGKILL))
        killer.start()
        code = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
        killer.cancel()
        return code

    def checks_on_its_engine(self):
        run(self.lab.check, "py_even", 4)
        return run(threading.get_ident) != threading.get_ident()

    def test_a_forked_process_has_an_engine_of_its_own(self):
        self.assertEqual(0, self.child(self.checks_on_its_engine))
        self.assertTrue(run(vksettings.isEngineThread))

    def test_while_functions_run(self):
        """On the engine's thread and on another one."""
        run(self.lab.check, "py_even", 4)  # imports the module
        began, go = threading.Semaphore(0), threading.Event()

        def block(*arguments):
            began.release()
            go.wait(support.PATIENCE)

        checks().block = block
        inner = self.lab["inner"]
        for name, validator in (("blocking", "lab_checks.block"), ("other", block), ("free", lambda *arguments: None)):
            inner.createFactorySetting(name, 1, validator=validator)
        threads = [threading.Thread(target=inner.set, args=("other", 2, "session")),
                   threading.Thread(target=run, args=(inner.set, "blocking", 2, "session"))]
        for thread in threads:
            thread.start()
            began.acquire(timeout=support.PATIENCE)

        def work():
            inner.set("free", 2, "session")
            return self.checks_on_its_engine() and inner["free"] == 2

        code = self.child(work)
        go.set()
        for thread in threads:
            thread.join(support.PATIENCE)
        self.assertEqual((0, 2, 2), (code, inner["blocking"], inner["other"]))

    def test_inside_a_function(self):
        run(self.lab.check, "py_even", 4)
        codes, inner = [], self.lab["inner"]
        checks().fork = lambda *arguments: codes.append(self.child(self.checks_on_its_engine))
        inner.createFactorySetting("forking", 1, validator="lab_checks.fork")
        run(inner.set, "forking", 2, "session")
        self.assertEqual([0], codes)

    def test_a_watch_of_the_parent(self):
        def work():
            watch.close()
            return True

        with vksettings.PersonalFileWatch() as watch:
            self.assertEqual(0, self.child(work))


class ValidationFunctions(unittest.TestCase):
    def setUp(self):
        self.lab = vksettings.root()["lab"]

    def tearDown(self):
        for name in self.lab:
            if name.startswith("py_") and self.lab.isSet(name, "session"):
                self.lab.unset(name, "session")

    def set(self, name, value):
        run(self.lab.set, name, value, "session")
        return self.lab[name]

    def refusal(self, name, value=3):
        with self.assertRaises(vksettings.SettingsError) as caught:
            self.set(name, value)
        self.assertFalse(self.lab.isSet(name, "session"))
        return caught.exception

    def test_on_the_thread_of_the_engine(self):
        self.assertEqual(4, self.set("py_even", 4))
        self.assertEqual(("lab.py_even", "py_even", 4.0, run(threading.get_ident)), checks().calls[-1])

    def test_on_any_other_thread_it_fails_at_once(self):
        run(self.lab.check, "py_even", 4)
        calls = len(checks().calls)
        began, go = threading.Event(), threading.Event()
        busy = vksettings.submit(lambda: (began.set(), go.wait(support.PATIENCE)))
        began.wait(support.PATIENCE)
        with self.assertRaises(vksettings.FunctionError) as caught:  # while the engine is busy: it is not waited for
            self.lab.set("py_even", 4, "session")
        self.assertFalse(busy.done())
        go.set()
        self.assertEqual("ValidationFunctionInvokingError", caught.exception.id)
        self.assertEqual("lab_checks.py_even".replace("py_", ""), caught.exception.details["function"])
        self.assertIn("thread", caught.exception.details["cause"])
        self.assertEqual(calls, len(checks().calls))
        self.assertFalse(self.lab.isSet("py_even", "session"))

    def test_a_refusal(self):
        failure = self.refusal("py_even")
        self.assertIsInstance(failure, vksettings.ValidationError)
        self.assertEqual(("ExceptionFromValidationFunction", "lab.py_even", "py_even must be even, not 3.0"),
                         (failure.id, failure.setting, failure.details["cause"]))
        self.assertIsInstance(failure.__cause__, ValueError)
        self.assertIn("lab_checks.py", "".join(traceback.format_exception(failure.__cause__)))

    def test_a_value_in_place_of_the_one_that_was_set(self):
        self.assertEqual(3, self.set("py_rounded", 2.7))

    def test_functions_that_are_wrong(self):
        self.assertIn("KeyError: 'missing'", self.refusal("py_broken").details["cause"])
        self.assertIn("returned a bool", self.refusal("py_says_bool").details["cause"])
        self.assertIn("SystemExit", self.refusal("py_no_function_at_all").details["cause"])

    def test_functions_that_are_not_there(self):
        for name, cause in (("py_nowhere", "No module named 'no'"), ("py_absent", "has no attribute 'absent'"),
                            ("py_NUMBER", "is no function")):
            with self.subTest(name=name):
                failure = self.refusal(name)
                self.assertIsInstance(failure, vksettings.FunctionError)
                self.assertIn(cause, failure.details["cause"])

    def test_a_function_that_sets_settings(self):
        before = self.lab["counter"]
        self.set("py_nested", 5)
        self.assertEqual(before + 1, self.lab["counter"])
        self.lab.unset("counter")

    def test_built_in_functions_need_no_engine(self):
        self.lab.set("py_built_in", 3.0, "session")
        self.assertEqual((3, int), (self.lab["py_built_in"], type(self.lab["py_built_in"])))

    def test_callables_run_on_any_thread(self):
        seen = []

        def short(setting, name, value):
            seen.append((setting.name, name, value, threading.get_ident()))
            if len(value) > 3:
                raise ValueError("too long")

        inner = self.lab["inner"]
        inner.addSetting("short", "abc", level="session", validator=short)
        inner.set("short", "xyz", "session")
        self.assertEqual(("short", "short", "xyz", threading.get_ident()), seen[-1])
        with self.assertRaises(vksettings.ValidationError) as caught:
            inner.set("short", "long", "session")
        self.assertEqual(("python:ValueError", "too long"), (caught.exception.id, caught.exception.text))
        self.assertIsInstance(caught.exception.__cause__, ValueError)
        inner.getChild("short").setValidator(lambda *arguments: "another")
        self.assertRaisesRegex(TypeError, "another value", inner.set, "short", "a", "session")
        inner.remove("short")

    def test_many_threads_and_the_engine(self):
        """Callables under the library's locks, on threads that wait for the interpreter."""
        inner, failures = self.lab["inner"], []
        inner.addSetting("shared", 0, level="session", validator=lambda *arguments: self.lab.get("real") and None)

        def work(number):
            try:
                for i in range(100):
                    inner.set("shared", number * 1000 + i, "session")
                    if i % 10 == 0:
                        run(self.lab.set, "py_even", 2 * i, "session")
            except Exception as failure:
                failures.append(failure)

        threads = [threading.Thread(target=work, args=(number,), daemon=True) for number in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(support.PATIENCE)
        self.assertEqual(([], [False] * 4), (failures, [thread.is_alive() for thread in threads]))
        inner.remove("shared")


class RunTimeDefaults(unittest.TestCase):
    def setUp(self):
        self.lab = vksettings.root()["lab"]

    def test_on_the_engine_each_read_computes(self):
        run(self.lab.get, "default_cores")
        before = checks().calls.count("cores")
        self.assertEqual([4, 4], [run(self.lab.get, "default_cores") for _ in range(2)])
        self.assertEqual(before + 2, checks().calls.count("cores"))
        self.assertEqual(["a", "b"], run(self.lab.get, "default_words"))
        self.assertTrue(run(self.lab.isSet, "default_cores", "factory"))

    def test_elsewhere_there_is_no_value(self):
        self.assertIsNone(self.lab.get("default_cores"))

    def test_one_that_fails_gives_no_value(self):
        self.assertIsNone(run(self.lab.get, "default_fails"))

    def test_defined_in_python(self):
        self.lab["inner"].createFactorySetting("late", runtimeDefault="lab_checks.cores")
        self.assertEqual(4, run(self.lab["inner"].get, "late"))
        with self.assertRaises(vksettings.FunctionError) as caught:
            self.lab["inner"].createFactorySetting("late", runtimeDefault="lab_checks.words")
        self.assertEqual("MultipleRuntimeFuncError", caught.exception.id)


if __name__ == "__main__":
    unittest.main()
