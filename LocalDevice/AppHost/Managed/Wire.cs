using System;
using System.Globalization;
using System.Text;

namespace Orn
{
    /// <summary>The lines that connector library and connector host exchange: see ConnectorProtocol.h.</summary>
    internal static class Wire
    {
        public const string Greeting = "orn-connector 1";

        /// <summary>The longest text, in characters: escaped and in UTF-8 it fits into a line.</summary>
        public const int LongestText = 16384;

        /// <summary>The beginning of a text that is too long.</summary>
        public static string Cut(string text)
        {
            if (text.Length <= LongestText)
            {
                return text;
            }
            const string mark = " [...]";
            int end = LongestText - mark.Length;
            return text.Substring(0, char.IsHighSurrogate(text[end - 1]) ? end - 1 : end) + mark;
        }

        public static string Escape(string text)
        {
            return text.Replace("\\", "\\\\").Replace("\n", "\\n").Replace("\r", "\\r");
        }

        public static string Unescape(string text)
        {
            var plain = new StringBuilder();
            for (int i = 0; i < text.Length; ++i)
            {
                if (text[i] != '\\' || i + 1 == text.Length)
                {
                    plain.Append(text[i]);
                    continue;
                }
                ++i;
                plain.Append(text[i] == 'n' ? '\n' : text[i] == 'r' ? '\r' : text[i]);
            }
            return plain.ToString();
        }

        /// <summary>"TYPE TEXT".</summary>
        public static string FromValue(object value)
        {
            if (value is bool)
            {
                return (bool)value ? "boolean 1" : "boolean 0";
            }
            string text = value as string;
            if (text != null)
            {
                if (text.Length > LongestText)
                {
                    throw new ArgumentException("a text has " + LongestText + " characters at most");
                }
                return "text " + Escape(text);
            }
            if (value is double || value is float || value is decimal)
            {
                return "number " + Convert.ToDouble(value).ToString("R", CultureInfo.InvariantCulture);
            }
            if (value is long || value is ulong || value is int || value is uint || value is short ||
                value is ushort || value is byte || value is sbyte)
            {
                return "integer " + Convert.ToInt64(value).ToString(CultureInfo.InvariantCulture);
            }
            throw new ArgumentException("a value is a bool, a number or a string");
        }

        public static object ParseValue(string line)
        {
            string type = TakeWord(ref line);
            switch (type)
            {
                case "boolean":
                    return line == "1";
                case "integer":
                    return long.Parse(line, CultureInfo.InvariantCulture);
                case "number":
                    return ParseNumber(line);
                case "text":
                    return Unescape(line);
            }
            throw new FormatException("no value: " + type + " " + line);
        }

        /// <summary>Takes the first word and the blank behind it off the line.</summary>
        public static string TakeWord(ref string line)
        {
            int end = line.IndexOf(' ');
            string word = end < 0 ? line : line.Substring(0, end);
            line = end < 0 ? "" : line.Substring(end + 1);
            return word;
        }

        private static double ParseNumber(string text)
        {
            switch (text)
            {
                case "nan":
                case "-nan":
                    return double.NaN;
                case "inf":
                    return double.PositiveInfinity;
                case "-inf":
                    return double.NegativeInfinity;
            }
            return double.Parse(text, NumberStyles.Float, CultureInfo.InvariantCulture);
        }
    }
}
