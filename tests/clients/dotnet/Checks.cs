// What both programs check, and how they print it.

using System;
using System.Collections;
using System.Globalization;
using System.Linq;

static class Checks
{
    public static int Failures;

    // The type and the text of a value, so that an int is not taken for a long.
    static string Describe(object value)
    {
        if (value == null)
            return "nothing";
        if (value is Array)
            return value.GetType().Name + " " + string.Join(", ", ((IEnumerable)value).Cast<object>().Select(Describe));
        if (value is DateTime)
            return "time " + ((DateTime)value).ToUniversalTime().ToString("o", CultureInfo.InvariantCulture);
        return value.GetType().Name + " " + Convert.ToString(value, CultureInfo.InvariantCulture);
    }

    public static void Equal(string name, object got, object expected)
    {
        bool isRight = Describe(got) == Describe(expected);
        Console.WriteLine(isRight ? "ok      " + name
            : "FAILED  " + name + ": got " + Describe(got) + ", expected " + Describe(expected));
        Failures += isRight ? 0 : 1;
    }

    public static int Finish()
    {
        Console.WriteLine(Failures + " failed");
        return Failures == 0 ? 0 : 1;
    }

    // The variables of the host: name, what it begins with, and what is written.
    public static readonly object[][] Values =
    {
        new object[] { "boolean", true, false },
        new object[] { "byte", (sbyte)-128, (sbyte)7 },
        new object[] { "short", (short)-32768, (short)7 },
        new object[] { "int", int.MinValue, 7 },
        new object[] { "long", -9007199254740993L, long.MaxValue },
        new object[] { "unsignedByte", (byte)255, (byte)200 },
        new object[] { "unsignedShort", (ushort)65535, (ushort)7 },
        new object[] { "unsignedInt", 4294967295U, 7U },
        new object[] { "unsignedLong", 18446744073709551615UL, 9007199254740993UL },
        new object[] { "float", 0.5F, -2.25F },
        new object[] { "double", 0.125, 1e7 },
        new object[] { "string", "a < b & c", "\u00fc < \u00e4" },
        new object[] { "dateTime", new DateTime(2026, 9, 14, 6, 30, 0, DateTimeKind.Utc),
            new DateTime(2027, 1, 2, 3, 4, 5, 250, DateTimeKind.Utc) },
        new object[] { "booleans", new[] { true, false }, new[] { false, true, true } },
        new object[] { "bytes", new sbyte[] { -128, 127 }, new sbyte[] { -1, 1 } },
        new object[] { "shorts", new short[] { -32768, 32767 }, new short[] { 7 } },
        new object[] { "ints", new[] { 1, -1 }, new[] { 7, 8, 9 } },
        new object[] { "longs", new[] { 9007199254740993L, -1L }, new[] { long.MinValue } },
        new object[] { "unsignedShorts", new ushort[] { 0, 65535 }, new ushort[] { 7 } },
        new object[] { "unsignedInts", new[] { 0U, 4294967295U }, new[] { 7U } },
        new object[] { "unsignedLongs", new[] { 0UL, 18446744073709551615UL }, new[] { 9007199254740993UL } },
        new object[] { "floats", new[] { 0.5F, -0.25F }, new[] { 1.5F } },
        new object[] { "doubles", new[] { 0.125, -1e6 }, new[] { 1.5, 2.5 } },
        new object[] { "strings", new[] { "a", "", "\u00fc" }, new[] { "x & y", "" } },
        new object[] { "dateTimes", new[] { new DateTime(2026, 9, 14, 0, 0, 0, 250, DateTimeKind.Utc) },
            new[] { new DateTime(2027, 1, 2, 3, 4, 5, DateTimeKind.Utc) } },
    };

    // Each variable is read, written and read back. `write` gives what the reply holds.
    public static void CheckValues(object[][] values, Func<string, object> read, Func<string, object, object> write)
    {
        foreach (object[] row in values)
        {
            string name = "/values/" + row[0];
            try
            {
                Equal(name + " is read", read(name), row[1]);
                Equal(name + " is written", write(name, row[2]), row[2]);
                Equal(name + " is read back", read(name), row[2]);
            }
            catch (Exception error)
            {
                Equal(name, error.GetType().Name + ": " + error.Message, "no exception");
            }
        }
    }
}
