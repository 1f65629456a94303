package vksettings;

/**
 * The native methods. Loading this class loads the library, which makes the functions of the language "JAVA" ready.
 *
 * <p>Each method is given the object whose native part it uses, so that this part is not freed meanwhile.
 */
final class Natives {
    private static final int SECONDS_AT_EXIT = 10;

    static {
        final String file = System.getProperty("vksettings.library");
        if (file == null) {
            System.loadLibrary("vksettings_java");
        } else {
            System.load(file);
        }
        try {
            Runtime.getRuntime().addShutdownHook(new Thread(Natives::endAtExit, "settings-end"));
        } catch (IllegalStateException shuttingDown) {
            // nothing has been written by then
        }
    }

    private Natives() {}

    /**
     * Writes what is still to be saved, for some seconds. A listener that the writing thread has been calling for a
     * second may be what ends the program, or wait for what never comes: nothing is written after it.
     */
    private static void endAtExit() {
        final Thread ending = new Thread(Natives::endWriter, "settings-end-writer");
        ending.setDaemon(true);
        ending.start();
        try {
            for (int second = 0; second < SECONDS_AT_EXIT && ending.isAlive(); second++) {
                final long listener = listenerOfWriter();
                ending.join(1000);
                if (listener != 0 && listener == listenerOfWriter()) {
                    break;
                }
            }
        } catch (InterruptedException interrupted) {
            // the machine ends in any case
        }
        if (ending.isAlive()) {
            abandonWriter();
        }
    }

    static native Settings root();

    static native String[] loadProblems();

    static native void close(Settings self);

    static native void free(long cell);

    static native boolean isSame(Settings self, Settings other);

    /** Null for no value. */
    static native Value get(Settings self, String name, String level);

    /** As it is stored; the vector flag says nothing. */
    static native Value getArray(Settings self, String name, String level);

    static native Value getAs(Settings self, String name, String level, int type, boolean asVector);

    static native void set(Settings self, String name, Value value, String level);

    static native void unset(Settings self, String name, String level);

    static native boolean isSet(Settings self, String name, String level);

    static native Settings child(Settings self, String name);

    static native Settings find(Settings self, String fullName);

    static native Settings parent(Settings self);

    static native Settings[] children(Settings self);

    static native String[] names(Settings self);

    static native Settings addGroup(Settings self, String name, String level);

    static native Settings addSetting(Settings self, String name, Value value, String level);

    static native void removeNode(Settings self, String name);

    static native String name(Settings self);

    static native String fullName(Settings self);

    static native boolean isSetting(Settings self);

    static native boolean isReadOnly(Settings self);

    static native boolean isVisible(Settings self);

    static native boolean isInTree(Settings self);

    /** All events of all trees for null. */
    static native long listen(Settings node, Listener listener);

    static native void stopListening(Subscription self, boolean wait);

    static native void freeSubscription(long connection);

    static native long watch();

    static native void unwatch(long watch);

    static native void waitForSaves();

    /** Writes what is still to be saved, and ends the thread that does so. */
    static native void endWriter();

    /** A number for the call of a listener that the writing thread is in; 0 for none. */
    static native long listenerOfWriter();

    /** The process will end without waiting for the writing thread, unless that has ended by then. */
    static native void abandonWriter();
}
