package vksettings;

/** A value on its way between Java and native code, which reads and makes objects of this class. */
final class Value {
    /** {@link ElementType#code}. */
    final int type;

    /** At least two. */
    final int[] dimensions;

    /** Column by column, of {@link ElementType#arrayClass}; not changed by anybody. */
    final Object data;

    /** Tells a vector of one element from that element. */
    final boolean isVector;

    Value(int type, int[] dimensions, Object data, boolean isVector) {
        this.type = type;
        this.dimensions = dimensions;
        this.data = data;
        this.isVector = isVector;
    }
}
