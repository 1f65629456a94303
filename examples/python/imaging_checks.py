"""Functions that imaging.json names. They run on the thread of the engine."""
import os


def mustBePowerOfTwo(setting, name, value):
    """Refuses by raising."""
    if value & (value - 1):
        raise ValueError(f"{name} has to be a power of two, {value} is none")


def lowerCase(setting, name, value):
    """Puts another value in place of the one that was set."""
    return [word.lower() for word in value]


def halfOfTheCores():
    """A default, computed each time it is read."""
    return max(1, (os.cpu_count() or 1) // 2)
