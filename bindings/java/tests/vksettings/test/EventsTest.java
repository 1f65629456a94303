package vksettings.test;

import static vksettings.test.Checks.expect;
import static vksettings.test.Checks.thrown;

import java.lang.ref.WeakReference;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.logging.Handler;
import java.util.logging.LogRecord;
import java.util.logging.Logger;
import vksettings.Listener;
import vksettings.PersonalFileWatch;
import vksettings.Settings;
import vksettings.SettingsEvent;
import vksettings.SettingsEvent.NodeAdded;
import vksettings.SettingsEvent.NodeRemoved;
import vksettings.SettingsEvent.ValueChanged;
import vksettings.Subscription;

/** Hearing of changes. */
final class EventsTest {
    private static final Settings GROUP = Settings.root().find("javatest");

    private EventsTest() {}

    private static String told(SettingsEvent event) {
        if (event instanceof ValueChanged change) {
            return event.node().fullName() + " was " + Checks.shown(change.oldValue());
        }
        if (event instanceof NodeAdded added) {
            return event.node().name() + " added to " + added.parent().name();
        }
        return event.node().name() + " removed from " + ((NodeRemoved) event).parent().name();
    }

    private static SettingsEvent next(BlockingQueue<SettingsEvent> events) throws InterruptedException {
        final SettingsEvent event = events.poll(60, TimeUnit.SECONDS);
        expect(event != null);
        return event;
    }

    public static void changesOfOneNode() {
        final List<String> heard = new ArrayList<>();
        try (Subscription ofSetting = GROUP.find("number").listen(event -> heard.add(told(event)));
                Subscription ofGroup = GROUP.listen(event -> heard.add(told(event)))) {
            GROUP.set("number", 2.5, "session");
            GROUP.set("text", "not heard", "session");
            GROUP.set("number", 2.5, "session"); // no change
            GROUP.addSetting("mine", 1.0, "session");
            GROUP.remove("mine");
            GROUP.unset("number", "session");
        }
        GROUP.set("number", 9.0, "session");
        GROUP.unset("number", "session");
        GROUP.unset("text", "session");
        expect(List.of("javatest.number was 1.5 (Double)", "mine added to javatest", "mine removed from javatest",
                        "javatest.number was 2.5 (Double)"),
                heard);
    }

    public static void changesAnywhere() {
        final List<String> heard = new ArrayList<>();
        try (Subscription all = Settings.listenToAll(event -> heard.add(told(event)))) {
            GROUP.set("text", "heard", "session");
            GROUP.find("inner").set("deep", new double[] {1, 2}, "session");
            GROUP.find("inner").unset("deep", "session");
            GROUP.unset("text", "session");
        }
        expect(List.of("javatest.text was plain (String)", "javatest.inner.deep was 1.0 (Double)",
                        "javatest.inner.deep was [1.0, 2.0] (double[])", "javatest.text was heard (String)"),
                heard);
    }

    /** Each old value is what the event before announced, whichever threads set. */
    public static void changesOfSeveralThreads() throws InterruptedException {
        final List<Object> old = Collections.synchronizedList(new ArrayList<>());
        final int each = 500;
        GROUP.set("number", 0.0, "session");
        try (Subscription subscription = GROUP.find("number").listen(e -> old.add(((ValueChanged) e).oldValue()))) {
            final List<Thread> writers = new ArrayList<>();
            for (int w = 1; w <= 3; w++) {
                final int first = w * 10_000;
                writers.add(new Thread(() -> {
                    for (int i = 0; i < each; i++) {
                        GROUP.set("number", (double) (first + i), "session");
                    }
                }));
            }
            writers.forEach(Thread::start);
            for (Thread writer : writers) {
                writer.join();
            }
            subscription.closeAndWait();
        }
        expect(0.0, old.get(0));
        expect(3 * each, old.size());
        expect(old.size(), (int) old.stream().distinct().count());
        GROUP.unset("number", "session");
    }

    public static void aListenerMayChangeSettings() {
        final List<String> heard = new ArrayList<>();
        final Subscription[] own = new Subscription[1];
        own[0] = GROUP.find("number").listen(event -> {
            heard.add(told(event));
            own[0].closeAndWait();
            GROUP.set("number", 4.5, "session");
            GROUP.set("text", "by a listener", "session");
        });
        GROUP.set("number", 3.5, "session");
        expect(List.of("javatest.number was 1.5 (Double)"), heard);
        expect(4.5, GROUP.get("number"));
        expect("by a listener", GROUP.get("text"));
        GROUP.unset("number", "session");
        GROUP.unset("text", "session");
    }

