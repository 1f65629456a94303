package vksettings.test;

import vksettings.PersonalFileWatch;
import vksettings.Settings;

/** A program that ends with everything open; with an argument, a listener on the library's thread ends it. */
public final class OpenAtExit {
    private OpenAtExit() {}

    public static void main(String[] arguments) throws Exception {
        final Settings group = Settings.root().find("javatest");
        group.find("number").listen(event -> System.exit(7));
        new PersonalFileWatch();
        System.out.println(group.get("number"));
        if (arguments.length > 0) {
            new ProcessBuilder(System.getProperty("test.tool"), "set", "javatest.number", arguments[0]).start().waitFor();
            Thread.currentThread().join(); // until the listener has ended the program
        }
    }
}
