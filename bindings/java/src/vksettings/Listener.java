package vksettings;

/**
 * Hears of changes.
 *
 * <p>Called one event at a time per tree, in the order of the changes, after each is in place: on the thread that made
 * the change, on one that makes another change, or on one of the library's own. It may read, set, add, remove,
 * subscribe and unsubscribe. What it throws is logged by the logger "vksettings" of {@link System#getLogger} and goes
 * no further.
 */
@FunctionalInterface
public interface Listener {
    void heard(SettingsEvent event) throws Exception;
}
