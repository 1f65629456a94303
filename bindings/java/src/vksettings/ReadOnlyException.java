package vksettings;

/** A level, setting or group cannot be changed. */
public final class ReadOnlyException extends SettingsException {
    private static final long serialVersionUID = 1;

    ReadOnlyException(Facts facts) {
        super(facts);
    }
}
