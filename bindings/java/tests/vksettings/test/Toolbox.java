package vksettings.test;

import java.util.concurrent.atomic.AtomicInteger;
import vksettings.NDArray;
import vksettings.Settings;

/** The functions that javatest.json names. */
public final class Toolbox {
    static volatile Object lastValue;
    static volatile String lastSetting;
    static volatile String lastName;
    static volatile Thread lastThread;
    static final AtomicInteger defaults = new AtomicInteger();

    /** Cannot be initialised. */
    public static final class Broken {
        static final int NUMBER = Integer.parseInt("none");

        private Broken() {}

        public static void check(Object value) {
            lastValue = NUMBER;
        }
    }

    /** Refuses in a way that only the caller's own code knows. */
    static final class OddNumber extends Exception {
        private static final long serialVersionUID = 1;

        OddNumber(Object value) {
            super(value + " is odd – pick an even one");
        }
    }

    private Toolbox() {}

    public static void mustBeEven(Object value) throws OddNumber {
        lastThread = Thread.currentThread();
        if (((Number) value).doubleValue() % 2 != 0) {
            throw new OddNumber(value);
        }
    }

    public static void remember(Settings setting, String name, Object value) {
        lastSetting = setting.fullName();
        lastName = name;
        lastValue = value;
    }

    public static void fail(Object value) {
        throw new StackOverflowError("deep");
    }

    /** Sets a setting that has a function of this language itself. */
    public static void setAnother(Settings setting, String name, Object value) {
        setting.parent().orElseThrow().set("even", value, "session");
    }

    public void ofObject(Object value) {}

    static void ofPackage(Object value) {}

    public static boolean givesBoolean(Object value) {
        return false;
    }

    public static int countCalls() {
        return defaults.incrementAndGet();
    }

    public static double[] sizes() {
        return new double[] {1, 2.5};
    }

    public static String failDefault() {
        throw new IllegalStateException("no default today");
    }

    public static NDArray table() {
        return NDArray.matrix(new double[][] {{1, 2}, {3, 4}});
    }
}
