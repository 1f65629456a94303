package vksettings;

import java.math.BigInteger;

/**
 * One unsigned integer of 8, 16, 32 or 64 bits, for which Java has no type of its own.
 *
 * <p>Immutable. Equal to another one of the same type and number.
 */
public final class Unsigned extends Number implements Comparable<Unsigned> {
    private static final long serialVersionUID = 1;
    private static final BigInteger ABOVE_LONG = BigInteger.ONE.shiftLeft(64);

    private final ElementType type;
    private final long bits;

    private Unsigned(ElementType type, long bits) {
        this.type = type;
        this.bits = bits;
    }

    /**
     * The number as a value of an unsigned type.
     *
     * @throws IllegalArgumentException for a number that the type does not hold, and for another type
     */
    public static Unsigned of(ElementType type, long number) {
        if (!type.isUnsigned()) {
            throw new IllegalArgumentException(type + " is no unsigned type");
        }
        if (number < 0 || width(type) < 64 && number >> width(type) != 0) {
            throw new IllegalArgumentException(type + " does not hold " + number);
        }
        return new Unsigned(type, number);
    }

    /** A {@link ElementType#UINT64} with these bits; those of -1 are the largest number. */
    public static Unsigned ofBits(long bits) {
        return new Unsigned(ElementType.UINT64, bits);
    }

    static Unsigned ofElement(ElementType type, long bits) {
        return new Unsigned(type, width(type) == 64 ? bits : bits & ((1L << width(type)) - 1));
    }

    private static int width(ElementType type) {
        switch (type) {
            case UINT8:
                return 8;
            case UINT16:
                return 16;
            case UINT32:
                return 32;
            default:
                return 64;
        }
    }

    public ElementType type() {
        return type;
    }

    @Override
    public int intValue() {
        return (int) bits;
    }

    /** The bits; negative for numbers of 64 bits beyond {@link Long#MAX_VALUE}. */
    @Override
    public long longValue() {
        return bits;
    }

    @Override
    public float floatValue() {
        return toBigInteger().floatValue();
    }

    @Override
    public double doubleValue() {
        return toBigInteger().doubleValue();
    }

    public BigInteger toBigInteger() {
        final BigInteger signed = BigInteger.valueOf(bits);
        return bits < 0 ? signed.add(ABOVE_LONG) : signed;
    }

    /** By number, whatever the types. */
    @Override
    public int compareTo(Unsigned other) {
        return Long.compareUnsigned(bits, other.bits);
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof Unsigned && ((Unsigned) other).type == type && ((Unsigned) other).bits == bits;
    }

    @Override
    public int hashCode() {
        return Long.hashCode(bits) * 31 + type.ordinal();
    }

    @Override
    public String toString() {
        return Long.toUnsignedString(bits);
    }
}
