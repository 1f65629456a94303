package vksettings.test;

import static vksettings.test.Checks.expect;
import static vksettings.test.Checks.thrown;

import java.net.URL;
import java.net.URLClassLoader;
import vksettings.FunctionException;
import vksettings.Functions;
import vksettings.NDArray;
import vksettings.Settings;
import vksettings.ValidationException;

/** Validation functions and run-time defaults in Java. */
final class FunctionsTest {
    private static final Settings GROUP = Settings.root().find("javatest");

    private FunctionsTest() {}

    public static void aValidatorAcceptsAndRefuses() {
        GROUP.set("even", 4.0, "session");
        expect(4.0, GROUP.get("even"));
        expect(Thread.currentThread(), Toolbox.lastThread);
        final ValidationException refusal =
                thrown(ValidationException.class, () -> GROUP.set("even", 5.0, "session"));
        expect("ExceptionFromValidationFunction", refusal.id());
        expect(6, refusal.code());
        expect("Exception thrown by the validation function.", refusal.getMessage());
        expect("5.0 is odd \u2013 pick an even one", refusal.details().get("cause"));
        expect("javatest.even", refusal.nodeName());
        expect(Toolbox.OddNumber.class, refusal.getCause().getClass()); // the very exception
        expect("mustBeEven", refusal.getCause().getStackTrace()[0].getMethodName());
        expect(4.0, GROUP.get("even"));
        GROUP.unset("even", "session");
    }

    public static void anyExceptionRefuses() {
        final ValidationException refusal =
                thrown(ValidationException.class, () -> GROUP.set("even", "text", "session"));
        expect(ClassCastException.class, refusal.getCause().getClass());
        expect(2.0, GROUP.get("even"));
    }

    public static void aValidatorIsToldTheSettingAndTheValue() {
        final Object[][] setAndSeen = {
            {2.5, 2.5}, {"text", "text"}, {true, true}, {new double[] {7}, new double[] {7}},
            {new String[] {"a", "b"}, new String[] {"a", "b"}},
            {NDArray.matrix(new double[][] {{1, 2}, {3, 4}}), new double[] {1, 3, 2, 4}}, // generic values are flat
            {NDArray.unsignedRow(new byte[] {-1}), NDArray.unsignedRow(new byte[] {-1})},
        };
        for (Object[] row : setAndSeen) {
            GROUP.set("shown", row[0], "session");
            expect(row[1], Toolbox.lastValue);
            expect("javatest.shown", Toolbox.lastSetting);
            expect("shown", Toolbox.lastName);
            expect(row[0], GROUP.get("shown"));
        }
        GROUP.unset("shown", "session");
    }

    public static void aValidatorSeesWhatTheDefinitionMadeOfTheValue() {
        GROUP.set("whole", 3.0, "session");
        expect(3L, Toolbox.lastValue);
        expect(3L, GROUP.get("whole"));
        Toolbox.lastValue = null;
        expect("ValueMustBeInteger",
                thrown(ValidationException.class, () -> GROUP.set("whole", 3.5, "session")).id());
        expect(null, Toolbox.lastValue); // not asked
        GROUP.unset("whole", "session");
    }

    public static void aValidatorMaySetSettings() {
        GROUP.set("nested", 6.0, "session");
        expect(6.0, GROUP.get("even"));
        final ValidationException refusal =
                thrown(ValidationException.class, () -> GROUP.set("nested", 7.0, "session"));
        final ValidationException inner = (ValidationException) refusal.getCause();
        expect("javatest.even", inner.nodeName());
        expect(Toolbox.OddNumber.class, inner.getCause().getClass());
        expect(6.0, GROUP.get("nested"));
        GROUP.unset("nested", "session");
        GROUP.unset("even", "session");
    }

    public static void functionsThatCannotBeCalled() {
        for (String name : new String[] {"noMethod", "notStatic", "notPublic", "notVoid", "noClass", "badClass", "error"}) {
            final FunctionException failure =
                    thrown(FunctionException.class, () -> GROUP.set(name, 4.0, "session"));
            expect("ValidationFunctionInvokingError", failure.id());
            expect("Error invoking validation function. Please refer to error message for detail.",
                    failure.getMessage());
            expect(true, failure.getCause() != null);
            final boolean isFound = name.equals("error") || name.equals("badClass");
            expect(!isFound, failure.details().get("cause").startsWith("no public static method "));
            expect(2.0, GROUP.get(name));
        }
        final FunctionException error = thrown(FunctionException.class, () -> GROUP.set("error", 4.0, "session"));
        expect("java.lang.StackOverflowError: deep", error.details().get("cause"));
    }

    public static void runTimeDefaults() {
        final int first = (Integer) GROUP.get("cores");
        expect(first + 1, GROUP.get("cores")); // computed by every read
        expect(first + 2L, GROUP.get("cores", Long.class));
        expect(new double[] {1, 2.5}, GROUP.get("sizes"));
        GROUP.set("cores", 1.0, "session");
        expect(1.0, GROUP.get("cores"));
        GROUP.unset("cores", "session");
        for (String name : new String[] {"failing", "table", "missing"}) {
            expect(null, GROUP.get(name)); // a failure is no value
        }
    }

    /** Sees the same classes as others of their own. */
    public static void classesOfAnotherLoader() throws Exception {
        final URL[] places = {Toolbox.class.getProtectionDomain().getCodeSource().getLocation()};
        final ClassLoader shared = Settings.class.getClassLoader();
        try (URLClassLoader loader = new URLClassLoader(places, null) {
            @Override
            protected Class<?> findClass(String name) throws ClassNotFoundException {
                return name.startsWith("vksettings.test.") ? super.findClass(name) : shared.loadClass(name);
            }
        }) {
            Functions.useClassLoader(loader);
            final ValidationException refusal =
                    thrown(ValidationException.class, () -> GROUP.set("even", 5.0, "session"));
            expect(Toolbox.OddNumber.class.getName(), refusal.getCause().getClass().getName());
            expect(true, refusal.getCause().getClass() != Toolbox.OddNumber.class);
        } finally {
            Functions.useClassLoader(shared);
        }
        expect(Toolbox.OddNumber.class,
                thrown(ValidationException.class, () -> GROUP.set("even", 5.0, "session")).getCause().getClass());
    }

    public static void functionsOnSeveralThreads() throws InterruptedException {
        final Throwable[] faults = new Throwable[4];
        final Thread[] writers = new Thread[faults.length];
        for (int w = 0; w < writers.length; w++) {
            final int self = w;
            writers[w] = new Thread(() -> {
                try {
                    for (int i = 0; i < 200; i++) {
                        GROUP.set("even", 2.0 * i, "session");
                        thrown(ValidationException.class, () -> GROUP.set("even", 1.0, "session"));
                    }
                } catch (Throwable fault) {
                    faults[self] = fault;
                }
            });
            writers[w].start();
        }
        for (int w = 0; w < writers.length; w++) {
            writers[w].join();
            expect(null, faults[w]);
        }
        GROUP.unset("even", "session");
    }
}
