package vksettings;

/** A value was asked for, or was to be dropped, where none is. */
public final class NoValueException extends NotFoundException {
    private static final long serialVersionUID = 1;

    NoValueException(Facts facts) {
        super(facts);
    }
}
