"""Levelled settings: read, change, define and follow them.

Functions of the application's language run on one thread, that of the engine: validation functions and run-time
defaults that definitions name are called there. A set on another thread that meets such a validation function fails at
once with FunctionError; `run` and `submit` do work on the engine's thread.
"""
import atexit as _atexit
import concurrent.futures as _futures
import os as _os
import threading as _threading

from .errors import FileError, FunctionError, NotFoundError, ReadOnlyError, SettingsError, ValidationError
from ._core import (Event, FactoryGroup, PersonalFileWatch, Settings, Subscription, addFactorySettings, createSetting,
                    createSettingsNode, createTree, enableEventQueue, eventQueue, exportSettings, importSettings,
                    isEngineThread, listen, loadProblems, reset, root, setEventHandler, setFolders, setTogether,
                    waitForSaves)
from . import _core

__all__ = ["Event", "FactoryGroup", "FileError", "FunctionError", "NotFoundError", "PersonalFileWatch",
           "ReadOnlyError", "Settings", "SettingsError", "Subscription", "ValidationError", "addFactorySettings",
           "createSetting", "createSettingsNode", "createTree", "enableEventQueue", "eventQueue", "exportSettings",
           "importSettings", "isEngineThread", "listen", "loadProblems", "reset", "root", "run", "setEventHandler",
           "setFolders", "setTogether", "submit", "waitForSaves"]

_pending = set()
_pending_lock = _threading.Lock()


def submit(function, /, *args, **kwargs):
    """Calls function(*args, **kwargs) on the engine's thread, after what was handed in before; returns a Future.

    RuntimeError when the interpreter is ending.
    """
    future = _futures.Future()

    def forget(done):
        with _pending_lock:
            _pending.discard(done)

    def work():
        if not future.set_running_or_notify_cancel():
            return
        try:
            result = function(*args, **kwargs)
        except BaseException as failure:  # the caller's, whatever it is
            future.set_exception(failure)
        else:
            future.set_result(result)

    with _pending_lock:
        _pending.add(future)
    future.add_done_callback(forget)
    if not _core.post(work):
        future.cancel()
        raise RuntimeError("the engine has stopped")
    return future


def run(function, /, *args, **kwargs):
    """Calls function(*args, **kwargs) on the engine's thread, waits for it, and returns or raises what it does.

    A KeyboardInterrupt ends the wait, and takes the call back when it has not begun.
    """
    if isEngineThread():
        return function(*args, **kwargs)
    future = submit(function, *args, **kwargs)
    try:
        return future.result()
    except KeyboardInterrupt:
        future.cancel()  # not when it has begun
        raise


def _stop():
    """No listener and no function is called any more; work that has not begun is cancelled."""
    try:
        _core.stop()
    finally:  # also when a second Ctrl-C ended the wait
        with _pending_lock:
            left = list(_pending)
        for future in left:
            future.cancel()


def _after_fork_in_child():
    global _pending_lock
    _pending_lock = _threading.Lock()
    _pending.clear()
    _core.afterForkInChild()


_atexit.register(_stop)
_os.register_at_fork(before=_core.beforeFork, after_in_parent=_core.afterForkInParent,
                     after_in_child=_after_fork_in_child)
