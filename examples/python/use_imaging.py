"""Uses the settings of the toolbox from Python."""
import vksettings

imaging = vksettings.root()["imaging"]

with imaging.getChild("tileSize").listen(lambda event: print("changed:", event.setting.fullName, event.oldValue)):
    # Values that need a validation function of Python are set on the engine's thread.
    vksettings.run(imaging.set, "tileSize", 512)
    try:
        vksettings.run(imaging.set, "tileSize", 500)
    except vksettings.ValidationError as refusal:
        print("refused:", refusal.details["cause"])
    try:
        imaging.set("tileSize", 128)
    except vksettings.FunctionError as failure:
        print("not here:", failure.details["cause"])


def several():
    imaging["palette"] = ["Red", "GREEN"]
    return imaging["palette"], imaging["workers"]


palette, workers = vksettings.run(several)
print("palette:", palette)
print("workers:", "at least one" if workers >= 1 else workers)
print("tile size:", imaging["tileSize"])
imaging.unset("tileSize")
imaging.unset("palette")
