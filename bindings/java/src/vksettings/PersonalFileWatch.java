package vksettings;

import java.util.concurrent.atomic.AtomicLong;

/**
 * Follows what other processes write into the personal settings files, until it is closed: values, groups and settings
 * are taken over with the ordinary events. It has a thread of its own, on which listeners of these events run.
 *
 * <p>Dropping the object ends nothing. One that is open when the Java machine ends is closed then.
 */
public final class PersonalFileWatch implements AutoCloseable {
    private static final long MILLISECONDS_AT_EXIT = 1000;

    private final Thread closing = new Thread(this::endAtExit);
    private final AtomicLong watch = new AtomicLong();

    /**
     * Takes over at once what has changed since the files were read. Builds the tree as {@link Settings#root} does.
     *
     * @throws IllegalStateException when it is called by a listener
     */
    public PersonalFileWatch() {
        watch.set(Natives.watch());
        try {
            Runtime.getRuntime().addShutdownHook(closing);
        } catch (IllegalStateException shuttingDown) {
            end();
            throw shuttingDown;
        }
    }

    /**
     * Waits for a running listener of its thread. May be called again.
     *
     * @throws IllegalStateException when it is called by a listener
     */
    @Override
    public void close() {
        end();
        try {
            Runtime.getRuntime().removeShutdownHook(closing);
        } catch (IllegalStateException shuttingDown) {
            return; // the hook finds nothing to do
        }
    }

    /** Does not wait for ever: the listener that runs may be what ends the program. */
    private void endAtExit() {
        final Thread ending = new Thread(this::end);
        ending.setDaemon(true);
        ending.start();
        try {
            ending.join(MILLISECONDS_AT_EXIT);
        } catch (InterruptedException interrupted) {
            return; // the machine ends in any case
        }
    }

    private void end() {
        final long open = watch.getAndSet(0);
        if (open == 0) {
            return;
        }
        try {
            Natives.unwatch(open);
        } catch (IllegalStateException calledByListener) {
            watch.set(open);
            throw calledByListener;
        }
    }
}
