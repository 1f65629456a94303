package vksettings.test;

import static vksettings.test.Checks.expect;
import static vksettings.test.Checks.thrown;

import java.util.Map;
import vksettings.ConversionException;
import vksettings.ElementType;
import vksettings.NDArray;
import vksettings.NoValueException;
import vksettings.NotFoundException;
import vksettings.Settings;
import vksettings.Unsigned;

/** Values on their way to the library and back. */
final class ValuesTest {
    private static final Settings GROUP = Settings.root().find("javatest");

    private ValuesTest() {}

    public static void whatIsSetIsReadAgain() {
        final Object[] values = {
            true, false, 1.5, -0.0, Double.NaN, Double.NEGATIVE_INFINITY, 1.25f, (byte) -128, (short) -300, 70000, Long.MIN_VALUE,
            "", "text", "\uD83D\uDE00 and a lone \uD800", "nul \0 inside",
            Unsigned.of(ElementType.UINT8, 255), Unsigned.of(ElementType.UINT16, 65535),
            Unsigned.of(ElementType.UINT32, 0xFFFFFFFFL), Unsigned.ofBits(-1),
            new boolean[] {true, false, true}, new byte[] {1, -1}, new short[] {1, -300}, new int[] {1, 2, 3},
            new long[] {Long.MAX_VALUE, 1}, new float[] {0.5f, Float.NaN}, new double[] {1, 2.5, Double.NaN},
            new String[] {"a", "", "\u00e9"}, new double[] {7}, new boolean[] {true}, new String[] {"one"},
            new double[0], new long[0], new String[0],
            NDArray.matrix(new double[][] {{1, 2, 3}, {4, 5, 6}}),
            NDArray.of(ElementType.INT16, new int[] {2, 1}, new short[] {1, 2}),
            NDArray.of(ElementType.LOGICAL, new int[] {2, 2, 2}, new boolean[8]),
            NDArray.of(ElementType.DOUBLE, new int[] {0, 3}, new double[0]),
            NDArray.of(ElementType.CHAR, new int[] {2, 2}, new char[] {'a', 'c', 'b', 'd'}),
            NDArray.of(ElementType.STRING, new int[] {2, 1}, new String[] {"a", "b"}),
            NDArray.of(ElementType.CELL, new int[] {1, 2}, new String[] {"", "cell"}),
            NDArray.unsignedRow(new byte[] {1, -1}), NDArray.unsignedRow(new long[] {-1}), NDArray.unsignedRow(new int[0]),
        };
        for (Object value : values) {
            GROUP.set("free", value, "session");
            expect(value, GROUP.get("free"));
            expect(value, GROUP.get("free", "session"));
        }
        GROUP.unset("free", "session");
        expect(null, GROUP.get("free"));
    }

    public static void valuesOfTheDefinition() {
        expect(true, GROUP.get("flag"));
        expect(1.5, GROUP.get("number", "factory"));
        expect("plain", GROUP.get("text"));
        expect(12, GROUP.get("size"));
        expect(new double[] {7}, GROUP.get("one"));
        expect("single", GROUP.get("word"));
        expect(NDArray.of(ElementType.STRING, new int[] {1, 1}, new String[] {"single"}), GROUP.get("word", NDArray.class));
        expect(Unsigned.of(ElementType.UINT8, 200), GROUP.get("byte"));
        final NDArray matrix = (NDArray) GROUP.get("matrix");
        expect(NDArray.matrix(new double[][] {{1, 2, 3}, {4, 5, 6}}), matrix);
        expect(6.0, matrix.get(1, 2));
        expect(new double[] {1, 4, 2, 5, 3, 6}, matrix.data());
        expect("2x3 double [1.0, 4.0, 2.0, 5.0, 3.0, 6.0]", matrix.toString());
        expect(null, GROUP.get("number", "user"));
    }

    public static void whatIsAskedForIsConverted() {
        expect(12.0, GROUP.get("size", Double.class));
        expect((byte) 12, GROUP.get("size", byte.class));
        expect(12L, GROUP.get("size", long.class));
        expect(1, GROUP.get("number", Integer.class));
        expect(new int[] {12}, GROUP.get("size", int[].class));
        expect(new long[] {1, 4, 2, 5, 3, 6}, GROUP.get("matrix", long[].class));
        expect(7.0f, GROUP.get("one", Float.class));
        expect("plain", GROUP.get("text", String.class));
        expect("single", GROUP.get("word", String.class, "factory"));
        expect(new String[] {"plain"}, GROUP.get("text", String[].class));
        expect(200, GROUP.get("byte", Integer.class));
        expect(1.0, GROUP.get("flag", Double.class));
        expect(NDArray.of(ElementType.INT32, new int[] {1, 1}, new int[] {12}), GROUP.get("size", NDArray.class));
    }

