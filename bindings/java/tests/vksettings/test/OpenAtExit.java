package vksettings.test;

import java.util.concurrent.CountDownLatch;
import vksettings.PersonalFileWatch;
import vksettings.Settings;

/**
 * A program that ends with everything open. With a value, another process sets it, and a listener on a thread of the
 * library ends the program: of a watch, or for "writer-exit" the one that writes the files. For "writer-block" this
 * thread's listener waits for ever, and the main thread ends the program.
 */
public final class OpenAtExit {
    private OpenAtExit() {}

    public static void main(String[] arguments) throws Exception {
        final Settings group = Settings.root().find("javatest");
        final String how = arguments.length > 1 ? arguments[1] : "";
        final CountDownLatch isBlocked = new CountDownLatch(1);
        group.find("number").listen(event -> {
            if (how.equals("writer-block")) {
                isBlocked.countDown();
                new CountDownLatch(1).await();
            }
            System.exit(7);
        });
        if (how.isEmpty()) {
            new PersonalFileWatch();
        } else {
            group.set("flag", false, "user"); // of a file that was written here a save takes over what others wrote
            Settings.waitForSaves();
        }
        System.out.println(group.get("number"));
        if (arguments.length == 0) {
            return;
        }
        new ProcessBuilder(System.getProperty("test.tool"), "set", "javatest.number", arguments[0]).start().waitFor();
        if (!how.isEmpty()) {
            group.set("flag", true, "user");
        }
        if (how.equals("writer-block")) {
            isBlocked.await();
            System.exit(5);
        }
        Thread.currentThread().join(); // until the listener has ended the program
    }
}
