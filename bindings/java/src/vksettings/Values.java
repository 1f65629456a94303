package vksettings;

import java.lang.reflect.Array;
import java.util.HashMap;
import java.util.Map;

/** What a value is in Java. */
final class Values {
    /** A class that callers may ask a value in. */
    record Form(ElementType type, boolean isVector) {}

    private static final Map<Class<?>, Form> FORMS = new HashMap<>();

    static {
        scalar(ElementType.LOGICAL, Boolean.class, boolean.class);
        scalar(ElementType.INT8, Byte.class, byte.class);
        scalar(ElementType.INT16, Short.class, short.class);
        scalar(ElementType.INT32, Integer.class, int.class);
        scalar(ElementType.INT64, Long.class, long.class);
        scalar(ElementType.SINGLE, Float.class, float.class);
        scalar(ElementType.DOUBLE, Double.class, double.class);
        scalar(ElementType.STRING, String.class);
    }

    private Values() {}

    private static void scalar(ElementType type, Class<?>... classes) {
        for (Class<?> form : classes) {
            FORMS.put(form, new Form(type, false));
        }
        FORMS.put(type.arrayClass, new Form(type, true));
    }

    /**
     * What values are converted to for that class.
     *
     * @throws IllegalArgumentException for a class that no value is given in
     */
    static Form formOf(Class<?> wanted) {
        final Form form = FORMS.get(wanted);
        if (form == null) {
            throw new IllegalArgumentException("no setting is read as a " + wanted.getName());
        }
        return form;
    }

    // ---- to Java ----

    /** The natural form: what {@link #encode} turns into the same value again. Null for null. */
    static Object decode(Value value) {
        if (value == null) {
            return null;
        }
        final ElementType type = ElementType.of(value.type);
        final int[] extents = value.dimensions;
        final int count = Array.getLength(value.data);
        final boolean isEmpty = extents.length == 2 && extents[0] == 0 && extents[1] == 0;
        final boolean isRow = extents.length == 2 && extents[0] == 1 && count > 0;
        if (type == ElementType.CELL || !isRow && !isEmpty) {
            return array(value);
        }
        if (type == ElementType.CHAR) {
            return new String((char[]) value.data);
        }
        if (count == 1 && !value.isVector) {
            return array(value).get(0);
        }
        return type.isUnsigned() ? array(value) : value.data;
    }

    static NDArray array(Value value) {
        return new NDArray(ElementType.of(value.type), value.dimensions, value.data);
    }

    // ---- from Java ----

    /**
     * The value that an object stands for; null for null.
     *
     * @throws IllegalArgumentException for an object of a class that stands for no value
     */
    static Value encode(Object object) {
        if (object == null) {
            return null;
        }
        if (object instanceof NDArray) {
            final NDArray array = (NDArray) object;
            return array.toValue(array.type() != ElementType.CHAR && array.type() != ElementType.CELL);
        }
        if (object instanceof String) {
            return text((String) object);
        }
        if (object instanceof Unsigned) {
            return one((Unsigned) object);
        }
        final Form form = FORMS.get(object.getClass());
        if (form == null) {
            throw new IllegalArgumentException("no setting holds a " + object.getClass().getName());
        }
        if (form.isVector()) {
            return NDArray.of(form.type(), shapeOfRow(Array.getLength(object)), object).toValue(true);
        }
        final Object single = Array.newInstance(form.type().arrayClass.getComponentType(), 1);
        Array.set(single, 0, object);
        return new Value(form.type().code, shapeOfRow(1), single, false);
    }

    private static int[] shapeOfRow(int count) {
        return new int[] {count == 0 ? 0 : 1, count};
    }

    /** Takes the elements over. */
    static NDArray row(ElementType type, Object data) {
        return new NDArray(type, shapeOfRow(Array.getLength(data)), data);
    }

    private static Value text(String text) {
        return row(ElementType.CHAR, text.toCharArray()).toValue(false);
    }

    private static Value one(Unsigned number) {
        final Object single = Array.newInstance(number.type().arrayClass.getComponentType(), 1);
        switch (number.type()) {
            case UINT8:
                Array.setByte(single, 0, number.byteValue());
                break;
            case UINT16:
                Array.setShort(single, 0, number.shortValue());
                break;
            case UINT32:
                Array.setInt(single, 0, number.intValue());
                break;
            default:
                Array.setLong(single, 0, number.longValue());
        }
        return row(number.type(), single).toValue(false);
    }
}
