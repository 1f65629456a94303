package vksettings.test;

import java.util.concurrent.atomic.AtomicInteger;
import vksettings.Settings;
import vksettings.SettingsEvent.ValueChanged;

/** What the host in C++ asks. */
public final class Host {
    private static final AtomicInteger heard = new AtomicInteger();
    private static final AtomicInteger most = new AtomicInteger();

    private static final AtomicInteger formless = new AtomicInteger();

    private Host() {}

    public static int listen() {
        Settings.root().find("javatest.even").listen(event -> {
            heard.incrementAndGet();
            most.accumulateAndGet(attachedThreads(), Math::max);
        });
        Settings.root().find("javatest.free").listen(event -> {
            final ValueChanged change = (ValueChanged) event;
            if (change.oldValue() == null && !change.hasJavaForm()) {
                formless.incrementAndGet();
            }
        });
        return heard.get();
    }

    public static int heard() {
        return heard.get();
    }

    /** Old values that Java has no form for. */
    public static int formless() {
        return formless.get();
    }

    /** The most threads of the host that were attached while a listener ran. */
    public static int attachedMost() {
        return most.get();
    }

    public static int attachedThreads() {
        return (int) Thread.getAllStackTraces().keySet().stream().filter(t -> t.getName().equals("settings")).count();
    }
}
