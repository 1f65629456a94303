package vksettings.test;

import static vksettings.test.Checks.expect;
import static vksettings.test.Checks.thrown;

import java.util.List;
import java.util.Map;
import vksettings.NoValueException;
import vksettings.NotFoundException;
import vksettings.ReadOnlyException;
import vksettings.Settings;
import vksettings.SettingsException;
import vksettings.ValidationException;

/** Browsing, changing and refusing; handles. */
final class TreeTest {
    private static final Settings GROUP = Settings.root().find("javatest");

    private TreeTest() {}

    public static void browsing() {
        final Settings root = Settings.root();
        expect(List.of(), Settings.loadProblems());
        expect(List.of("javatest"), root.names());
        expect("", root.fullName());
        expect(true, root.parent().isEmpty());
        final Settings inner = GROUP.child("inner").orElseThrow();
        expect("javatest.inner", inner.fullName());
        expect("inner", inner.name());
        expect(false, inner.isSetting());
        final Settings deep = GROUP.find("inner.deep");
        expect(true, deep.isSetting());
        expect(true, deep.parent().orElseThrow().isSame(inner));
        expect(false, deep.isSame(inner));
        expect(true, GROUP.child("nothing").isEmpty());
        expect("InvalidNodePath", thrown(NotFoundException.class, () -> GROUP.find("inner.nothing")).id());
        expect(GROUP.names(), GROUP.children().stream().map(Settings::name).toList());
        expect(false, GROUP.find("hidden").isVisible());
        expect(true, GROUP.find("fixed").isReadOnly());
        expect("Settings[javatest.inner.deep]", deep.toString());
    }

    public static void levels() {
        GROUP.set("number", 2.5, "user");
        GROUP.set("number", 3.5, "session");
        expect(3.5, GROUP.get("number"));
        expect(2.5, GROUP.get("number", "user"));
        expect(true, GROUP.isSet("number", "user"));
        GROUP.unset("number", "session");
        GROUP.unset("number", "user");
        expect(false, GROUP.isSet("number", "user"));
        expect(1.5, GROUP.get("number"));
        expect("ValueNotDefinedForGivenLevel",
                thrown(NoValueException.class, () -> GROUP.unset("number", "user")).id());
    }

    public static void refusals() {
        final ValidationException range =
                thrown(ValidationException.class, () -> GROUP.set("size", 5, "session"));
        expect("ValueIsNotInRange", range.id());
        expect(3, range.code());
        expect("The value passed in is not in the predefined range", range.getMessage());
        expect("javatest.size", range.nodeName());
        expect(Map.of("value", "5", "minimum", "6", "maximum", "72"), range.details());
        final ValidationException choice =
                thrown(ValidationException.class, () -> GROUP.set("colour", "green", "session"));
        expect(2, choice.code());
        expect(Map.of("value", "green", "choices", "red, blue"), choice.details());
        expect("ValueMustBeInteger", thrown(ValidationException.class, () -> GROUP.set("size", 6.5, "session")).id());
        expect("CannotChangeValueForReadOnlySetting",
                thrown(ReadOnlyException.class, () -> GROUP.set("fixed", "y", "session")).id());
        expect("CantModifyValuesOnReadOnlyLevel",
                thrown(ReadOnlyException.class, () -> GROUP.set("number", 1.0, "factory")).id());
        expect("DefaultValidationFailedOnVoidType",
                thrown(ValidationException.class, () -> GROUP.set("free", null, "session")).id());
        expect(12, GROUP.get("size"));
        expect("red", GROUP.get("colour"));
        GROUP.set("size", 7.0, "session"); // converted by the definition
        expect(7L, GROUP.get("size"));
        GROUP.unset("size", "session");
    }

    public static void addingAndRemoving() {
        final Settings mine = GROUP.addGroup("mine", "session");
        final Settings added = mine.addSetting("note", new String[] {"a", "b"}, "session");
        expect("javatest.mine.note", added.fullName());
        expect(new String[] {"a", "b"}, mine.get("note"));
        expect("SameNameChildAlreadyExisted",
                thrown(SettingsException.class, () -> GROUP.addGroup("mine", "session")).id());
        expect(true, added.isInTree());
        GROUP.remove("mine");
        expect(false, added.isInTree());
        expect(new String[] {"a", "b"}, mine.get("note")); // lives on while a handle refers to it
        expect("AttemptedRemovalOfFactoryGroupOrSetting",
                thrown(ReadOnlyException.class, () -> GROUP.remove("inner")).id());
    }

    public static void closedHandles() {
        final Settings handle = GROUP.child("inner").orElseThrow();
        handle.close();
        handle.close();
        expect("Settings[closed]", handle.toString());
        expect("this object is closed", thrown(IllegalStateException.class, () -> handle.get("deep")).getMessage());
        thrown(IllegalStateException.class, () -> handle.isSame(GROUP));
        thrown(IllegalStateException.class, () -> GROUP.isSame(handle));
        expect(1.0, GROUP.child("inner").orElseThrow().get("deep"));
    }

    /** Whoever closes a handle while others use it brings them an IllegalStateException and nothing worse. */
    public static void closingWhileInUse() throws InterruptedException {
        for (int round = 0; round < 200; round++) {
            final Settings handle = GROUP.child("inner").orElseThrow();
            final Throwable[] fault = new Throwable[1];
            final Thread reader = new Thread(() -> {
                try {
                    while (true) {
                        expect(1.0, handle.get("deep"));
                    }
                } catch (IllegalStateException closed) {
                    return;
                } catch (Throwable other) {
                    fault[0] = other;
                }
            });
            reader.start();
            handle.close();
            reader.join();
            expect(null, fault[0]);
        }
    }

    /** Far more handles than memory would hold if their native parts stayed. */
    public static void handlesAreFreedWithTheirGarbage() {
        final long before = residentKilobytes();
        for (int round = 0; round < 60; round++) {
            for (int i = 0; i < 10_000; i++) {
                expect("inner", GROUP.child("inner").orElseThrow().name());
            }
            System.gc();
        }
        expect(true, residentKilobytes() - before < 45_000); // 85,000 and more when they stay
    }

    private static long residentKilobytes() {
        try (java.util.stream.Stream<String> lines =
                java.nio.file.Files.lines(java.nio.file.Path.of("/proc/self/status"))) {
            final String line = lines.filter(l -> l.startsWith("VmRSS:")).findFirst().orElseThrow();
            return Long.parseLong(line.replaceAll("\\D", ""));
        } catch (java.io.IOException failure) {
            throw new java.io.UncheckedIOException(failure);
        }
    }
}