    public static void whatAListenerThrowsIsLogged() {
        final List<LogRecord> records = new ArrayList<>();
        final Handler keeping = new Handler() {
            @Override
            public void publish(LogRecord record) {
                records.add(record);
            }

            @Override
            public void flush() {}

            @Override
            public void close() {}
        };
        final Logger logger = Logger.getLogger("vksettings");
        logger.setUseParentHandlers(false);
        logger.addHandler(keeping);
        final AtomicInteger others = new AtomicInteger();
        final Exception mine = new Exception("the listener's own");
        try (Subscription failing = GROUP.find("number").listen(event -> { throw mine; });
                Subscription worse = GROUP.find("number").listen(event -> { throw new StackOverflowError(); });
                Subscription next = GROUP.find("number").listen(event -> others.incrementAndGet())) {
            GROUP.set("number", 3.5, "session");
            expect(3.5, GROUP.get("number"));
        } finally {
            logger.removeHandler(keeping);
            logger.setUseParentHandlers(true);
        }
        GROUP.unset("number", "session");
        expect(1, others.get());
        expect(2, records.size());
        expect(true, records.get(0).getThrown() == mine);
        expect(true, records.get(1).getThrown() instanceof StackOverflowError);
    }

    public static void aListenerIsLetGo() {
        final AtomicInteger calls = new AtomicInteger();
        final Object[] captured = {new int[1000]};
        Listener listener = event -> calls.addAndGet(captured.length);
        final WeakReference<Listener> trace = new WeakReference<>(listener);
        final Subscription subscription = GROUP.find("number").listen(listener);
        listener = null;
        System.gc();
        GROUP.set("number", 3.5, "session");
        expect(1, calls.get()); // kept by the subscription alone
        subscription.close();
        subscription.close();
        GROUP.unset("number", "session");
        for (int attempt = 0; attempt < 100 && trace.get() != null; attempt++) {
            System.gc();
        }
        expect(null, trace.get());
    }

    /** Runs the tool, as another process of the same user. */
    private static void vksettings(String... arguments) throws Exception {
        final List<String> command = new ArrayList<>(List.of(System.getProperty("test.tool")));
        command.addAll(List.of(arguments));
        expect(0, new ProcessBuilder(command).inheritIO().start().waitFor());
    }

    private static long threadsOfTheLibrary() {
        return Thread.getAllStackTraces().keySet().stream().filter(t -> t.getName().equals("settings")).count();
    }

    public static void changesOfOtherProcesses() throws Exception {
        Settings.waitForSaves(); // a save would take them over as well
        final BlockingQueue<SettingsEvent> events = new LinkedBlockingQueue<>();
        final BlockingQueue<Thread> threads = new LinkedBlockingQueue<>();
        final BlockingQueue<Throwable> refused = new LinkedBlockingQueue<>();
        try (PersonalFileWatch watch = new PersonalFileWatch();
                Subscription subscription = GROUP.find("number").listen(event -> {
                    threads.add(Thread.currentThread());
                    refused.add(thrown(IllegalStateException.class, watch::close));
                    events.add(event);
                })) {
            vksettings("set", "javatest.number", "8.5");
            expect("javatest.number was 1.5 (Double)", told(next(events)));
            expect(8.5, GROUP.get("number", "user"));
            vksettings("unset", "javatest.number");
            expect("javatest.number was 8.5 (Double)", told(next(events)));
            final Thread thread = threads.take();
            expect("settings", thread.getName());
            expect(true, thread.isDaemon());
            expect(true, refused.take().getMessage().startsWith("a listener cannot begin or end"));
            expect(1L, threadsOfTheLibrary());
        }
        expect(0L, threadsOfTheLibrary()); // closing waits for the thread, which detaches when it ends
    }

    /** A save finds what another process has written; the thread that writes files calls the listeners. */
    public static void changesThatASaveTakesOver() throws Exception {
        final BlockingQueue<SettingsEvent> events = new LinkedBlockingQueue<>();
        final BlockingQueue<String> threads = new LinkedBlockingQueue<>();
        GROUP.set("flag", false, "user");
        try (Subscription subscription = GROUP.find("number").listen(event -> {
            threads.add(Thread.currentThread().getName());
            events.add(event);
        })) {
            vksettings("set", "javatest.number", "9.5");
            GROUP.set("flag", true, "user");
            expect("javatest.number was 1.5 (Double)", told(next(events)));
            expect("PrefdirWriter", threads.take());
        }
        GROUP.unset("number", "user");
        GROUP.unset("flag", "user");
        Settings.waitForSaves();
    }

    public static void closingWaitsForARunningListener() throws Exception {
        final CountDownLatch entered = new CountDownLatch(1);
        final CountDownLatch leave = new CountDownLatch(1);
        final AtomicInteger ended = new AtomicInteger();
        final Subscription subscription = GROUP.find("number").listen(event -> {
            entered.countDown();
            leave.await();
            ended.incrementAndGet();
        });
        final Thread writer = new Thread(() -> GROUP.set("number", 5.5, "session"));
        writer.start();
        entered.await();
        subscription.close(); // does not wait
        expect(0, ended.get());
        final Thread closer = new Thread(subscription::closeAndWait);
        closer.start();
        leave.countDown();
        closer.join();
        expect(1, ended.get());
        writer.join();
        GROUP.unset("number", "session");
    }
}
