package vksettings;

import java.util.List;
import java.util.Objects;
import java.util.Optional;

/**
 * A handle to one group or one setting of the settings tree.
 *
 * <p>Values belong to the settings directly below a group and are read and set through the group. Levels are named
 * "session", "user", "installation" and "factory"; a read without a level yields the effective value, the first in that
 * order that is set. Names are compared exactly.
 *
 * <table>
 * <caption>What a value is in Java</caption>
 * <tr><th>value</th><th>Java</th></tr>
 * <tr><td>logical, double, single</td><td>{@link Boolean}, {@link Double}, {@link Float}</td></tr>
 * <tr><td>int8, int16, int32, int64</td><td>{@link Byte}, {@link Short}, {@link Integer}, {@link Long}</td></tr>
 * <tr><td>uint8, uint16, uint32, uint64</td><td>{@link Unsigned}</td></tr>
 * <tr><td>text</td><td>{@link String}</td></tr>
 * <tr><td>row of one of these</td><td>array: {@code boolean[]}, {@code double[]}, ... {@code String[]}</td></tr>
 * <tr><td>everything else: matrices, columns, rows of unsigned numbers, cells</td><td>{@link NDArray}</td></tr>
 * </table>
 *
 * What {@link #get(String)} gives, {@link #set} stores as the same array again; only a single string (not a text of
 * characters) is stored as characters then.
 *
 * <p>Threads: all methods may be called from any thread, {@link #close} included. No lock is held while listeners run;
 * validators of one kind take turns.
 *
 * <p>Failures are {@link SettingsException}s, thrown before anything has changed; {@link NullPointerException} and
 * {@link IllegalArgumentException} for arguments that no call may have, {@link IllegalStateException} for a closed
 * handle.
 *
 * <p>A handle that is not closed is freed with its garbage.
 */
public final class Settings implements AutoCloseable {
    /** The address of the native part. */
    private final long cell;

    /** Takes the native part over. */
    Settings(long cell) {
        this.cell = cell;
        Garbage.CLEANER.register(this, () -> Natives.free(cell));
    }

    /**
     * The root of the application's tree, built from the factory files on first use.
     *
     * @throws FileException when the list of factory files cannot be used; other files that cannot are left out, see
     *     {@link #loadProblems}
     */
    public static Settings root() {
        return Natives.root();
    }

    /** What went wrong while the tree was built, each with the file. */
    public static List<String> loadProblems() {
        return List.of(Natives.loadProblems());
    }

    /** Waits until everything that was changed before has been written, or could not be. */
    public static void waitForSaves() {
        Natives.waitForSaves();
    }

    /** The handle gives its node up; calls that are under way end as they would have. May be called again. */
    @Override
    public void close() {
        Natives.close(this);
    }

    // ---- values of the settings directly below this group ----

    /**
     * The effective value in its natural form; null when no level holds one.
     *
     * @throws NotFoundException when there is no setting of that name
     */
    public Object get(String name) {
        return get(name, "");
    }

    /** The value of one level; null when it holds none. */
    public Object get(String name, String level) {
        return Values.decode(Natives.get(this, named(name), named(level)));
    }

    /**
     * The effective value, converted: a {@link Boolean}, a signed number, a {@link String}, an array of one of these,
     * or an {@link NDArray} of the value as it is stored.
     *
     * @throws NoValueException when no level holds one
     * @throws ConversionException for text against number, for a number that the class does not hold, and for several
     *     elements where one is asked for
     */
    public <T> T get(String name, Class<T> form) {
        return get(name, form, "");
    }

    /** The same for one level. */
    @SuppressWarnings("unchecked") // a class of a primitive type is one of the boxed type
    public <T> T get(String name, Class<T> form, String level) {
        if (form == NDArray.class) {
            return form.cast(Values.array(Natives.getArray(this, named(name), named(level))));
        }
        final Values.Form wanted = Values.formOf(form);
        return (T) Values.decode(
                Natives.getAs(this, named(name), named(level), wanted.type().code, wanted.isVector()));
    }

    /**
     * Stores a value on a level.
     *
     * @throws NotFoundException for a setting or level that is not there
     * @throws ValidationException for a value that the definition does not allow
     * @throws FunctionException when the validation function cannot be called
     * @throws ReadOnlyException for a level or setting that cannot be changed
     * @throws IllegalArgumentException for an object that stands for no value
     */
    public void set(String name, Object value, String level) {
        Natives.set(this, named(name), Values.encode(value), named(level));
    }

    /**
     * Drops the value of one level.
     *
     * @throws NoValueException when it holds none
     */
    public void unset(String name, String level) {
        Natives.unset(this, named(name), named(level));
    }

    public boolean isSet(String name, String level) {
        return Natives.isSet(this, named(name), named(level));
    }

    // ---- the tree ----

    /** The names of the groups and settings directly below, sorted by their bytes, hidden ones included. */
    public List<String> names() {
        return List.of(Natives.names(this));
    }

    /** The groups and settings directly below, in the order of their names. */
    public List<Settings> children() {
        return List.of(Natives.children(this));
    }

    public Optional<Settings> child(String name) {
        return Optional.ofNullable(Natives.child(this, named(name)));
    }

    /**
     * The group or setting of those names, joined by ".", from here down.
     *
     * @throws NotFoundException when they lead nowhere
     */
    public Settings find(String fullName) {
        return Natives.find(this, named(fullName));
    }

    /** The group that this stands in; nothing for a root. */
    public Optional<Settings> parent() {
        return Optional.ofNullable(Natives.parent(this));
    }

    /** Adds a visible group for as long as that level keeps it ("session": until the process ends). */
    public Settings addGroup(String name, String level) {
        return Natives.addGroup(this, named(name), named(level));
    }

    /** Adds a visible setting, without value for null. An array of one element is stored as that element. */
    public Settings addSetting(String name, Object value, String level) {
        return Natives.addSetting(this, named(name), Values.encode(value), named(level));
    }

    /**
     * Removes a group or setting that was added.
     *
     * @throws ReadOnlyException for one that a definition has made
     */
    public void remove(String name) {
        Natives.removeNode(this, named(name));
    }

    public String name() {
        return Natives.name(this);
    }

    /** The names from the top-level group down, joined by "."; empty for the root. */
    public String fullName() {
        return Natives.fullName(this);
    }

    /** Whether this is a setting, not a group. */
    public boolean isSetting() {
        return Natives.isSetting(this);
    }

    public boolean isReadOnly() {
        return Natives.isReadOnly(this);
    }

    public boolean isVisible() {
        return Natives.isVisible(this);
    }

    /** False for what was removed. */
    public boolean isInTree() {
        return Natives.isInTree(this);
    }

    /** Whether both stand for the same group or setting. */
    public boolean isSame(Settings other) {
        return Natives.isSame(this, Objects.requireNonNull(other));
    }

    // ---- events ----

    /**
     * Calls the listener for what happens to this node from now on: a setting's value changed, something was added to
     * or removed from directly below a group.
     */
    public Subscription listen(Listener listener) {
        return new Subscription(Natives.listen(this, Objects.requireNonNull(listener)));
    }

    /** Calls the listener for every event of every tree. */
    public static Subscription listenToAll(Listener listener) {
        return new Subscription(Natives.listen(null, Objects.requireNonNull(listener)));
    }

    private static String named(String name) {
        return Objects.requireNonNull(name, "name or level");
    }

    @Override
    public String toString() {
        try {
            return "Settings[" + fullName() + "]";
        } catch (IllegalStateException closed) {
            return "Settings[closed]";
        }
    }
}
