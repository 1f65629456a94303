"""The settings of a toolbox "survey", made by Python code."""
import os


def create_factory_settings(survey):
    survey.addSetting("title", "Untitled", description="Shown above every page")
    survey.addSetting("pages", 4, minimum=1, maximum=99, integer=True)
    survey.addSetting("mode", "draft", choices=["draft", "final"])
    survey.addSetting("workers", runtimeDefault="survey_settings.workers")
    grid = survey.addGroup("grid", title="Grid")
    for axis in ("x", "y", "z"):  # what a document would have to say three times
        grid.addSetting(axis, 0.5, validator="survey_settings.must_be_positive")


def must_be_positive(setting, name, value):
    if value <= 0:
        raise ValueError(f"{name} has to be positive, {value} is not")


def workers():
    return os.cpu_count() or 1