    public static void whatDoesNotConvert() {
        expect("VARNEK:settings:core:DataTypeNotMatch",
                thrown(ConversionException.class, () -> GROUP.get("text", Double.class)).id());
        expect("positive_overflow", thrown(ConversionException.class, () -> GROUP.get("byte", Byte.class)).id());
        expect("EmptyVectorCastToScalar",
                thrown(ConversionException.class, () -> GROUP.get("matrix", Double.class)).id());
        expect("AttemptToGetValueFromVoid",
                thrown(NoValueException.class, () -> GROUP.get("free", Double.class)).id());
        thrown(NoValueException.class, () -> GROUP.get("free", NDArray.class));
        thrown(IllegalArgumentException.class, () -> GROUP.get("size", Object.class));
        thrown(IllegalArgumentException.class, () -> GROUP.set("free", new Object(), "session"));
        thrown(IllegalArgumentException.class, () -> GROUP.set("free", new String[] {"a", null}, "session"));
        thrown(NullPointerException.class, () -> GROUP.get(null));
        expect(null, GROUP.get("free"));
    }

    public static void arraysAreCopied() {
        final double[] mine = {1, 2};
        final NDArray array = NDArray.of(ElementType.DOUBLE, new int[] {2, 1, 1}, mine);
        mine[0] = 9;
        ((double[]) array.data())[1] = 9;
        array.dimensions()[0] = 9;
        expect("2x1 double [1.0, 2.0]", array.toString());
    }

    public static void arraysThatCannotBe() {
        final int[] plane = {1, 2};
        thrown(IllegalArgumentException.class, () -> NDArray.of(ElementType.DOUBLE, plane, new float[2]));
        thrown(IllegalArgumentException.class, () -> NDArray.of(ElementType.DOUBLE, plane, new double[3]));
        thrown(IllegalArgumentException.class, () -> NDArray.of(ElementType.DOUBLE, new int[] {2}, new double[2]));
        thrown(IllegalArgumentException.class, () -> NDArray.of(ElementType.DOUBLE, new int[] {-1, -2}, new double[2]));
        thrown(IllegalArgumentException.class, () -> NDArray.matrix(new double[][] {{1}, {1, 2}}));
        thrown(IllegalArgumentException.class, () -> Unsigned.of(ElementType.UINT8, 256));
        thrown(IllegalArgumentException.class, () -> Unsigned.of(ElementType.INT8, 1));
        final NDArray matrix = NDArray.matrix(new double[][] {{1, 2}});
        thrown(IndexOutOfBoundsException.class, () -> matrix.get(1, 0));
    }

    public static void unsignedNumbers() {
        final Unsigned largest = Unsigned.ofBits(-1);
        expect("18446744073709551615", largest.toString());
        expect(0x1p64, largest.doubleValue());
        expect(largest.compareTo(Unsigned.of(ElementType.UINT8, 255)) > 0);
        expect(Unsigned.of(ElementType.UINT8, 200), NDArray.unsignedRow(new byte[] {(byte) 200}).get(0));
        expect(!Unsigned.of(ElementType.UINT8, 1).equals(Unsigned.of(ElementType.UINT16, 1)));
    }

    public static void namesAndLevels() {
        final NotFoundException missing = thrown(NotFoundException.class, () -> GROUP.get("nothing"));
        expect("NoSuchKey", missing.id());
        expect("The requested settings nothing does not exist.", missing.getMessage());
        expect(Map.of("name", "nothing"), missing.details());
        expect("javatest", missing.nodeName());
        expect("vksettings.NotFoundException: The requested settings nothing does not exist. [NoSuchKey, javatest, name: nothing]",
                missing.toString());
        final NotFoundException level = thrown(NotFoundException.class, () -> GROUP.get("size", "nowhere"));
        expect("UnSupportedLevel", level.id());
        expect("nowhere", level.details().get("level"));
        expect("NotAKeyName", thrown(NotFoundException.class, () -> GROUP.get("inner")).id());
        expect("NoSuchKey", thrown(NotFoundException.class, () -> GROUP.get("\uDC80")).id());
        thrown(IllegalArgumentException.class, () -> GROUP.get("\uD800"));
    }
}
