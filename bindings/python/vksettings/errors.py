"""What the settings library raises.

Every exception carries `id`, which names the kind of failure ("ValueIsNotInRange"), `text`, a sentence, `setting`,
the full name of the setting or group concerned or None, and `details`, a dict of texts such as "value", "minimum",
"maximum", "choices", "level", "name", "function" and "cause".
"""


class SettingsError(Exception):
    """Any failure of the library."""

    def __init__(self, text, id="", setting=None, details=None):  # noqa: A002 (the word of the library)
        super().__init__(text)
        self.text = text
        self.id = id
        self.setting = setting
        self.details = dict(details or {})

    def __str__(self):
        facts = [f"{name}: {value}" for name, value in self.details.items() if value and value not in self.text]
        if self.setting and self.setting not in self.text:
            facts.insert(0, f"setting: {self.setting}")
        return self.text + (f" ({', '.join(facts)})" if facts else "")

    def __reduce__(self):
        return type(self), (self.text, self.id, self.setting, self.details)


class NotFoundError(SettingsError, LookupError):
    """There is no such group, setting or value."""


class ReadOnlyError(SettingsError):
    """A level, group or setting cannot be changed."""


class ValidationError(SettingsError, ValueError):
    """A value was refused. `__cause__` is what a validation function in Python raised."""


class FunctionError(SettingsError):
    """A validation function or run-time default could not be called."""


class FileError(SettingsError):
    """A settings file cannot be read or written."""
