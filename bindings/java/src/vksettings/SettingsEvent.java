package vksettings;

/** A change that is in place. The handles are new ones of the event's own. */
public sealed interface SettingsEvent {
    /** What the event is about. */
    Settings node();

    /**
     * The effective value of a setting changed, or a value of one level was dropped.
     *
     * @param oldValue the effective value before, null for none; what holds now is asked of the setting's group
     * @param hasJavaForm false when there was a value that Java has no form for; oldValue is null then
     */
    record ValueChanged(Settings node, Object oldValue, boolean hasJavaForm) implements SettingsEvent {}

    /**
     * A group or setting was added, with all that is below it.
     *
     * @param isToBeMirrored whether the tree of the application's interpreted language has to be brought in step
     */
    record NodeAdded(Settings node, Settings parent, boolean isToBeMirrored) implements SettingsEvent {}

    /** A group or setting was removed. */
    record NodeRemoved(Settings node, Settings parent) implements SettingsEvent {}

    /** The tree was loaded from another preferences folder. */
    record PreferencesFolderChanged(Settings node) implements SettingsEvent {}
}
