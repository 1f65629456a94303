package vksettings;

import java.lang.System.Logger.Level;
import java.lang.invoke.MethodHandle;

/** All that native code calls, on any thread. Nothing is thrown but errors of the Java machine itself. */
final class Upcalls {
    private Upcalls() {}

    static Settings wrap(long cell) {
        return new Settings(cell);
    }

    // ---- events ----

    /** {@code flag}: whether the old value has a form in Java; whether an addition is to be mirrored. */
    static void deliver(Listener listener, int kind, Settings node, Settings parent, Value oldValue, boolean flag) {
        try {
            listener.heard(event(kind, node, parent, oldValue, flag));
        } catch (Throwable thrown) {
            System.getLogger("vksettings").log(Level.WARNING, "a listener has failed", thrown);
        }
    }

    private static SettingsEvent event(int kind, Settings node, Settings parent, Value oldValue, boolean flag) {
        switch (kind) {
            case 1:
                return new SettingsEvent.ValueChanged(node, Values.decode(oldValue), flag);
            case 2:
                return new SettingsEvent.NodeAdded(node, parent, flag);
            case 3:
                return new SettingsEvent.NodeRemoved(node, parent);
            default:
                return new SettingsEvent.PreferencesFolderChanged(node);
        }
    }

    // ---- functions ----

    /** Null when the function has accepted the value. */
    static CallFailure validate(String className, String method, Settings setting, String name, Value value) {
        final MethodHandle function;
        try {
            function = Functions.current().validator(className, method);
        } catch (ReflectiveOperationException | LinkageError absent) {
            return notFound(className, method, absent);
        }
        try {
            function.invokeExact(setting, name, Values.decode(value));
            return null;
        } catch (Throwable thrown) {
            return CallFailure.thrownBy(thrown);
        }
    }

    /** A {@link Value} or a {@link CallFailure}. */
    static Object runTimeDefault(String className, String method) {
        final MethodHandle function;
        try {
            function = Functions.current().runTimeDefault(className, method);
        } catch (ReflectiveOperationException | LinkageError absent) {
            return notFound(className, method, absent);
        }
        try {
            final Value value = Values.encode(function.invoke());
            return value != null ? value : CallFailure.notCalled(null, "the function gave null");
        } catch (Throwable thrown) {
            return CallFailure.thrownBy(thrown);
        }
    }

    private static CallFailure notFound(String className, String method, Throwable why) {
        return CallFailure.notCalled(
                why, "no public static method " + method + " of class " + className + " for this purpose: " + why);
    }

    // ---- failures ----

    /** The numbers are those of the native side. */
    static Throwable failure(
            int kind, String id, String text, String node, String[] details, int code, Throwable cause) {
        final SettingsException.Facts facts = new SettingsException.Facts(id, text, node, details, cause);
        switch (kind) {
            case 1:
                return new NotFoundException(facts);
            case 2:
                return new ValidationException(facts, code);
            case 3:
                return new ReadOnlyException(facts);
            case 4:
                return new NoValueException(facts);
            case 5:
                return new ConversionException(facts);
            case 6:
                return new FunctionException(facts);
            case 7:
                return new FileException(facts);
            case 8:
                return new NotReadyException(facts);
            case 9:
                return new IllegalArgumentException(text);
            case 10:
                return new IllegalStateException(text);
            case 11:
                return new OutOfMemoryError(text);
            default:
                return new SettingsException(facts);
        }
    }
}
