package vksettings;

/**
 * A value was refused. When a validation function in Java has thrown, its exception is the cause, and {@link #id} is
 * "ExceptionFromValidationFunction".
 */
public final class ValidationException extends SettingsException {
    private static final long serialVersionUID = 1;

    private final int code;

    ValidationException(Facts facts, int code) {
        super(facts);
        this.code = code;
    }

    /** The number of the kind of refusal; -1 for one that a plug-in has chosen itself. */
    public int code() {
        return code;
    }
}
