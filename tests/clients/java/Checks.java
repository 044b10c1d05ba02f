// What both programs check, and how they print it.

package xmlda.client;

import java.lang.reflect.Method;
import java.math.BigInteger;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import javax.xml.datatype.DatatypeConfigurationException;
import javax.xml.datatype.DatatypeFactory;
import javax.xml.datatype.Duration;
import javax.xml.datatype.XMLGregorianCalendar;

class Checks {
    // How a program reads and writes one variable.
    interface Client {
        Object read(String name) throws Exception;

        // Gives what the reply holds.
        Object write(String name, Object value) throws Exception;
    }

    static final DatatypeFactory types = createTypes();
    static int failures = 0;

    static DatatypeFactory createTypes() {
        try {
            return DatatypeFactory.newInstance();
        } catch (DatatypeConfigurationException error) {
            throw new IllegalStateException(error);
        }
    }

    // The type and the text of a value, so that an Integer is not taken for a Long.
    static String describe(Object value) throws Exception {
        if (value == null) {
            return "nothing";
        }
        if (value instanceof List) {
            List<String> texts = new ArrayList<>();
            for (Object member : (List<?>) value) {
                texts.add(describe(member));
            }
            return "[" + String.join(", ", texts) + "]";
        }
        if (value instanceof XMLGregorianCalendar) {
            return "time " + ((XMLGregorianCalendar) value).toGregorianCalendar().toInstant();
        }
        if (value instanceof Duration) {
            return "duration " + value;
        }
        if (value.getClass().getSimpleName().startsWith("ArrayOf")) {
            return value.getClass().getSimpleName() + " " + describe(getMembers(value));
        }
        return value.getClass().getSimpleName() + " " + value;
    }

    // The one list that a generated class like ArrayOfInt has.
    @SuppressWarnings("unchecked")
    static List<Object> getMembers(Object array) throws Exception {
        for (Method method : array.getClass().getDeclaredMethods()) {
            if (method.getReturnType() == List.class) {
                return (List<Object>) method.invoke(array);
            }
        }
        throw new IllegalArgumentException(array.getClass().getName());
    }

    static Object array(String type, Object... members) throws Exception {
        Object array = Class.forName("xmlda." + type).getDeclaredConstructor().newInstance();
        getMembers(array).addAll(Arrays.asList(members));
        return array;
    }

    static Duration duration(String text) {
        return types.newDuration(text);
    }

    static XMLGregorianCalendar time(String text) {
        return types.newXMLGregorianCalendar(text);
    }

    static void equal(String name, Object got, Object expected) throws Exception {
        boolean isRight = describe(got).equals(describe(expected));
        System.out.println(isRight ? "ok      " + name
            : "FAILED  " + name + ": got " + describe(got) + ", expected " + describe(expected));
        failures += isRight ? 0 : 1;
    }

    // Reads a variable, writes it and reads it back. `first` is what the host begins with.
    static void checkValue(Client client, String type, Object first, Object next) throws Exception {
        String name = "/values/" + type;
        try {
            equal(name + " is read", client.read(name), first);
            equal(name + " is written", client.write(name, next), next);
            equal(name + " is read back", client.read(name), next);
        } catch (Exception error) {
            equal(name, error.toString(), "no exception");
        }
    }

    // Java has no unsigned numbers: the next larger type stands for them.
    static void checkValues(Client client) throws Exception {
        checkValue(client, "boolean", true, false);
        checkValue(client, "byte", (byte) -128, (byte) 7);
        checkValue(client, "short", (short) -32768, (short) 7);
        checkValue(client, "int", Integer.MIN_VALUE, 7);
        checkValue(client, "long", -9007199254740993L, Long.MAX_VALUE);
        checkValue(client, "unsignedByte", (short) 255, (short) 200);
        checkValue(client, "unsignedShort", 65535, 7);
        checkValue(client, "unsignedInt", 4294967295L, 7L);
        checkValue(client, "unsignedLong", new BigInteger("18446744073709551615"), new BigInteger("9007199254740993"));
        checkValue(client, "float", 0.5F, -2.25F);
        checkValue(client, "double", 0.125, 1e7);
        checkValue(client, "string", "a < b & c", "\u00fc < \u00e4");
        checkValue(client, "dateTime", time("2026-09-14T06:30:00Z"), time("2027-01-02T03:04:05.250Z"));
        checkValue(client, "duration", duration("P1DT12H"), duration("PT30M"));
        checkValue(client, "booleans", array("ArrayOfBoolean", true, false),
            array("ArrayOfBoolean", false, true, true));
        checkValue(client, "bytes", array("ArrayOfByte", (byte) -128, (byte) 127),
            array("ArrayOfByte", (byte) -1, (byte) 1));
        checkValue(client, "shorts", array("ArrayOfShort", (short) -32768, (short) 32767),
            array("ArrayOfShort", (short) 7));
        checkValue(client, "ints", array("ArrayOfInt", 1, -1), array("ArrayOfInt", 7, 8, 9));
        checkValue(client, "longs", array("ArrayOfLong", 9007199254740993L, -1L), array("ArrayOfLong", Long.MIN_VALUE));
        checkValue(client, "unsignedShorts", array("ArrayOfUnsignedShort", 0, 65535), array("ArrayOfUnsignedShort", 7));
        checkValue(client, "unsignedInts", array("ArrayOfUnsignedInt", 0L, 4294967295L),
            array("ArrayOfUnsignedInt", 7L));
        checkValue(client, "unsignedLongs",
            array("ArrayOfUnsignedLong", BigInteger.ZERO, new BigInteger("18446744073709551615")),
            array("ArrayOfUnsignedLong", new BigInteger("9007199254740993")));
        checkValue(client, "floats", array("ArrayOfFloat", 0.5F, -0.25F), array("ArrayOfFloat", 1.5F));
        checkValue(client, "doubles", array("ArrayOfDouble", 0.125, -1e6), array("ArrayOfDouble", 1.5, 2.5));
        checkValue(client, "strings", array("ArrayOfString", "a", "", "\u00fc"), array("ArrayOfString", "x & y", ""));
        checkValue(client, "dateTimes", array("ArrayOfDateTime", time("2026-09-14T00:00:00.250Z")),
            array("ArrayOfDateTime", time("2027-01-02T03:04:05Z")));
    }

    // The status to end with.
    static int finish() {
        System.out.println(failures + " failed");
        return failures == 0 ? 0 : 1;
    }
}
