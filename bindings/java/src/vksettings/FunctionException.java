package vksettings;

/** A validation function or a library of such functions cannot be called. */
public final class FunctionException extends SettingsException {
    private static final long serialVersionUID = 1;

    FunctionException(Facts facts) {
        super(facts);
    }
}
