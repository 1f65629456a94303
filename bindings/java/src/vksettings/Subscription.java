package vksettings;

/** What a listener subscribed to, until it is closed; dropping the object ends nothing. Thread-safe. */
public final class Subscription implements AutoCloseable {
    /** The address of the native part. */
    private final long connection;

    /** Takes the native part over. */
    Subscription(long connection) {
        this.connection = connection;
        Garbage.CLEANER.register(this, () -> Natives.freeSubscription(connection));
    }

    /** From now on no call of the listener begins; one on another thread may still be running. May be called again. */
    @Override
    public void close() {
        Natives.stopListening(this, false);
    }

    /**
     * The same, and returns when every running call has ended, except those that this thread is inside of. To be called
     * without locks that the listener takes.
     */
    public void closeAndWait() {
        Natives.stopListening(this, true);
    }
}
