#!/usr/bin/env python3
"""How processes with the module begin and end. Every program ends by itself, silently and with code 0."""
import signal
import unittest

import support

PLACE = support.Place()

START = """
import threading, time
import vksettings
lab = vksettings.root()["lab"]
"""


class Shutdown(unittest.TestCase):
    def assertEnds(self, program, out="", errors="", code=0, **environment):
        done = PLACE.python(START + program, **environment)
        self.assertEqual((done.stdout, done.stderr, done.returncode), (out, errors, code))

    def test_without_doing_anything(self):
        self.assertEnds("")

    def test_with_listeners_and_handles(self):
        self.assertEnds("""
class Listener:
    def __call__(self, event): print(event.kind)
    def __del__(self): lab.set("text", "late", "session")
kept = [lab.listen(Listener(), "all"), lab.getChild("real").listen(Listener(), onEngine=True), vksettings.listen(print)]
vksettings.setEventHandler(lambda event: None)
vksettings.enableEventQueue()
kept[2].disconnect()
lab["inner"].addSetting("checked", 1, level="session", validator=lambda *arguments: None)
with vksettings.PersonalFileWatch(): pass
watch = vksettings.PersonalFileWatch()
lab["inner"].addSetting("unchecked", 1, level="session")
lab.set("counter", 5, "session")
""")

    def test_what_was_set_last_is_saved(self):
        self.assertEnds('lab["text"] = "last"')
        self.assertEqual("last", PLACE.tool("get", "lab.text"))

    def test_work_at_the_end(self):
        """What runs is waited for, what waits is cancelled."""
        self.assertEnds("""
began = threading.Event()
def work():
    began.set()
    while vksettings._core.post(lambda: None): time.sleep(0.001)  # until the engine takes no more
    print("done")
vksettings.submit(work)
began.wait()
left = vksettings.submit(print, "never")
left.add_done_callback(lambda future: print("cancelled", future.cancelled()))
""", out="done\ncancelled True\n")

    def test_after_the_end(self):
        self.assertEnds("""
vksettings._stop()
for call in (lambda: vksettings.run(print), lambda: lab.listen(print)):
    try: call()
    except RuntimeError as failure: print(failure)
try: lab.set("py_even", 4, "session")
except vksettings.FunctionError as failure: print(failure.details["function"])
lab.set("real", 2.5, "session")
print(lab["real"])
""", out="the engine has stopped\nthe interpreter is ending\nlab_checks.even\n2.5\n")

    def test_daemon_threads_that_go_on(self):
        self.assertEnds("""
lab.getChild("counter").listen(lambda event: None)
began = threading.Event()
def work():
    i = 0
    while True:
        lab.set("counter", i, "session"); i += 1; began.set()
for _ in range(3): threading.Thread(target=work, daemon=True).start()
began.wait()
""")

    def test_daemon_threads_in_watches_and_validators(self):
        """They sleep; nothing of them is unwound."""
        for work in ("vksettings.PersonalFileWatch()",
                     "with vksettings.PersonalFileWatch(): pass",
                     "inner.set('checked', next(numbers), 'session')",
                     "inner.getChild('checked').setValidator(lambda *arguments: None)",
                     "failing(inner.get, 'absent')",
                     "failing(inner.set, 'refused', next(numbers), 'session')") * 3:
            with self.subTest(work=work):
                self.assertEnds(f"""
import itertools, sys
inner, numbers = lab["inner"], itertools.count()
def check(*arguments):
    for _ in range(300): pass
inner.addSetting("checked", 1, level="session", validator=check)
class Refusal(ValueError):
    def __str__(self):
        check()
        return "no"
def refuse(*arguments): raise Refusal()
inner.addSetting("refused", level="session", validator=refuse)
def failing(call, *arguments):
    try: call(*arguments)
    except vksettings.SettingsError: pass
class Slow:
    def __del__(self, sleep=time.sleep): sleep(0.05)  # while the interpreter is ending
slow = Slow()
sys.setswitchinterval(1e-5)
began = threading.Semaphore(0)
def work():
    while True:
        {work}
        began.release()
for _ in range(3): threading.Thread(target=work, daemon=True).start()
for _ in range(20): began.acquire()
""")

    @unittest.skipUnless(hasattr(signal, "pthread_kill"), "needs signals")
    def test_an_interruption_ends_the_wait_for_a_busy_engine(self):
        with PLACE.start(START + """
import atexit
began = threading.Event()
def work():
    began.set()
    while True: time.sleep(0.01)
vksettings.submit(work)
began.wait()
atexit.register(print, "stopping", flush=True)
""") as running:
            try:
                self.assertEqual("stopping", running.stdout.readline().rstrip())
                running.send_signal(signal.SIGINT)
                self.assertIn("KeyboardInterrupt", running.communicate(timeout=support.PATIENCE / 3)[1])
            finally:
                running.kill()

    def test_an_exception_in_a_listener_is_printed(self):
        done = PLACE.python(START + """
lab.listen(lambda event: 1 / 0)
lab["inner"].addGroup("unheard", level="session")
lab.addGroup("new", level="session")
""")
        self.assertEqual((done.stdout, done.returncode), ("", 0))
        self.assertEqual(1, done.stderr.count("ZeroDivisionError"))

    def test_failures_are_logged(self):
        done = PLACE.python(START + """
try: vksettings.run(lab.set, "py_broken", 4, "session")
except vksettings.ValidationError: pass
""", VKSETTINGS_LOG="settings::bindings::python:warning")
        self.assertIn('return {}["missing"]', done.stderr)


if __name__ == "__main__":
    unittest.main()
