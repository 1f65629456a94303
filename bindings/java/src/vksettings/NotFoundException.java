package vksettings;

/** A name leads nowhere: no such group, setting or level, or a group where a setting was asked for. */
public class NotFoundException extends SettingsException {
    private static final long serialVersionUID = 1;

    NotFoundException(Facts facts) {
        super(facts);
    }
}
