package org.example.charts;

/** The functions that charts.json names. */
public final class ChartFunctions {
    private ChartFunctions() {}

    /** A validation function: refuses a value by throwing. */
    public static void mustBeColours(Object value) {
        final String[] colours = value instanceof String ? new String[] {(String) value} : (String[]) value;
        for (String colour : colours) {
            if (!colour.matches("#[0-9a-f]{6}")) {
                throw new IllegalArgumentException(colour + " is no colour; write it as #rrggbb");
            }
        }
    }

    /** A run-time default: computed whenever nobody has set the setting. */
    public static String defaultFont() {
        return System.getProperty("charts.font", "Sans");
    }
}
