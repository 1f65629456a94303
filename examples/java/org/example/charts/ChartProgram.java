package org.example.charts;

import vksettings.Settings;
import vksettings.SettingsEvent;
import vksettings.Subscription;
import vksettings.ValidationException;

/** Reads and changes the settings of the toolbox. */
public final class ChartProgram {
    private ChartProgram() {}

    public static void main(String[] arguments) {
        final Settings charts = Settings.root().find("charts");
        System.out.println("names: " + charts.names());
        System.out.println("font: " + charts.get("font"));

        final double width = charts.get("lineWidth", Double.class);
        try (Subscription subscription = charts.find("lineWidth").listen(ChartProgram::redraw)) {
            charts.set("lineWidth", 2 * width, "user");
            charts.unset("lineWidth", "user");
        }

        charts.set("palette", new String[] {"#000000", "#ffffff"}, "session");
        try {
            charts.set("palette", new String[] {"#000000", "white"}, "session");
        } catch (ValidationException refusal) {
            System.out.println("refused: " + refusal.getCause().getMessage());
        }
        System.out.println("palette: " + String.join(" ", charts.get("palette", String[].class)));
    }

    private static void redraw(SettingsEvent event) {
        if (event instanceof SettingsEvent.ValueChanged change) {
            final Settings group = event.node().parent().orElseThrow();
            System.out.println("redraw: " + change.oldValue() + " -> " + group.get(event.node().name()));
        }
    }
}
