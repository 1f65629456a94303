"""Runs the Python files in which toolboxes define their settings."""
import os
import sys
import traceback
import types


def run_file(file, class_name, group):
    """Executes the file and has it fill the group: create_factory_settings(group), of the class where one is named.

    The file is read anew each time. Modules beside it can be imported, as validation functions are.
    """
    folder = os.path.dirname(file)
    if folder not in sys.path:
        sys.path.append(folder)
    with open(file, "rb") as source:
        code = compile(source.read(), file, "exec")
    module = types.ModuleType("vksettings.toolbox")
    module.__file__ = file
    exec(code, module.__dict__)  # pylint: disable=exec-used
    where = getattr(module, class_name)() if class_name else module
    return where.create_factory_settings(group)


def message(failure, trace, file):
    """One line with the last place in that file that led to the failure."""
    text = "".join(traceback.format_exception_only(type(failure), failure)).strip().splitlines()[-1]
    if isinstance(failure, SyntaxError):
        return f"{failure.filename}, line {failure.lineno}: {text}"
    lines = [frame.lineno for frame in traceback.extract_tb(trace) if frame.filename == file]
    return f"{file}, line {lines[-1]}: {text}" if lines else f"{file}: {text}"


def file_of(function):
    """Where the function is defined, for messages."""
    code = getattr(function, "__code__", None)
    return code.co_filename if code else getattr(function, "__qualname__", repr(function))
