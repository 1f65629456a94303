package vksettings;

import java.lang.invoke.MethodHandle;
import java.lang.invoke.MethodHandles;
import java.lang.invoke.MethodType;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.Map;
import java.util.Objects;
import java.util.concurrent.ConcurrentHashMap;

/**
 * The functions of the language "JAVA" that definitions name: public static methods, the package name is the class, the
 * function name the method.
 *
 * <p>A validation function refuses a value by throwing. It has one of the forms
 *
 * <pre>{@code
 * public static void check(Object value)
 * public static void check(Settings setting, String name, Object value)
 * }</pre>
 *
 * A run-time default has the form
 *
 * <pre>{@code
 * public static Object compute()
 * }</pre>
 *
 * where the result may be declared as any class or type that a setting can hold. Functions are called on the thread
 * that sets or reads the setting, one at a time; they may use settings themselves, but must not wait for another thread
 * that does.
 */
public final class Functions {
    private static final MethodType OF_VALUE = MethodType.methodType(void.class, Object.class);
    private static final MethodType OF_SETTING =
            MethodType.methodType(void.class, Settings.class, String.class, Object.class);

    private static volatile Functions current = new Functions(Functions.class.getClassLoader());

    private final ClassLoader loader;
    private final Map<String, MethodHandle> validators = new ConcurrentHashMap<>();

    private Functions(ClassLoader loader) {
        this.loader = loader;
    }

    /** From now on classes are looked for by this loader; at first it is the one that loaded this class. */
    public static void useClassLoader(ClassLoader loader) {
        current = new Functions(Objects.requireNonNull(loader));
    }

    static Functions current() {
        return current;
    }

    /**
     * A function that takes (setting, name, value).
     *
     * @throws ReflectiveOperationException when there is none, with the reason as its message
     */
    MethodHandle validator(String className, String method) throws ReflectiveOperationException {
        final String key = className + '#' + method;
        final MethodHandle known = validators.get(key);
        if (known != null) {
            return known;
        }
        final Class<?> owner = Class.forName(className, false, loader);
        MethodHandle found;
        try {
            found = MethodHandles.publicLookup().findStatic(owner, method, OF_SETTING);
        } catch (NoSuchMethodException absent) {
            final MethodHandle ofValue = MethodHandles.publicLookup().findStatic(owner, method, OF_VALUE);
            found = MethodHandles.dropArguments(ofValue, 0, Settings.class, String.class);
        }
        validators.put(key, found);
        return found;
    }

    /** A function without parameters. */
    MethodHandle runTimeDefault(String className, String method) throws ReflectiveOperationException {
        final Class<?> owner = Class.forName(className, false, loader);
        final Method found = owner.getMethod(method);
        if (!Modifier.isStatic(found.getModifiers())) {
            throw new NoSuchMethodException("it is not static");
        }
        return MethodHandles.publicLookup().unreflect(found);
    }
}
