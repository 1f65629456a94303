package vksettings;

/** A settings file cannot be read or written. */
public final class FileException extends SettingsException {
    private static final long serialVersionUID = 1;

    FileException(Facts facts) {
        super(facts);
    }
}
