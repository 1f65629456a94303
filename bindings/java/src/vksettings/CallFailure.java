package vksettings;

/** Why a validation function or run-time default gave no result; read by native code. */
final class CallFailure {
    /** May be null. */
    final Throwable thrown;

    final String reason;

    /** The function has thrown it, in contrast to: it could not be called, or an error ended it. */
    final boolean isOfFunction;

    private CallFailure(Throwable thrown, String reason, boolean isOfFunction) {
        this.thrown = thrown;
        this.reason = reason;
        this.isOfFunction = isOfFunction;
    }

    static CallFailure notCalled(Throwable why, String reason) {
        return new CallFailure(why, reason, false);
    }

    static CallFailure thrownBy(Throwable thrown) {
        final boolean isRefusal = thrown instanceof Exception;
        final String message = thrown.getMessage();
        return new CallFailure(thrown, isRefusal && message != null ? message : thrown.toString(), isRefusal);
    }
}
