package vksettings;

/** The element types of values, with the Java array that holds elements of each in an {@link NDArray}. */
public enum ElementType {
    LOGICAL(1, boolean[].class, "logical"),
    /** UTF-16 code units; each row is a text. */
    CHAR(2, char[].class, "char"),
    STRING(3, String[].class, "string"),
    DOUBLE(4, double[].class, "double"),
    SINGLE(5, float[].class, "single"),
    INT8(6, byte[].class, "int8"),
    /** As the bits of {@code byte}. */
    UINT8(7, byte[].class, "uint8"),
    INT16(8, short[].class, "int16"),
    /** As the bits of {@code short}. */
    UINT16(9, short[].class, "uint16"),
    INT32(10, int[].class, "int32"),
    /** As the bits of {@code int}. */
    UINT32(11, int[].class, "uint32"),
    INT64(12, long[].class, "int64"),
    /** As the bits of {@code long}. */
    UINT64(13, long[].class, "uint64"),
    /** Every element is a text of characters. */
    CELL(16, String[].class, "cell");

    private static final ElementType[] BY_CODE = new ElementType[17];

    static {
        for (ElementType type : values()) {
            BY_CODE[type.code] = type;
        }
    }

    /** The number by which files and other processes know the type. */
    final int code;

    final Class<?> arrayClass;
    private final String className;

    ElementType(int code, Class<?> arrayClass, String className) {
        this.code = code;
        this.arrayClass = arrayClass;
        this.className = className;
    }

    static ElementType of(int code) {
        return BY_CODE[code];
    }

    public boolean isUnsigned() {
        return this == UINT8 || this == UINT16 || this == UINT32 || this == UINT64;
    }

    /** The name that users see: "double", "int8". */
    @Override
    public String toString() {
        return className;
    }
}
