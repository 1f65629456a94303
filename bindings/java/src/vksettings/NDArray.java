package vksettings;

import java.lang.reflect.Array;
import java.util.Arrays;
import java.util.Objects;

/**
 * An array of any shape and element type: matrices, columns, vectors of unsigned numbers, cells of texts.
 *
 * <p>Immutable: elements are copied in and out. They lie column by column: element (row, column) of a matrix is at
 * {@code row + column * rows}.
 */
public final class NDArray {
    private final ElementType type;
    private final int[] dimensions;
    private final Object data;

    NDArray(ElementType type, int[] dimensions, Object data) {
        this.type = type;
        this.dimensions = dimensions;
        this.data = data;
    }

    /**
     * An array of those dimensions. Trailing dimensions of 1 beyond the second are dropped.
     *
     * @param data the elements, column by column, in an array of the class that {@link ElementType} names
     * @throws IllegalArgumentException for data of another class, fewer than two dimensions, and a number of elements
     *     that is not the product of the dimensions
     */
    public static NDArray of(ElementType type, int[] dimensions, Object data) {
        if (!type.arrayClass.isInstance(data)) {
            throw new IllegalArgumentException(
                    "elements of " + type + " stand in a " + type.arrayClass.getSimpleName());
        }
        if (data instanceof String[] && Arrays.asList((String[]) data).contains(null)) {
            throw new IllegalArgumentException("a text is null");
        }
        final int[] extents = shortened(dimensions);
        if (product(extents) != Array.getLength(data)) {
            throw new IllegalArgumentException(Array.getLength(data) + " elements are not " + text(extents));
        }
        return new NDArray(type, extents, copy(data));
    }

    /** A matrix by rows. */
    public static NDArray matrix(double[][] rows) {
        final int columns = rows.length == 0 ? 0 : rows[0].length;
        final double[] data = new double[rows.length * columns];
        for (int r = 0; r < rows.length; r++) {
            if (rows[r].length != columns) {
                throw new IllegalArgumentException("rows of different lengths");
            }
            for (int c = 0; c < columns; c++) {
                data[r + c * rows.length] = rows[r][c];
            }
        }
        return new NDArray(ElementType.DOUBLE, new int[] {rows.length, columns}, data);
    }

    /** A row of unsigned numbers, from their bits in an array of byte, short, int or long. */
    public static NDArray unsignedRow(Object bits) {
        for (ElementType type : ElementType.values()) {
            if (type.isUnsigned() && type.arrayClass.isInstance(bits)) {
                return Values.row(type, copy(bits));
            }
        }
        throw new IllegalArgumentException("not an array of integers");
    }

    private static int[] shortened(int[] dimensions) {
        if (dimensions.length < 2) {
            throw new IllegalArgumentException("an array has at least two dimensions");
        }
        int count = dimensions.length;
        while (count > 2 && dimensions[count - 1] == 1) {
            count--;
        }
        return Arrays.copyOf(dimensions, count);
    }

    private static long product(int[] extents) {
        long count = 1;
        for (int extent : extents) {
            if (extent < 0) {
                throw new IllegalArgumentException("a dimension is negative");
            }
            count = Math.multiplyExact(count, (long) extent);
        }
        return count;
    }

    private static Object copy(Object data) {
        final int count = Array.getLength(data);
        final Object result = Array.newInstance(data.getClass().getComponentType(), count);
        System.arraycopy(data, 0, result, 0, count);
        return result;
    }

    private static String text(int[] extents) {
        final StringBuilder result = new StringBuilder();
        for (int extent : extents) {
            result.append(result.length() == 0 ? "" : "x").append(extent);
        }
        return result.toString();
    }

    public ElementType type() {
        return type;
    }

    /** Rows first; at least two. */
    public int[] dimensions() {
        return dimensions.clone();
    }

    public int size() {
        return Array.getLength(data);
    }

    /** The elements, column by column, in an array of the class that {@link ElementType} names. */
    public Object data() {
        return copy(data);
    }

    /** The element at that place, counted column by column; an unsigned number as an {@link Unsigned}. */
    public Object get(int index) {
        final Object element = Array.get(data, index);
        return type.isUnsigned() ? Unsigned.ofElement(type, ((Number) element).longValue()) : element;
    }

    /** The element at a row and a column of a matrix. */
    public Object get(int row, int column) {
        if (dimensions.length != 2) {
            throw new IllegalArgumentException("not a matrix, but " + text(dimensions));
        }
        Objects.checkIndex(row, dimensions[0]);
        Objects.checkIndex(column, dimensions[1]);
        return get(row + column * dimensions[0]);
    }

    /** For native code; shares the elements. */
    Value toValue(boolean isVector) {
        return new Value(type.code, dimensions, data, isVector);
    }

    /** Same type, dimensions and elements; NaN equals NaN, and -0 differs from 0. */
    @Override
    public boolean equals(Object other) {
        if (!(other instanceof NDArray)) {
            return false;
        }
        final NDArray array = (NDArray) other;
        return type == array.type
                && Arrays.equals(dimensions, array.dimensions)
                && Arrays.deepEquals(new Object[] {data}, new Object[] {array.data});
    }

    @Override
    public int hashCode() {
        return Objects.hash(type, Arrays.hashCode(dimensions), Arrays.deepHashCode(new Object[] {data}));
    }

    /** "2x3 double [1.0, 2.0, ...]". */
    @Override
    public String toString() {
        final String elements = Arrays.deepToString(new Object[] {data});
        return text(dimensions) + " " + type + " " + elements.substring(1, elements.length() - 1);
    }
}
