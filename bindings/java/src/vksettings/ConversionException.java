package vksettings;

/** A value is of another kind than was asked for, or has no form in Java. */
public final class ConversionException extends SettingsException {
    private static final long serialVersionUID = 1;

    ConversionException(Facts facts) {
        super(facts);
    }
}
