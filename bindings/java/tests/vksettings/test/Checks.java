package vksettings.test;

import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Objects;

/** Runs the public static methods of test classes, each a test, and counts like GoogleTest. */
public final class Checks {
    /** A body that may throw. */
    public interface Body {
        void run() throws Exception;
    }

    private Checks() {}

    public static void expect(Object expected, Object got) {
        if (!Objects.deepEquals(expected, got)) {
            throw new AssertionError("expected " + shown(expected) + ", got " + shown(got));
        }
    }

    public static void expect(boolean condition) {
        if (!condition) {
            throw new AssertionError("expected to hold");
        }
    }

    /** What the body throws, which has to be of that class. */
    public static <T extends Throwable> T thrown(Class<T> wanted, Body body) {
        try {
            body.run();
        } catch (Throwable got) {
            if (got.getClass() != wanted) {
                throw new AssertionError("expected " + wanted.getSimpleName() + ", got " + got, got);
            }
            return wanted.cast(got);
        }
        throw new AssertionError("expected " + wanted.getSimpleName() + ", nothing was thrown");
    }

    static String shown(Object object) {
        final String text = Arrays.deepToString(new Object[] {object});
        return text.substring(1, text.length() - 1) + (object == null ? "" : " (" + object.getClass().getSimpleName() + ")");
    }

    private static List<Method> testsOf(String className) throws ClassNotFoundException {
        final List<Method> tests = new ArrayList<>();
        for (Method method : Class.forName(className).getDeclaredMethods()) {
            if (java.lang.reflect.Modifier.isPublic(method.getModifiers()) && !method.isSynthetic()) {
                tests.add(method);
            }
        }
        tests.sort((a, b) -> a.getName().compareTo(b.getName()));
        return tests;
    }

    private static boolean passes(Method test) throws IllegalAccessException {
        try {
            test.invoke(null);
            return true;
        } catch (InvocationTargetException failure) {
            System.out.println("FAILED " + test.getDeclaringClass().getSimpleName() + "." + test.getName());
            failure.getCause().printStackTrace(System.out);
            return false;
        }
    }

    /** The arguments are names of test classes. */
    public static void main(String[] classes) throws Exception {
        int passed = 0;
        int failed = 0;
        for (String name : classes) {
            for (Method test : testsOf("vksettings.test." + name)) {
                if (passes(test)) {
                    passed++;
                } else {
                    failed++;
                }
            }
        }
        System.out.println("[  PASSED  ] " + passed + " tests.");
        if (failed > 0 || passed == 0) {
            System.out.println("[  FAILED  ] " + failed + " tests, listed below:");
            System.exit(1);
        }
    }
}
