package vksettings;

/** The library, or a language whose function is needed, is not ready. */
public final class NotReadyException extends SettingsException {
    private static final long serialVersionUID = 1;

    NotReadyException(Facts facts) {
        super(facts);
    }
}
