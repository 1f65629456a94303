package vksettings;

import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.Map;

/**
 * A failure of the settings library. Nothing has changed.
 *
 * <p>The message is the library's text, without the names concerned; {@link #toString} shows all that is known.
 */
public class SettingsException extends RuntimeException {
    private static final long serialVersionUID = 1;

    private final String id;
    private final String nodeName;
    private final LinkedHashMap<String, String> details = new LinkedHashMap<>();

    /** What all failures have; the details are names and facts by turns. */
    record Facts(String id, String text, String nodeName, String[] details, Throwable cause) {}

    SettingsException(Facts facts) {
        super(facts.text(), facts.cause());
        id = facts.id();
        nodeName = facts.nodeName();
        for (int i = 0; i < facts.details().length; i += 2) {
            details.put(facts.details()[i], facts.details()[i + 1]);
        }
    }

    /**
     * What identifies the failure, whatever the language of its text: the name of its kind ("NoSuchKey"), or the
     * identifier of a message ("VARNEK:settings:core:DataTypeNotMatch").
     */
    public final String id() {
        return id;
    }

    /** The full name of the group or setting concerned; empty where none is known, and for the root. */
    public final String nodeName() {
        return nodeName;
    }

    /**
     * What the text leaves out, as texts: "value", "minimum", "maximum", "choices", "size", "level", "name", "library",
     * "function" and "cause", where they are known.
     */
    public final Map<String, String> details() {
        return Collections.unmodifiableMap(details);
    }

    @Override
    public String toString() {
        final StringBuilder line = new StringBuilder(super.toString()).append(" [").append(id);
        if (!nodeName.isEmpty()) {
            line.append(", ").append(nodeName);
        }
        details.forEach((name, fact) -> line.append(", ").append(name).append(": ").append(fact));
        return line.append(']').toString();
    }
}
