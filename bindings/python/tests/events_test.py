#!/usr/bin/env python3
"""Listeners, the event handler and the queue."""
import concurrent.futures
import signal
import sys
import threading
import time
import unittest

import support

PLACE = support.Place().enter()

import vksettings  # noqa: E402 (after the folders are set)


class Heard(list):
    """A listener that keeps what it hears, and lets others wait for it."""

    def __init__(self):
        super().__init__()
        self.changed = threading.Condition()

    def __call__(self, event):
        with self.changed:
            self.append((event.kind, event.setting.name, event.oldValue, threading.get_ident()))
            self.changed.notify_all()

    def wait(self, count):
        with self.changed:
            if not self.changed.wait_for(lambda: len(self) >= count, support.PATIENCE):
                raise AssertionError(f"heard {len(self)} of {count} events")
        return [entry[:3] for entry in self]


class Events(unittest.TestCase):
    def setUp(self):
        self.lab = vksettings.root()["lab"]
        self.addCleanup(lambda: [self.lab.unset(name, "session") for name in ("real", "size", "text", "counter")
                                 if self.lab.isSet(name, "session")])

    def test_a_change_of_a_value(self):
        heard = Heard()
        with self.lab.getChild("real").listen(heard, "value") as subscription:
            self.lab.set("real", 2.5, "session")
            self.lab.set("real", 2.5, "session")  # no change
            self.lab.set("size", 20, "session")  # another setting
            self.lab.unset("real", "session")
            self.assertTrue(subscription.connected)
        self.lab.set("real", 4.5, "session")
        self.assertFalse(subscription.connected)
        self.assertEqual([("value", "real", 1.5), ("value", "real", 2.5)], heard.wait(2))
        self.assertEqual({threading.get_ident()}, {entry[3] for entry in heard})

    def test_additions_and_removals(self):
        group, parents = self.lab["inner"], []
        with group.listen(lambda event: parents.append((event.kind, event.setting.name, event.parent, event.oldValue,
                                                        event.rootIndex))):
            group.addSetting("new", 1, level="session")
            group.remove("new")
        self.assertEqual([("add", "new", group, None, 0), ("remove", "new", group, None, 0)], parents)

    def test_kinds(self):
        heard = {kind: Heard() for kind in ("add", "remove", "all")}
        subscriptions = [self.lab["inner"].listen(listener, kind) for kind, listener in heard.items()]
        self.lab["inner"].addGroup("new", level="session")
        self.lab["inner"].remove("new")
        for subscription in subscriptions:
            subscription.disconnect()
        self.assertEqual([["add"], ["remove"], ["add", "remove"]],
                         [[event[0] for event in listener] for listener in heard.values()])

    def test_all_trees(self):
        heard = Heard()
        vksettings.createTree(9)
        with vksettings.listen(heard):
            vksettings.root(9).addGroup("there", level="session")
            self.lab.set("text", "here", "session")
        self.assertEqual([("add", "there", None), ("value", "text", "start")], heard.wait(2))

    def test_on_the_engine(self):
        heard = Heard()
        with self.lab.getChild("real").listen(heard, onEngine=True):
            self.lab.set("real", 2.5, "session")
            heard.wait(1)
        self.assertEqual(vksettings.run(threading.get_ident), heard[0][3])

    def test_the_end_of_a_subscription_waits_for_the_engine(self):
        began, go, done = threading.Event(), threading.Event(), []

        def listener(event):
            began.set()
            go.wait(support.PATIENCE)
            done.append(subscription.connected)

        subscription = self.lab.getChild("real").listen(listener, onEngine=True)
        self.lab.set("real", 2.5, "session")
        began.wait(support.PATIENCE)
        threading.Thread(target=lambda: (self.until(lambda: not subscription.connected), go.set())).start()
        subscription.disconnect()
        self.assertEqual([False], done)

    def test_a_subscription_that_ends_itself_on_the_engine(self):
        done = threading.Event()
        subscription = self.lab.getChild("real").listen(lambda event: (subscription.disconnect(), done.set()),
                                                        onEngine=True)
        self.lab.set("real", 2.5, "session")
        self.assertTrue(done.wait(support.PATIENCE))

    def until(self, condition):
        end = time.monotonic() + support.PATIENCE
        while not condition() and time.monotonic() < end:
            threading.Event().wait(0.001)

    def test_an_interruption_of_a_listener_or_validator_reaches_the_program(self):
        self.addCleanup(setattr, sys, "unraisablehook", sys.unraisablehook)
        sys.unraisablehook = lambda failure: None

        def interrupted(*arguments):
            if arguments[-1] != 1:
                signal.raise_signal(signal.SIGINT)

        with self.assertRaises(KeyboardInterrupt):
            with self.lab.getChild("real").listen(interrupted):
                self.lab.set("real", 2.5, "session")
        self.lab["inner"].addSetting("checked", 1, level="session", validator=interrupted)
        with self.assertRaises(KeyboardInterrupt):
            try:
                self.lab["inner"].set("checked", 2, "session")
            except vksettings.ValidationError:
                pass
        self.lab["inner"].remove("checked")
        self.assertRaises(ZeroDivisionError, lambda: 1 / 0)  # and no second one

    def test_the_event_handler(self):
        heard = Heard()
        vksettings.setEventHandler(heard)
        self.lab.set("real", 2.5, "session")
        self.lab.set("real", 3.5, "session")
        self.assertEqual([("value", "real", 1.5), ("value", "real", 2.5)], heard.wait(2))
        gate = threading.Event()
        vksettings.submit(gate.wait)
        self.lab.set("real", 4.5, "session")  # for the engine, which is at work
        vksettings.setEventHandler(None)
        gate.set()
        self.lab.set("real", 5.5, "session")
        vksettings.run(lambda: None)  # after what the engine had to do
        self.assertEqual(2, len(heard))
        self.assertEqual({vksettings.run(threading.get_ident)}, {entry[3] for entry in heard})

    def test_the_queue(self):
        vksettings.enableEventQueue()
        self.lab.set("real", 2.5, "session")
        self.lab.set("text", "two", "session")
        self.assertEqual([("value", "real", 1.5), ("value", "text", "start")],
                         [(event.kind, event.setting.name, event.oldValue) for event in vksettings.eventQueue()])
        vksettings.enableEventQueue(False)
        self.lab.set("real", 3.5, "session")
        self.assertEqual([], vksettings.eventQueue())

    def test_a_listener_that_fails(self):
        told, heard = [], Heard()
        hook, sys.unraisablehook = sys.unraisablehook, lambda failure: told.append(repr(failure.exc_value))
        self.addCleanup(setattr, sys, "unraisablehook", hook)

        def failing(event):
            raise KeyError("mine")

        real = self.lab.getChild("real")
        with real.listen(failing), real.listen(heard):
            self.lab.set("real", 2.5, "session")
        self.assertEqual(["KeyError('mine')"], told)
        self.assertEqual(1, len(heard))
        self.assertEqual(2.5, self.lab["real"])

    def test_changes_from_inside_a_listener(self):
        heard = Heard()

        def count(event):
            subscription.disconnect()
            self.lab.set("counter", self.lab["counter"] + 1, "session")
            self.lab["inner"].addGroup("made", level="session")
            self.lab["inner"].remove("made")

        subscription = self.lab.getChild("real").listen(count)
        with self.lab.getChild("counter").listen(heard):
            self.lab.set("real", 2.5, "session")
            self.lab.set("real", 3.5, "session")
        self.assertEqual([("value", "counter", 0.0)], heard.wait(1))

    def test_many_threads(self):
        """An unbroken chain of old values, whoever hands the events on; no thread waits for another for ever."""
        chain, rounds = [], 200
        counter = self.lab.getChild("counter")

        def listener(event):
            chain.append(event.oldValue)
            event.setting.parent.get("text")

        def change(start):
            for i in range(rounds):
                counter.setValue(start + i, "session", type="int64")
            return start

        with counter.listen(listener):
            with concurrent.futures.ThreadPoolExecutor(4) as pool:
                done = [pool.submit(change, 1000 * n) for n in range(1, 5)]
                self.assertEqual([1000, 2000, 3000, 4000], [job.result(support.PATIENCE) for job in done])
            final = counter.getValue()
        self.assertEqual(0, chain[0])
        self.assertEqual(4 * rounds, len(chain))
        self.assertEqual(set(chain[1:]) | {final}, {1000 * n + i for n in range(1, 5) for i in range(rounds)})

    def test_a_watch_that_a_listener_ends(self):
        """On the watch's own thread: refused, or left to another one."""
        raised, heard = [], Heard()

        def close(event):
            try:
                watches[0].close()
            except RuntimeError as failure:
                raised.append(str(failure))
            watches.clear()
            heard(event)

        watches = [vksettings.PersonalFileWatch()]
        with self.lab.getChild("text").listen(close):
            PLACE.tool("set", "lab.text", "ends the watch")
            heard.wait(1)
        self.assertNotEqual(threading.get_ident(), heard[0][3])
        self.assertEqual([True], ["inside a listener" in text for text in raised])
        self.forget("text")

    def test_a_watch_that_the_engine_ends(self):
        watch, heard = vksettings.PersonalFileWatch(), Heard()
        with self.lab.getChild("text").listen(lambda event: (watch.close(), heard(event)), onEngine=True):
            PLACE.tool("set", "lab.text", "ends the watch")
            heard.wait(1)
        self.forget("text")

    def forget(self, name):
        """What another process has stored."""
        self.lab.unset(name)
        vksettings.waitForSaves()

    def test_what_other_processes_write(self):
        heard = Heard()
        with self.lab.getChild("text").listen(heard), vksettings.PersonalFileWatch():
            PLACE.tool("set", "lab.text", "from outside")
            self.assertEqual([("value", "text", "start")], heard.wait(1))
            self.assertEqual("from outside", self.lab["text"])
            PLACE.tool("unset", "lab.text")
            heard.wait(2)


if __name__ == "__main__":
    unittest.main()
